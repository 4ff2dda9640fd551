// The whole application from start to quit: the tray menu over D-Bus, the cheat sheet's place and
// level, clicks in Mousepad counted while the window stays out of the way, the cards' buttons
// pressed as a screen reader does, shrink and pin as xwininfo and xprop see them, one instance,
// and a quit that leaves the database whole. Without a tray, the window's own menu does the same.
#include "support/Desktop.h"

namespace tavrin {
namespace {

using namespace testing;

struct ApplicationTest : RunningTavrin {
    std::string mark(const std::string& column, const std::string& action) {
        SQLite::Database db(database().string(), SQLite::OPEN_READONLY);
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
        bool found = false;
        if (card)
            accessibleTree(app.pid, [&](const Node& n) {
                const bool match = n.name == button && card->contains(n);
                found = found || match;
                return match;
            });
        return found;
    }
    std::vector<Node> cardsLedBy(const std::string& action) {
        std::vector<Node> cards;
        waitUntil([&] {
            cards = withRole(accessibleTree(app.pid), "list item");
            return !cards.empty() && cards.front().name == action;
        });
        return cards;
    }
    void expectQuitCleanly() {
        EXPECT_EQ(app.wait(), 0) << app.errors();
        const std::string printed = app.output();
        EXPECT_EQ(printed.rfind("Sentry release: ", 0), 0u) << printed;
        EXPECT_NE(printed.find("Monitoring stopped\n"), std::string::npos) << printed;
        SQLite::Database db(database().string(), SQLite::OPEN_READONLY);
        EXPECT_EQ(db.execAndGet("PRAGMA integrity_check").getString(), "ok");
    }
};

const std::vector<std::string> kMenu = {"Check for Updates...",
                                        "Launch at Startup",
                                        "Join our Discord",
                                        "Send us your feedback",
                                        "Pause Tavrin",
                                        "Focus Cheat Sheet (Super+Alt+C)",
                                        "Your Progress",
                                        "Nudges as Notifications",
                                        "---",
                                        "Quit"};

TEST_F(ApplicationTest, RunsFromTheTrayTeachesFromItsCardsAndQuitsCleanly) {
    launch(true);
    const std::string service = trayService();
    ASSERT_FALSE(service.empty()) << "the application never registered its tray item";
    std::vector<std::string> labels;
    for (const auto& entry : trayMenu(service))
        labels.push_back(entry.label);
    EXPECT_EQ(labels, kMenu);

    // The cheat sheet: 400 by 400, its left edge 400 from the screen's right, its bottom 300 above
    // the screen's bottom; above other windows, and never taking the keyboard.
    auto g = window.geometry();
    EXPECT_EQ(g.x, 1280 - 400);
    EXPECT_EQ(g.y, 800 - 300 - 400);
    EXPECT_EQ(g.width, 400);
    EXPECT_EQ(g.height, 400);
    const std::string properties = window.properties("_NET_WM_STATE WM_HINTS _NET_WM_NAME");
    EXPECT_NE(properties.find("_NET_WM_STATE_ABOVE"), std::string::npos) << properties;
    EXPECT_NE(properties.find("Client accepts input or input focus: False"), std::string::npos) << properties;
    EXPECT_NE(properties.find("\"Tavrin\""), std::string::npos) << properties;
    EXPECT_EQ(activeWindow(), editor.window.id) << "showing the window took the editor's place in front";

    // Once the application knows the editor is in front (its first look comes a poll after the
    // start), the editor's File menu, then its New item: both counted, and the list shows the action.
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Mousepad").has_value(); }));
    newDocumentFromTheMenu();
    ASSERT_TRUE(waitUntil([&] { return clicks().size() >= 2; })) << app.output() << app.errors();
    using Row = std::pair<std::string, std::string>;
    EXPECT_EQ(clicks(), (std::vector<Row>{{"app|mousepad", "unknown"}, {"app|mousepad", "New Document"}}));
    std::vector<Node> cards = cardsLedBy("New Document");
    ASSERT_FALSE(cards.empty());
    EXPECT_FALSE(named(accessibleTree(app.pid), "Menu")) << "the tray has the menu; the window needs no button";

    // A click in Tavrin's own window is not one of the user's: the editor's click after it is the
    // next one stored (clicks are looked at in order). The window takes no focus (WM_HINTS above).
    clickAt(cards.front().x + 20, cards.front().y + cards.front().height / 2);
    const auto text = waitForNode(editor.pid(), "text", "");
    ASSERT_TRUE(text);
    clickAt(text->centre().first, text->centre().second);
    ASSERT_TRUE(waitUntil([&] { return clicks().size() >= 3; })) << app.errors();
    EXPECT_EQ(
        clicks(),
        (std::vector<Row>{{"app|mousepad", "unknown"}, {"app|mousepad", "New Document"}, {"app|mousepad", "unknown"}}));
    EXPECT_TRUE(named(accessibleTree(app.pid), "Mousepad")) << "the list is still the editor's";
    screenshot("application-with-tray.png");

    // Two more clicks on New: the card says what learning it would save.
    newDocumentFromTheMenu();
    newDocumentFromTheMenu();
    ASSERT_TRUE(waitUntil([&] { return clicks().size() >= 7; })) << app.errors();
    cards = cardsLedBy("New Document");
    ASSERT_FALSE(cards.empty());
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
    // The card's chips, and its three buttons named by their help.
    int chips = 0;
    for (const auto& node : tree)
        if ((node.name == "Ctrl" || node.name == "N") && cards.front().contains(node))
            ++chips;
    EXPECT_EQ(chips, 2);
    for (const char* button : {"Bookmark this Shortcut", "Mark as Learned", "Report Issue with Shortcut"}) {
        const auto node = named(tree, button);
        ASSERT_TRUE(node) << button;
        EXPECT_EQ(node->role, "push button");
    }
    for (const char* control : {"Shrink", "Unpin", "Recommended", "Learned"})
        EXPECT_TRUE(named(tree, control)) << control;
    runCommand("xdotool mousemove --sync " + std::to_string(cards.front().x + 60) + " " +
               std::to_string(cards.front().y + cards.front().height / 2));
    std::this_thread::sleep_for(1200ms);
    screenshot("cheatsheet-desktop-expanded.png");

    // Bookmarked through the window, as a screen reader presses it.
    EXPECT_EQ(mark("bookmarked_at", "New Document"), "");
    ASSERT_TRUE(pressOnCard("New Document", "Bookmark this Shortcut"));
    ASSERT_TRUE(waitUntil([&] { return !mark("bookmarked_at", "New Document").empty(); })) << app.errors();
    ASSERT_TRUE(waitUntil([&] { return pressOnCard("New Document", "Remove Bookmark"); }));
    ASSERT_TRUE(waitUntil([&] { return mark("bookmarked_at", "New Document").empty(); }));

    // Marked learned with the mouse: sent once the check has played, then listed as learned.
    cards = cardsLedBy("New Document");
    ASSERT_FALSE(cards.empty());
    const Node card = cards.front();
    std::optional<Node> learn;
    for (const auto& node : accessibleTree(app.pid))
        if (node.name == "Mark as Learned" && card.contains(node))
            learn = node;
    ASSERT_TRUE(learn);
    // Sent once the check has played (a second), however late this test reads it.
    runCommand("xdotool mousemove --sync " + std::to_string(card.x + 40) + " " +
               std::to_string(card.y + card.height / 2));
    const auto clicked = std::chrono::steady_clock::now();
    clickAt(learn->x + learn->width / 2, learn->y + learn->height / 2);
    ASSERT_TRUE(waitUntil([&] { return !mark("learned_at", "New Document").empty(); })) << app.errors();
    EXPECT_GE(std::chrono::steady_clock::now() - clicked, 800ms) << "sent only after the check has played";
    ASSERT_TRUE(pressNamed(app.pid, "Learned"));
    ASSERT_FALSE(cardsLedBy("New Document").empty());
    EXPECT_TRUE(named(accessibleTree(app.pid), "Remove from Learned"));

    // Shrunken to the screen's corner and back; the frame's bottom right corner is the screen's
    // (openbox draws 1 pixel at the right and 5 below the client). Unpinned, it leaves the top.
    ASSERT_TRUE(pressNamed(app.pid, "Shrink"));
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Expand").has_value(); }));
    g = window.geometry();
    EXPECT_EQ(g.width, 280);
    EXPECT_EQ(g.height, 296);
    EXPECT_EQ(g.x + g.width, 1280 - 1);
    EXPECT_EQ(g.y + g.height, 800 - 5);
    EXPECT_FALSE(named(accessibleTree(app.pid), "Recommended")) << "no tabs when shrunken";
    screenshot("cheatsheet-desktop-shrunken.png");
    ASSERT_TRUE(pressNamed(app.pid, "Expand"));
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Shrink").has_value(); }));
    g = window.geometry();
    EXPECT_EQ(g.width, 400);
    EXPECT_EQ(g.height, 400);
    EXPECT_EQ(g.x + g.width, 1280 - 1);
    EXPECT_EQ(g.y + g.height, 800 - 5);
    auto state = [&] { return window.properties("_NET_WM_STATE"); };
    ASSERT_TRUE(pressNamed(app.pid, "Unpin"));
    ASSERT_TRUE(waitUntil([&] { return state().find("_NET_WM_STATE_ABOVE") == std::string::npos; })) << state();
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Pin").has_value(); }));
    ASSERT_TRUE(pressNamed(app.pid, "Pin"));
    ASSERT_TRUE(waitUntil([&] { return state().find("_NET_WM_STATE_ABOVE") != std::string::npos; })) << state();

    // "Your Progress": this week's three clicks on New in the chart's table, and New learned.
    ASSERT_TRUE(clickTrayEntry(service, "Your Progress"));
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Your Progress").has_value(); }));
    tree = accessibleTree(app.pid);
    EXPECT_TRUE(named(tree, "Clicks against shortcut uses, per week"));
    EXPECT_TRUE(std::any_of(tree.begin(), tree.end(), [](const Node& n) {
        return n.name.starts_with("Week of ") && n.name.ends_with(": 3 clicks, 0 shortcut uses");
    }));
    EXPECT_TRUE(std::any_of(tree.begin(), tree.end(), [](const Node& n) {
        return n.name.starts_with("New Document, Ctrl + N, in Mousepad, learned ");
    }));
    screenshot("progress-desktop.png");

    // A second start shows the running window and ends; watch refuses while the application counts.
    Process second = Process::start({tavrin, "--data-dir", data.string()}, dir.path());
    EXPECT_EQ(second.wait(), 0) << second.errors();
    EXPECT_EQ(second.output(), "Tavrin is already running; its window is shown.\n");
    Process watch = Process::start({tavrin, "watch", "--data-dir", data.string(), "--duration", "1"}, dir.path());
    EXPECT_EQ(watch.wait(), 1);
    EXPECT_NE(watch.errors().find("the Tavrin application (process " + std::to_string(app.pid) + ")"),
              std::string::npos)
        << watch.errors();

    ASSERT_TRUE(clickTrayEntry(service, "Quit"));
    expectQuitCleanly();
    EXPECT_EQ(clicks().size(), 7u) << "the clicks in Tavrin's own window never counted";
}

TEST_F(ApplicationTest, WithoutATrayTheWindowsMenuReachesScreenReaders) {
    launch(false);
    ASSERT_TRUE(waitUntil([&] {
        return app.output().find("Failed to create status bar button\n") != std::string::npos;
    })) << app.output();
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Menu").has_value(); }));
    ASSERT_TRUE(pressNamed(app.pid, "Menu"));

    // The entries, in order, each a menu item a screen reader can press.
    std::vector<Node> items;
    ASSERT_TRUE(waitUntil([&] {
        items = withRole(accessibleTree(app.pid), "menu item");
        return items.size() >= kMenu.size() - 1;
    }));
    std::vector<std::string> labels;
    for (const auto& item : items)
        labels.push_back(item.name);
    std::vector<std::string> expected = kMenu;
    expected.erase(std::find(expected.begin(), expected.end(), "---"));
    EXPECT_EQ(labels, expected);
    screenshot("application-without-tray.png");

    ASSERT_TRUE(pressNamed(app.pid, "Quit"));
    expectQuitCleanly();
}

} // namespace
} // namespace tavrin
