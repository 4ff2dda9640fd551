// Runs inside scripts/virtual-desktop: real applications on a private X11 desktop with the
// accessibility bus, clicked and typed in through xdotool as a hand does, and the application
// core wired as on a user's desktop in this process. One table says, for each application, what
// is clicked or pressed and what must be counted; adding an application is a row.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <fstream>
#include <map>
#include <set>

#include "app/CatalogueCommand.h"
#include "database/CatalogueExports.h"
#include "platform/linux/X11InputMonitor.h"
#include "support/CapturingLogSink.h"
#include "support/DesktopSessionTest.h"
#include "support/TestCatalogue.h"

namespace tavrin {
namespace {

using namespace testing;
using Row = std::pair<std::string, std::string>;

// The programs of the cases: started when a case first needs one, placed, and kept for the suite
// unless `keep` is false. `scale` is the program's own: its positions on the bus are divided by it.
struct Program {
    std::vector<std::string> argv;
    std::vector<std::string> environment;
    std::string windowClass; // a launcher's server shows the window
    std::string place;       // the application as the store names it
    int left = 0, top = 0;
    int scale = 1;
    bool keep = true;
};
const std::map<std::string, Program>& programs() {
    static const std::map<std::string, Program> table = {
        {"factory", {{"gtk3-widget-factory"}, {}, "", "widget_factory"}},
        {"factory at twice the pixels",
         {{"gtk3-widget-factory"}, {"GDK_SCALE=2"}, "", "widget_factory", 0, 0, 2, false}},
        {"mousepad", {{"mousepad", env("HOME") + "/notes - draft.txt"}, {}, "", "mousepad", 300, 230}},
        {"qt editor", {{TAVRIN_QT_MENU_FIXTURE}, {}, "", "qt-menu-fixture", 100, 100}},
        {"thunar", {{"thunar"}, {}, "", "thunar_file_manager", 100, 100, 1, false}},
        {"gnome-terminal", {{"gnome-terminal"}, {}, "gnome-terminal", "terminal", 100, 100, 1, false}},
        {"pluma", {{"pluma"}, {}, "", "pluma", 100, 100, 1, false}},
    };
    return table;
}

// One case: in `program`, after opening the menu titled `menu` (its title counts as "unknown"),
// the control of `role` named `name` clicked `dy` below its centre and held `holdMs`; or, without
// a role, the keys `name` pressed. `counted` is what the click counts as, or the action whose
// shortcut use the keys book (none: nothing is booked).
struct Case {
    const char* what;
    const char* program;
    const char* menu;
    const char* role;
    const char* name;
    int holdMs;
    const char* counted;
    int dy = 0;
    const char* before = nullptr; // a menu opened and closed first
    const char* keys = nullptr;   // typed first (a command), once the application's actions are known
};
const Case kCases[] = {
    {"GTK switcher button", "factory", nullptr, "radio button", "Page 2", 150, "Show Page 2"},
    {"GTK switcher button back", "factory", nullptr, "radio button", "Page 1", 150, "Show Page 1"},
    {"GTK menu title named like an action", "mousepad", nullptr, "menu", "Edit", 100, "unknown"},
    {"GTK menu item, tapped: its menu closes before it is found", "mousepad", "Edit", "menu item", "Select All", 2,
     "Select All"},
    {"GTK menu item over the tool bar, tapped: not the button under it", "mousepad", "File", "menu item", "New", 2,
     "New Document"},
    {"GTK menu item, held", "mousepad", "File", "menu item", "New", 100, "New Document"},
    {"GTK text area whose text is an action's name", "mousepad", nullptr, "text", "", 100, "unknown", 150},
    {"a shortcut of the catalogue", "mousepad", nullptr, nullptr, "ctrl+a", 0, "Select All"},
    {"keys that are no shortcut of the catalogue", "mousepad", nullptr, nullptr, "shift+Home", 0, nullptr},
    {"Qt menu title named like an action", "qt editor", nullptr, "menu item", "Edit", 100, "unknown"},
    {"Qt menu item, held", "qt editor", "Edit", "menu item", "Select All", 100, "Select All"},
    {"Qt menu item, tapped", "qt editor", "Edit", "menu item", "Copy", 2, "Copy"},
    {"Qt tool bar button where a closed menu was", "qt editor", nullptr, "push button", "Save", 100, "Save", 0, "Edit"},
    {"Qt text area whose text is an action's name", "qt editor", nullptr, "text", "", 100, "unknown", 100},
    {"Thunar's menu item", "thunar", "File", "menu item", "New Tab", 150, "New Tab"},
    {"GNOME Terminal's menu item", "gnome-terminal", "File", "menu item", "New Tab", 150, "New Tab"},
    {"GTK button of a scaled application", "factory at twice the pixels", nullptr, "radio button", "Page 2", 150,
     "Show Page 2"},
    // Pluma is not in the catalogue: its menus are read while nothing is selected, so Copy is
    // disabled and GTK shows no key for it. Once text is selected, a click on the tool bar's Copy
    // reads the item again.
    {"GTK tool bar button whose menu item was disabled when the menus were read", "pluma", nullptr, "push button",
     "Copy", 100, "Copy", 0, nullptr, "xdotool type Hello && sleep 0.3 && xdotool key shift+Home && sleep 0.3"},
};

// The shipped catalogue, with the widget factory and the Qt editor, and an action of Mousepad
// named "Edit": a menu titled so is still no action.
void writeCaseCatalogue(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    const std::filesystem::path shipped = TAVRIN_SHIPPED_RESOURCES;
    const auto extend = [&](const char* file, const std::string& rows) {
        std::ofstream(folder / file) << readText(shipped / file) << rows;
    };
    extend("namespaces_export.csv", "app|widget_factory,app,widget_factory,true,false,false\n"
                                    "app|qt-menu-fixture,app,qt-menu-fixture,true,false,false\n");
    std::string actions = "900010,app|widget_factory,Show Page 1,,true,1,900010,option + 1\n"
                          "900011,app|widget_factory,Show Page 2,,true,2,900011,option + 2\n"
                          "900023,app|mousepad,Edit,,true,99,900023,control + shift + e\n";
    std::string mappings = "app|widget_factory,Show Page 1,AXTitle,Page 1\n"
                           "app|widget_factory,Show Page 2,AXTitle,Page 2\napp|mousepad,Edit,AXTitle,Edit\n";
    int id = 900030;
    for (const auto& [name, keys] : std::vector<Row>{{"New", "control + n"},
                                                     {"Save", "control + s"},
                                                     {"Undo", "control + z"},
                                                     {"Copy", "control + c"},
                                                     {"Select All", "control + a"},
                                                     {"Edit", "control + shift + e"}}) {
        const auto n = std::to_string(id++);
        actions += n + ",app|qt-menu-fixture," + name + ",,true," + n + "," + n + "," + keys + "\n";
        mappings += "app|qt-menu-fixture," + name + ",AXTitle," + name + "\n";
    }
    extend("actions_shortcuts_export.csv", actions);
    extend("accessibility_tree_mapping_export.csv", mappings);
}

// The keys the store holds after xdotool's "ctrl+a".
std::set<std::string> held(std::string keys) {
    std::transform(keys.begin(), keys.end(), keys.begin(), ::tolower);
    std::set<std::string> out;
    for (std::size_t from = 0, to; from <= keys.size(); from = to + 1) {
        to = std::min(keys.find('+', from), keys.size());
        const auto key = keys.substr(from, to - from);
        out.insert(key == "ctrl" ? "control" : key);
    }
    return out;
}

class DesktopTest : public DesktopSessionTest {
protected:
    static void SetUpTestSuite() {
        ASSERT_NE(std::getenv("DISPLAY"), nullptr) << "run these tests through scripts/virtual-desktop";
        std::ofstream(env("HOME") + "/notes - draft.txt") << "Save\n";
        // Mousepad with its tool bar, which lies under its menus as they open.
        ::setenv("GSETTINGS_BACKEND", "keyfile", 1);
        runCommand("gsettings set org.xfce.mousepad.preferences.window toolbar-visible true");
    }
    static void TearDownTestSuite() {
        for (auto& [name, app] : running_)
            app.stop();
        running_.clear();
    }
    void SetUp() override {
        writeCaseCatalogue(dir / "catalogue");
        open(dir / "catalogue");
    }

    // The program, started and on the accessibility bus.
    Application& program(const std::string& name) {
        auto it = running_.find(name);
        if (it == running_.end()) {
            const Program& p = programs().at(name);
            it = running_.emplace(name, Application::start(p.argv, p.environment, p.windowClass)).first;
            EXPECT_FALSE(it->second.window.id.empty()) << name << " showed no window";
            it->second.window.moveTo(p.left, p.top);
            EXPECT_TRUE(it->second.onTheBus()) << name << " never reached the accessibility bus";
        }
        return it->second;
    }
    void stopProgram(const std::string& name) {
        if (const auto it = running_.find(name); it != running_.end()) {
            it->second.stop();
            running_.erase(it);
        }
    }
    // The program in front, as the store sees it.
    Application& inFrontNow(const std::string& name) {
        Application& app = program(name);
        app.window.activate();
        EXPECT_TRUE(inFront(programs().at(name).place)) << "in front: " << state().activeNamespace.app;
        return app;
    }
    // Opens `menu` and clicks its `item` as a hand does, while the main loop turns.
    void menuItem(const Application& app, const std::string& menu, const std::string& item) {
        whilePumping([&] {
            const auto node = app.openMenu(menu, item);
            ASSERT_TRUE(node) << menu << ", " << item;
            clickAt(node->centre().first, node->centre().second);
        });
    }
    // Shortcut uses booked, of one action in one place or of all.
    int uses(const std::string& action = {}, const std::string& place = {}) {
        SQLite::Database db(session->database().path().string(), SQLite::OPEN_READONLY);
        SQLite::Statement query(db, "SELECT COUNT(*) FROM shortcut_usage u JOIN shortcuts s ON s.shortcut_id = "
                                    "u.shortcut_id JOIN actions a ON a.action_id = s.action_id WHERE ?1 = '' OR "
                                    "(a.name = ?1 AND a.namespace_id = ?2)");
        query.bind(1, action);
        query.bind(2, "app|" + place);
        query.executeStep();
        return query.getColumn(0).getInt();
    }

    // The actions known in a namespace: the catalogue's, or those learned from its menus.
    int actionsOf(const std::string& namespaceId) {
        SQLite::Database db(session->database().path().string(), SQLite::OPEN_READONLY);
        SQLite::Statement query(db, "SELECT COUNT(*) FROM actions WHERE namespace_id = ?");
        query.bind(1, namespaceId);
        return query.executeStep() ? query.getColumn(0).getInt() : 0;
    }

    static inline std::map<std::string, Application> running_;
};

TEST_F(DesktopTest, EachClickOrShortcutCountsAsWhatWasClickedOrPressed) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        const Program& p = programs().at(c.program);
        Application& app = inFrontNow(c.program);
        if (c.before) {
            const auto stored = clicks().size();
            whilePumping([&] { ASSERT_TRUE(app.openMenu(c.before)) << "menu " << c.before; });
            runCommand("xdotool key Escape");
            ASSERT_TRUE(waitUntil([&] { return app.windowsShowing() == 1; })) << "the menu did not close";
            ASSERT_TRUE(clicksReach(stored + 1)) << "the menu's title";
        }
        if (c.keys) {
            ASSERT_TRUE(pumpUntil([&] { return actionsOf("app|" + p.place) > 0; }, 15)) << "no actions learned";
            whilePumping([&] { runCommand(c.keys); });
        }
        if (!c.role) {
            const int all = uses(), before = c.counted ? uses(c.counted, p.place) : 0;
            runCommand(std::string("xdotool key ") + c.name);
            ASSERT_TRUE(pumpUntil([&] { return state().pressedKeys == held(c.name); }));
            if (c.counted) {
                EXPECT_TRUE(pumpUntil([&] { return uses(c.counted, p.place) == before + 1; }));
            } else {
                EXPECT_EQ(uses(), all) << "nothing booked";
            }
            continue;
        }
        const auto before = clicks().size();
        const auto hold = std::chrono::milliseconds(c.holdMs);
        if (c.menu) {
            // The title counted before the item is looked for: the test's reads of the tree would
            // hold up the application's answers about the title.
            whilePumping([&] { ASSERT_TRUE(app.openMenu(c.menu, {}, hold)) << "menu " << c.menu; });
            ASSERT_TRUE(clicksReach(before + 1)) << "the menu's title";
        }
        whilePumping([&] {
            const auto node = waitForNode(app.pid(), c.role, c.name);
            ASSERT_TRUE(node) << c.role << " " << c.name;
            clickAt(node->centre().first * p.scale, node->centre().second * p.scale + c.dy, hold);
        });
        const auto expected = before + (c.menu ? 2 : 1);
        ASSERT_TRUE(clicksReach(expected)) << "counted " << clicks().size() - before << " of " << expected - before;
        const auto rows = clicks();
        EXPECT_EQ(rows.size(), expected);
        EXPECT_EQ(rows.back(), (Row{"app|" + p.place, c.counted}));
        if (c.menu) {
            EXPECT_EQ(rows[before].second, "unknown") << "the menu's title";
        }
        if (std::string(c.counted) != "unknown") {
            EXPECT_TRUE(pumpUntil([&] {
                for (const auto& entry : state().recommendations)
                    if (entry.base.actionName == c.counted && entry.source == ShortcutSource::userAction)
                        return true;
                return false;
            })) << "the list shows the clicked action";
        }
        // Leave no menu, dialog or find bar open for the next case.
        runCommand("xdotool key Escape");
        waitUntil([&] { return app.windowsShowing() <= 1; }, 5s);
        if (!p.keep)
            stopProgram(c.program);
    }
}

TEST_F(DesktopTest, TheHarvestReadsTheMenuItemsThatShowAShortcutWithTheirKeys) {
    program("mousepad");
    program("factory");
    std::ostringstream out, err;
    const auto folder = dir / "harvest";
    ASSERT_EQ(runCatalogueHarvest({.app = "Mousepad", .out = folder}, out, err), 0) << err.str();
    std::string problem;
    const auto exports = CatalogueExports::read(folder, problem);
    ASSERT_TRUE(exports) << problem;
    std::map<std::string, std::string> harvested; // name -> keys
    for (const auto& row : exports->actions.rows) {
        EXPECT_EQ(exports->actions.field(row, "namespace_id"), "app|mousepad");
        harvested[exports->actions.field(row, "name")] = exports->actions.field(row, "mac_keys");
    }
    // Mousepad 0.5 shows some thirty; which depends on what is enabled (GTK hides the shortcut of a
    // disabled item). A sample of every kind of key:
    EXPECT_GE(harvested.size(), 25u) << out.str();
    for (const auto& [name, keys] : std::vector<Row>{{"Save As...", "control + shift + s"},
                                                     {"Delete Line", "control + shift + delete"},
                                                     {"To Opposite Case", "control + option + u"},
                                                     {"Line Up", "option + up"},
                                                     {"Fullscreen", "f11"}})
        EXPECT_EQ(harvested[name], keys) << name;
    // The mapping is the item's name as a click reads it, and the name a toolbar gives it.
    std::set<std::string> values;
    for (const auto& row : exports->mappings.rows)
        values.insert(exports->mappings.field(row, "predicted_best_value"));
    EXPECT_TRUE(values.count("Save As...") && values.count("Save As")) << out.str();

    // The widget factory shows no accelerator: its buttons' mnemonics ("<Alt>i") are not taken.
    std::ostringstream factoryOut, factoryErr;
    ASSERT_EQ(runCatalogueHarvest({.app = "widget_factory", .out = folder}, factoryOut, factoryErr), 0)
        << factoryErr.str();
    EXPECT_NE(factoryOut.str().find(" 0 shortcuts"), std::string::npos) << factoryOut.str();
    EXPECT_EQ(CatalogueExports::read(folder, problem)->namespaces.rows.size(), 1u)
        << "no namespace for an application without shortcuts";
    EXPECT_EQ(runCatalogueHarvest({.app = "no such program"}, out, err), 1);
    EXPECT_NE(err.str().find("Running:"), std::string::npos) << err.str();
}

TEST_F(DesktopTest, AnApplicationTheCatalogueLacksTeachesItsOwnShortcutsAtTheFront) {
    const auto bare = dir / "bare";
    writeCatalogue(bare, "os|linux,os,linux,true,false,false\n", "1,os|linux,Copy,,true,1,1,control + c\n", "");
    open(bare);
    Application& editor = inFrontNow("mousepad");
    // The walk of its menus runs once, in the background, when it comes to the front.
    ASSERT_TRUE(pumpUntil([&] { return session->database().shortcutsLearnedFromApplications().size() >= 20; }));
    menuItem(editor, "File", "New");
    ASSERT_TRUE(clicksReach(2));
    EXPECT_EQ(clicks().back(), (Row{"app|mousepad", "New"}));
    ASSERT_TRUE(pumpUntil([&] {
        const auto& list = state().recommendations;
        return !list.empty() && list.front().base.actionName == "New" && list.front().count == 1 &&
               list.front().base.shortcutKeys == "control + n";
    })) << "the list shows the learned shortcut with the click";

    // Forgotten, and this release not walked again: a click on the menu item teaches its shortcut.
    session->database().forgetUserRecords(std::vector<std::string>{"app|mousepad"});
    const auto fromEditor = [&] {
        std::vector<std::string> out;
        for (const auto& shortcut : session->database().shortcutsLearnedFromApplications())
            if (shortcut.namespaceId == "app|mousepad")
                out.push_back(shortcut.name + " " + shortcut.keys);
        return out;
    };
    ASSERT_TRUE(fromEditor().empty());
    inFrontNow("factory");
    inFrontNow("mousepad");
    menuItem(editor, "File", "New");
    ASSERT_TRUE(pumpUntil([&] { return !clicks().empty() && clicks().back().second == "New"; }));
    EXPECT_EQ(fromEditor(), std::vector<std::string>{"New control + n"});
}

TEST_F(DesktopTest, TheWindowListRunsFrontToBackAndTheScreenIsTheDesktops) {
    stopProgram("mousepad"); // its file in front again, not a tab the cases opened
    inFrontNow("mousepad");
    auto windows = session->frontApplication().onScreenWindows();
    ASSERT_TRUE(windows);
    ASSERT_GE(windows->size(), 2u);
    EXPECT_EQ(windows->front().owner, "Mousepad");
    ASSERT_TRUE(windows->front().name);
    EXPECT_EQ(*windows->front().name, env("HOME") + "/notes - draft.txt") << "cut before the application's name alone";
    inFrontNow("factory");
    windows = session->frontApplication().onScreenWindows();
    ASSERT_TRUE(windows);
    EXPECT_EQ(windows->front().owner, session->frontApplication().frontApplicationName());
    EXPECT_EQ(windows->at(1).owner, "Mousepad");

    // The screen of the private desktop, with no panel taking space off it.
    EXPECT_EQ(session->screens().mainScreenFrame(), (BottomLeftRect{0, 0, 1280, 800}));
    const auto visible = session->screens().mainScreenVisibleFrame();
    ASSERT_TRUE(visible);
    EXPECT_LE(visible->width, 1280);
    EXPECT_GT(visible->width, 0);
}

TEST_F(DesktopTest, AStoppedApplicationDoesNotHoldUpTheNextClicks) {
    ScopedLogCapture log;
    const auto factory = program("factory");
    std::vector<Node> pages;
    for (const char* name : {"Page 2", "Page 1"})
        pages.push_back(waitForNode(factory.pid(), "radio button", name).value_or(Node{}));
    const auto text = waitForNode(inFrontNow("mousepad").pid(), "text", "");
    ASSERT_TRUE(text);
    ::kill(factory.pid(), SIGSTOP);
    // Its "Page 2" would count if it answered; the second click finds it skipped.
    whilePumping([&] {
        for (const auto& page : pages)
            clickAt(page.centre().first, page.centre().second);
        clickAt(text->centre().first, text->centre().second);
        clickAt(text->centre().first + 50, text->centre().second);
    });
    // The bus waits 25 s a call by default; here the stopped application costs about a second, and
    // the limit is generous.
    const bool counted = clicksReach(2);
    ::kill(factory.pid(), SIGCONT);
    ASSERT_TRUE(counted) << "rows: " << clicks().size();
    EXPECT_EQ(clicks(), (std::vector<Row>{{"app|mousepad", "unknown"}, {"app|mousepad", "unknown"}}));
    int dropped = 0;
    for (const auto& line : log->printed())
        dropped += line.find("Error getting element at position") != std::string::npos;
    EXPECT_EQ(dropped, 2);
}

TEST_F(DesktopTest, ClicksOnThisProgramsOwnWindowsAreNotSeen) {
    // A window of this process, framed by the window manager as the application's window is.
    Display* display = XOpenDisplay(nullptr);
    ASSERT_NE(display, nullptr);
    const ::Window own = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 200, 150, 0, 0, 0xffffff);
    const long pid = ::getpid();
    XChangeProperty(display, own, XInternAtom(display, "_NET_WM_PID", False), XA_CARDINAL, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&pid), 1);
    XStoreName(display, own, "Own window");
    XMapWindow(display, own);
    XSync(display, False);
    testing::Window window = testing::Window::find(::getpid());
    window.moveTo(1050, 500);
    const auto editor = inFrontNow("mousepad").window;

    std::vector<BottomLeftPoint> seen;
    X11InputMonitor monitor(loop);
    monitor.addMouseDownMonitor([&](const MouseDown& down) { seen.push_back(down.position); });
    whilePumping([&] {
        window.click(100, 75);  // inside
        window.click(100, -10); // its title bar, drawn by the window manager
        editor.click(200, 200); // last: once it is seen, the others have been or never will be
    });
    ASSERT_TRUE(pumpUntil([&] { return !seen.empty(); }));
    XDestroyWindow(display, own);
    XCloseDisplay(display);
    ASSERT_EQ(seen.size(), 1u) << "only the click in the editor";
    EXPECT_EQ(seen[0].x, editor.x + 200);
}

TEST_F(DesktopTest, WatchPrintsThePlaceInFrontAndItsList) {
    inFrontNow("mousepad");
    session.reset(); // watch runs its own
    std::ostringstream out, err;
    ASSERT_EQ(
        runWatch({.dataDir = dir / "data-catalogue", .catalogueDir = dir / "catalogue", .json = true, .duration = 3},
                 out, err),
        0)
        << err.str();
    // The place is first read a poll after the start, and printed with its list.
    const auto block = nlohmann::ordered_json::parse(firstLine(out.str()));
    EXPECT_EQ(block["activeNamespace"]["app"], "mousepad");
    ASSERT_FALSE(block["recommendations"].empty());
    EXPECT_EQ(block["recommendations"][0].begin().key(), "shortcutId") << "fields in the order of the types";
}

} // namespace
} // namespace tavrin
