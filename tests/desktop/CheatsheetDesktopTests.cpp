// The cheat sheet in the running application: cards after clicks in Mousepad, their buttons
// pressed as a screen reader does, shrink and pin as xwininfo and xprop see them.
#include "desktop/RunningApplication.h"

namespace tavrin {
namespace {

using namespace testing;

struct CheatsheetDesktopTest : RunningApplication {
    void SetUp() override {
        RunningApplication::SetUp();
        if (!HasFatalFailure())
            launch(true);
    }
    std::string mark(const std::string& column, const std::string& action) {
        SQLite::Database db((data / "tavrin" / "db.sqlite").string(), SQLite::OPEN_READONLY);
        SQLite::Statement query(db, "SELECT IFNULL(s." + column +
                                        ", '') FROM shortcuts s JOIN actions a ON a.action_id = s.action_id "
                                        "WHERE a.name = ? AND s.namespace_id = 'app|mousepad'");
        query.bind(1, action);
        return query.executeStep() ? query.getColumn(0).getString() : "no such shortcut";
    }
    // Presses the button with this name on the card of `action`.
    bool pressOnCard(const std::string& action, const std::string& button) {
        std::optional<Node> card;
        for (const auto& node : withRole(accessibleTree(app.pid), "list item"))
            if (node.name == action)
                card = node;
        if (!card)
            return false;
        bool found = false;
        accessibleTree(app.pid, [&](const Node& n) {
            if (n.name == button && card->contains(n))
                found = true;
            return found;
        });
        return found;
    }
};

TEST_F(CheatsheetDesktopTest, CardsFollowTheClicksAndTheirButtonsChangeTheStore) {
    // Three clicks on the editor's New: the action comes first, with what learning it would save.
    for (int i = 0; i < 3; ++i)
        newDocumentFromTheMenu();
    std::vector<Node> cards;
    ASSERT_TRUE(waitUntil([&] {
        cards = withRole(accessibleTree(app.pid), "list item");
        return !cards.empty() && cards.front().name == "New Document";
    })) << app.errors();
    EXPECT_LE(cards.size(), 5u);
    const std::string tooltip = cards.front().description;
    EXPECT_EQ(tooltip.rfind("Shortcut: New Document\nKeys: control + n\n\nPress the key combination to activate this "
                            "shortcut.\n\n💡 We noticed you frequently use this action!\n\nLearning this shortcut "
                            "could save you approximately ",
                            0),
              0u)
        << tooltip;
    EXPECT_NE(tooltip.find(" per year, if you maintain this frequency."), std::string::npos) << tooltip;

    auto tree = accessibleTree(app.pid);
    {
        std::ofstream dump(artifacts / "cheatsheet-desktop-tree.txt");
        for (const auto& n : tree)
            dump << n.role << " \"" << n.name << "\" " << n.x << "," << n.y << " " << n.width << "x" << n.height
                 << (n.showing ? "" : " hidden") << "\n";
    }
    EXPECT_TRUE(named(tree, "Mousepad")) << "the title names the editor";
    // The card's chips, and its three buttons named by their help.
    int chips = 0;
    for (const auto& node : tree)
        if ((node.name == "Ctrl" || node.name == "N") && cards.front().contains(node))
            ++chips;
    EXPECT_EQ(chips, 2);
    for (const char* button : {"Bookmark this Shortcut", "Mark as Learned", "Report Issue with Shortcut"}) {
        const Node* node = named(tree, button);
        ASSERT_TRUE(node) << button;
        EXPECT_EQ(node->role, "push button");
    }
    for (const char* control : {"Shrink", "Unpin", "Recommended", "Learned"})
        EXPECT_TRUE(named(tree, control)) << control;
    runCommand(("xdotool mousemove --sync " + std::to_string(cards.front().x + 60) + " " +
                std::to_string(cards.front().y + cards.front().height / 2))
                   .c_str());
    std::this_thread::sleep_for(1200ms);
    screenshot("cheatsheet-desktop-expanded.png");

    // Bookmarked through the window, as a screen reader presses it.
    EXPECT_EQ(mark("bookmarked_at", "New Document"), "");
    ASSERT_TRUE(pressOnCard("New Document", "Bookmark this Shortcut"));
    ASSERT_TRUE(waitUntil([&] { return !mark("bookmarked_at", "New Document").empty(); })) << app.errors();
    ASSERT_TRUE(waitUntil([&] { return pressOnCard("New Document", "Remove Bookmark"); }));
    ASSERT_TRUE(waitUntil([&] { return mark("bookmarked_at", "New Document").empty(); }));

    // Marked learned with the mouse: sent once the check has played, then listed as learned.
    ASSERT_TRUE(waitUntil([&] {
        cards = withRole(accessibleTree(app.pid), "list item");
        return !cards.empty() && cards.front().name == "New Document";
    }));
    const Node card = cards.front();
    const Node* learn = nullptr;
    tree = accessibleTree(app.pid);
    for (const auto& node : tree)
        if (node.name == "Mark as Learned" && card.contains(node))
            learn = &node;
    ASSERT_TRUE(learn);
    runCommand(("xdotool mousemove --sync " + std::to_string(card.x + 40) + " " +
                std::to_string(card.y + card.height / 2) + " sleep 0.4")
                   .c_str());
    click(learn->x + learn->width / 2, learn->y + learn->height / 2);
    std::this_thread::sleep_for(500ms);
    EXPECT_EQ(mark("learned_at", "New Document"), "") << "sent only after the check has played";
    ASSERT_TRUE(waitUntil([&] { return !mark("learned_at", "New Document").empty(); }, 5s));
    ASSERT_TRUE(press("Learned"));
    ASSERT_TRUE(waitUntil([&] {
        cards = withRole(accessibleTree(app.pid), "list item");
        return !cards.empty() && cards.front().name == "New Document";
    }));
    EXPECT_TRUE(named(accessibleTree(app.pid), "Remove fro m Learned"));
}

TEST_F(CheatsheetDesktopTest, ShrinkMovesTheWindowToTheCornerAndPinChangesItsLevel) {
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Shrink") != nullptr; }));
    ASSERT_TRUE(press("Shrink"));
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Expand") != nullptr; }));
    Geometry g = geometry(window);
    EXPECT_EQ(g.width, 280);
    EXPECT_EQ(g.height, 296);
    // The frame's bottom right corner is the screen's (openbox draws 1 pixel at the right and 5
    // below the client).
    EXPECT_EQ(g.x + g.width, 1280 - 1);
    EXPECT_EQ(g.y + g.height, 800 - 5);
    EXPECT_FALSE(named(accessibleTree(app.pid), "Recommended")) << "no tabs when shrunken";
    screenshot("cheatsheet-desktop-shrunken.png");

    ASSERT_TRUE(press("Expand"));
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Shrink") != nullptr; }));
    g = geometry(window);
    EXPECT_EQ(g.width, 400);
    EXPECT_EQ(g.height, 400);
    EXPECT_EQ(g.x + g.width, 1280 - 1);
    EXPECT_EQ(g.y + g.height, 800 - 5);

    auto state = [&] { return capture("xprop -id " + window + " _NET_WM_STATE"); };
    ASSERT_TRUE(press("Unpin"));
    ASSERT_TRUE(waitUntil([&] { return state().find("_NET_WM_STATE_ABOVE") == std::string::npos; })) << state();
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Pin") != nullptr; }));
    ASSERT_TRUE(press("Pin"));
    ASSERT_TRUE(waitUntil([&] { return state().find("_NET_WM_STATE_ABOVE") != std::string::npos; })) << state();
}

} // namespace
} // namespace tavrin
