// The whole application from start to quit: the tray menu over D-Bus, the cheat sheet's place and
// level, clicks in Mousepad counted while the window stays out of the way, one instance, and a
// quit that leaves the database whole. Without a tray, the window's own menu does the same.
#include "desktop/RunningApplication.h"

namespace tavrin {
namespace {

using namespace testing;

struct ApplicationTest : RunningApplication {
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
                                        "---",
                                        "Quit"};

TEST_F(ApplicationTest, RunsFromTheTrayCountsClicksElsewhereAndQuitsCleanly) {
    launch(true);
    const std::string service = trayService();
    ASSERT_FALSE(service.empty()) << "the application never registered its tray item";
    std::vector<std::string> labels;
    for (const auto& entry : trayMenu(service))
        labels.push_back(entry.label);
    EXPECT_EQ(labels, kMenu);

    // The cheat sheet: 400 by 400, its left edge 400 from the screen's right, its bottom 300 above
    // the screen's bottom; above other windows, and never taking the keyboard.
    const Geometry g = geometry(window);
    EXPECT_EQ(g.x, 1280 - 400);
    EXPECT_EQ(g.y, 800 - 300 - 400);
    EXPECT_EQ(g.width, 400);
    EXPECT_EQ(g.height, 400);
    const std::string properties = capture("xprop -id " + window + " _NET_WM_STATE WM_HINTS _NET_WM_NAME");
    EXPECT_NE(properties.find("_NET_WM_STATE_ABOVE"), std::string::npos) << properties;
    EXPECT_NE(properties.find("Client accepts input or input focus: False"), std::string::npos) << properties;
    EXPECT_NE(properties.find("\"Tavrin\""), std::string::npos) << properties;
    EXPECT_EQ(activeWindow(), editorWindow) << "showing the window took the editor's place in front";

    // Once the application knows the editor is in front (its first look comes a poll after the
    // start), the editor's File menu, then its New item: both counted, and the list shows the action.
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Mousepad") != nullptr; }));
    newDocumentFromTheMenu();
    ASSERT_TRUE(waitUntil([&] { return clicks().size() >= 2; })) << app.output() << app.errors();
    using Row = std::pair<std::string, std::string>;
    EXPECT_EQ(clicks(), (std::vector<Row>{{"app|mousepad", "unknown"}, {"app|mousepad", "New Document"}}));
    std::vector<Node> cards;
    ASSERT_TRUE(waitUntil([&] {
        cards = withRole(accessibleTree(app.pid), "list item");
        return !cards.empty() && cards.front().name == "New Document";
    }));
    EXPECT_FALSE(named(accessibleTree(app.pid), "Menu")) << "the tray has the menu; the window needs no button";

    // A click in Tavrin's own window is not one of the user's, and keeps the editor in front.
    click(cards.front().x + 20, cards.front().y + cards.front().height / 2);
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(clicks().size(), 2u);
    EXPECT_EQ(activeWindow(), editorWindow);
    EXPECT_TRUE(named(accessibleTree(app.pid), "Mousepad")) << "the list is still the editor's";
    screenshot("application-with-tray.png");

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
    EXPECT_EQ(clicks().size(), 2u);
}

TEST_F(ApplicationTest, WithoutATrayTheWindowsMenuReachesScreenReaders) {
    launch(false);
    ASSERT_TRUE(waitUntil([&] {
        return app.output().find("Failed to create status bar button\n") != std::string::npos;
    })) << app.output();
    ASSERT_TRUE(waitUntil([&] { return named(accessibleTree(app.pid), "Menu") != nullptr; }));
    ASSERT_TRUE(press("Menu"));

    // The entries, in order, each a menu item a screen reader can press.
    std::vector<Node> items;
    ASSERT_TRUE(waitUntil([&] {
        items = withRole(accessibleTree(app.pid), "menu item");
        return items.size() >= 6;
    }));
    std::vector<std::string> labels;
    for (const auto& item : items)
        labels.push_back(item.name);
    std::vector<std::string> expected = kMenu;
    expected.erase(std::find(expected.begin(), expected.end(), "---"));
    EXPECT_EQ(labels, expected);
    screenshot("application-without-tray.png");

    ASSERT_TRUE(press("Quit"));
    expectQuitCleanly();
}

} // namespace
} // namespace tavrin
