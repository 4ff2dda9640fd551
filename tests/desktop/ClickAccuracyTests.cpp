// Runs inside scripts/virtual-desktop: clicks in a GTK editor (Mousepad, its tool bar shown), a GTK
// editor the catalogue lacks (Pluma: what counts there is learned from its menus) and a Qt Widgets
// editor built with the tests, held as a hand holds a button (100 ms) or tapped (2 ms),
// with the application core wired as on a user's desktop. Each case says what the click must
// count as: the catalogue action of the control, or "unknown" for a click that is no action.
#include <gtest/gtest.h>

#include <atomic>
#include <sstream>

#include "app/DesktopCommands.h"
#include "app/DesktopSession.h"
#include "database/DatabaseManager.h"
#include "platform/common/EventLoop.h"
#include "desktop/RunningApplication.h"
#include "support/TestCatalogue.h"

namespace tavrin {
namespace {

using namespace std::chrono_literals;
using testing::accessibleTree;
using testing::capture;
using testing::Node;

// An application started for the cases, its window placed at the top left.
struct Editor {
    pid_t pid = -1;
    std::string window;

    static Editor start(const std::vector<std::string>& command) {
        Editor editor;
        editor.pid = ::fork();
        if (editor.pid == 0) {
            const int null = ::open("/dev/null", O_RDWR);
            ::dup2(null, STDOUT_FILENO);
            ::dup2(null, STDERR_FILENO);
            std::vector<char*> args;
            for (const auto& part : command)
                args.push_back(const_cast<char*>(part.c_str()));
            args.push_back(nullptr);
            ::execvp(args[0], args.data());
            ::_exit(127);
        }
        editor.window = testing::firstLine(
            capture("timeout 20 xdotool search --sync --onlyvisible --pid " + std::to_string(editor.pid)));
        if (!editor.window.empty())
            testing::runCommand("xdotool windowmove --sync " + editor.window + " 0 0 >/dev/null 2>&1");
        return editor;
    }
    void activate() const { testing::runCommand("xdotool windowactivate --sync " + window + " >/dev/null 2>&1"); }
    void stop() {
        if (pid > 0) {
            ::kill(pid, SIGTERM);
            ::waitpid(pid, nullptr, 0);
        }
        pid = -1;
    }
};

// The centre of the showing node of `role` named `name` (the last one in the tree: a menu's popup
// comes after what it covers), once it shows.
std::optional<std::pair<int, int>> centreOf(pid_t pid, const std::string& role, const std::string& name) {
    std::optional<std::pair<int, int>> found;
    testing::waitUntil(
        [&] {
            for (const Node& node : accessibleTree(pid))
                if (node.showing && node.role == role && node.width > 0 &&
                    node.name.substr(0, node.name.find_last_not_of(' ') + 1) == name) // GTK pads menu items
                    found = std::pair{node.x + node.width / 2, node.y + node.height / 2};
            return found.has_value();
        },
        2s);
    return found;
}

void press(std::pair<int, int> at, int holdMs) {
    char command[160];
    std::snprintf(command, sizeof command, "xdotool mousemove --sync %d %d mousedown 1 sleep %.3f mouseup 1", at.first,
                  at.second, holdMs / 1000.0);
    ASSERT_EQ(std::system(command), 0) << command;
}

// One click of the table: in `app`, optionally after opening the menu titled `menu`, on the
// control of `role` named `name` (with an offset from its centre), held `holdMs`.
struct ClickCase {
    const char* what;
    const char* app; // "gtk", "qt" or "pluma"
    const char* menu;
    const char* role;
    const char* name;
    int holdMs;
    const char* expected; // the action the click counts as, or "unknown"
    int dy = 0;
    const char* before = nullptr; // a menu opened and closed first
    const char* keys = nullptr;   // typed first (a command), once the application's actions are known
};

class ClickAccuracyTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_NE(std::getenv("DISPLAY"), nullptr) << "run these tests through scripts/virtual-desktop";
        const std::string home = std::getenv("HOME");
        {
            std::ofstream notes(home + "/notes.txt");
            notes << "Save\n";
        }
        // Mousepad with its tool bar, which lies under its menus as they open.
        ::setenv("GSETTINGS_BACKEND", "keyfile", 1);
        testing::runCommand("gsettings set org.xfce.mousepad.preferences.window toolbar-visible true");
        gtk_ = Editor::start({"mousepad", home + "/notes.txt"});
        qt_ = Editor::start({TAVRIN_QT_MENU_FIXTURE});
        pluma_ = Editor::start({"pluma"});
        ASSERT_FALSE(gtk_.window.empty());
        ASSERT_FALSE(qt_.window.empty());
        ASSERT_FALSE(pluma_.window.empty());
        for (const pid_t pid : {gtk_.pid, qt_.pid, pluma_.pid})
            ASSERT_TRUE(testing::waitUntil([&] { return !accessibleTree(pid).empty(); }, 15s))
                << "process " << pid << " never reached the accessibility bus";
    }
    static void TearDownTestSuite() {
        gtk_.stop();
        qt_.stop();
        pluma_.stop();
    }

    void SetUp() override {
        // "Edit" names an action in both, as an application can teach it ("Edit" in a File menu):
        // a click on the menu titled so is still no action.
        testing::writeCatalogue(dir_.path() / "catalogue",
                                "os|linux,os,linux,true,false,false\n"
                                "app|mousepad,app,mousepad,true,false,false\n"
                                "app|qt-menu-fixture,app,qt-menu-fixture,true,false,false\n",
                                "20,app|mousepad,New Document,,true,1,20,control + n\n"
                                "21,app|mousepad,Select All,,true,2,21,control + a\n"
                                "22,app|mousepad,Save,,true,3,22,control + s\n"
                                "23,app|mousepad,Edit,,true,4,23,control + shift + e\n"
                                "24,app|mousepad,Close Tab,,true,5,24,control + w\n"
                                "25,app|mousepad,Revert,,true,6,25,control + shift + r\n"
                                "30,app|qt-menu-fixture,New,,true,1,30,control + n\n"
                                "31,app|qt-menu-fixture,Save,,true,2,31,control + s\n"
                                "32,app|qt-menu-fixture,Undo,,true,3,32,control + z\n"
                                "33,app|qt-menu-fixture,Copy,,true,4,33,control + c\n"
                                "34,app|qt-menu-fixture,Select All,,true,5,34,control + a\n"
                                "35,app|qt-menu-fixture,Edit,,true,6,35,control + shift + e\n",
                                "app|mousepad,New Document,AXTitle,New\n"
                                "app|mousepad,Select All,AXTitle,Select All\n"
                                "app|mousepad,Save,AXTitle,Save\n"
                                "app|mousepad,Edit,AXTitle,Edit\n"
                                "app|mousepad,Close Tab,AXTitle,Close Tab\n"
                                "app|mousepad,Revert,AXTitle,Revert\n"
                                "app|qt-menu-fixture,New,AXTitle,New\n"
                                "app|qt-menu-fixture,Save,AXTitle,Save\n"
                                "app|qt-menu-fixture,Undo,AXTitle,Undo\n"
                                "app|qt-menu-fixture,Copy,AXTitle,Copy\n"
                                "app|qt-menu-fixture,Select All,AXTitle,Select All\n"
                                "app|qt-menu-fixture,Edit,AXTitle,Edit\n");
        std::ostringstream out, err;
        ASSERT_EQ(runSetup({.dataDir = dir_.path(), .catalogueDir = dir_.path() / "catalogue", .acceptDefaults = true},
                           std::cin, out, err),
                  0)
            << out.str() << err.str();
        std::string problem;
        session_ = DesktopSession::open({.dataDir = dir_.path(), .catalogueDir = dir_.path() / "catalogue"}, loop_,
                                        workers_, problem);
        ASSERT_TRUE(session_) << problem;
        session_->start();
        settle(loop_, workers_);
    }
    void TearDown() override { session_.reset(); }

    template <class Done> bool pumpUntil(Done done, double seconds = 10) {
        const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        while (!done()) {
            if (std::chrono::steady_clock::now() > until)
                return false;
            loop_.postAfter(Duration(0.05), [this] { loop_.quit(); });
            loop_.run();
        }
        return true;
    }
    std::vector<std::string> clicks() {
        SQLite::Database db(session_->database().path().string(), SQLite::OPEN_READONLY);
        SQLite::Statement query(db, "SELECT element_clicked FROM click_events ORDER BY event_id");
        std::vector<std::string> rows;
        while (query.executeStep())
            rows.push_back(query.getColumn(0).getString());
        return rows;
    }
    // The actions known in a namespace: the catalogue's, or those learned from its menus.
    int actionsOf(const std::string& namespaceId) {
        SQLite::Database db(session_->database().path().string(), SQLite::OPEN_READONLY);
        SQLite::Statement query(db, "SELECT COUNT(*) FROM actions WHERE namespace_id = ?");
        query.bind(1, namespaceId);
        return query.executeStep() ? query.getColumn(0).getInt() : 0;
    }
    // Runs xdotool and the accessibility reads on a thread of their own while the main loop turns.
    void whilePumping(std::function<void()> steps) {
        std::atomic<bool> done = false;
        std::thread actor([&] {
            steps();
            done = true;
        });
        pumpUntil([&] { return done.load(); }, 30);
        actor.join();
    }
    // Opens the menu titled `title` with a click held `holdMs`, and waits for its popup.
    static void openMenu(pid_t pid, const std::string& title, int holdMs) {
        auto at = centreOf(pid, "menu", title);
        if (!at)
            at = centreOf(pid, "menu item", title);
        ASSERT_TRUE(at) << "menu " << title;
        press(*at, holdMs);
        std::this_thread::sleep_for(500ms);
    }

    static inline Editor gtk_, qt_, pluma_;
    testing::TempDir dir_;
    EventLoop loop_;
    ThreadPool workers_{2};
    std::unique_ptr<DesktopSession> session_;
};

TEST_F(ClickAccuracyTest, EachClickCountsAsWhatWasClickedAndNothingElse) {
    const std::vector<ClickCase> cases = {
        {"GTK menu title named like an action", "gtk", nullptr, "menu", "Edit", 100, "unknown"},
        {"GTK menu item, tapped: its menu closes before it is found", "gtk", "Edit", "menu item", "Select All", 2,
         "Select All"},
        {"GTK menu item over the tool bar, tapped: not the button under it", "gtk", "File", "menu item", "New", 2,
         "New Document"},
        {"GTK menu item, held", "gtk", "File", "menu item", "New", 100, "New Document"},
        {"GTK text area whose text is an action's name", "gtk", nullptr, "text", "", 100, "unknown", 150},
        {"Qt menu title named like an action", "qt", nullptr, "menu item", "Edit", 100, "unknown"},
        {"Qt menu item, held", "qt", "Edit", "menu item", "Select All", 100, "Select All"},
        {"Qt menu item, tapped", "qt", "Edit", "menu item", "Copy", 2, "Copy"},
        {"Qt tool bar button where a closed menu was", "qt", nullptr, "push button", "Save", 100, "Save", 0, "Edit"},
        {"Qt text area whose text is an action's name", "qt", nullptr, "text", "", 100, "unknown", 100},
        // Its menus are read while nothing is selected: Copy is disabled then and GTK shows no key
        // for it. Once text is selected, a click on the tool bar's Copy reads the item again.
        {"GTK tool bar button whose menu item was disabled when the menus were read", "pluma", nullptr, "push button",
         "Copy", 100, "Copy", 0, nullptr, "xdotool type Hello && sleep 0.3 && xdotool key shift+Home && sleep 0.3"},
    };
    std::string front;
    for (const auto& c : cases) {
        const std::string which = c.app;
        const Editor& app = which == "gtk" ? gtk_ : which == "qt" ? qt_ : pluma_;
        const std::string place = which == "gtk" ? "mousepad" : which == "qt" ? "qt-menu-fixture" : which;
        if (front != place) {
            app.activate();
            ASSERT_TRUE(pumpUntil([&] { return session_->store().state().activeNamespace.app == place; }))
                << "in front: " << session_->store().state().activeNamespace.app;
            front = place;
        }
        if (c.before) {
            whilePumping([&] {
                openMenu(app.pid, c.before, 100);
                testing::runCommand("xdotool key Escape");
                std::this_thread::sleep_for(300ms);
            });
        }
        if (c.keys) {
            ASSERT_TRUE(pumpUntil([&] { return actionsOf("app|" + place) > 0; }, 15)) << c.what << ": no actions";
            whilePumping([&] { testing::runCommand(c.keys); });
        }
        const auto before = clicks().size();
        if (c.menu)
            whilePumping([&] { openMenu(app.pid, c.menu, c.holdMs); });
        const auto counted = clicks().size();
        whilePumping([&] {
            const auto at = centreOf(app.pid, c.role, c.name);
            ASSERT_TRUE(at) << c.what;
            press({at->first, at->second + c.dy}, c.holdMs);
        });
        ASSERT_TRUE(pumpUntil([&] { return clicks().size() > counted; })) << c.what << ": the click was not counted";
        EXPECT_EQ(clicks().back(), c.expected) << c.what;
        if (c.menu) {
            EXPECT_EQ(clicks()[before], "unknown") << c.what << ": the menu's title";
        }
        // Leave no menu, dialog or find bar open for the next case.
        testing::runCommand("xdotool key Escape");
        std::this_thread::sleep_for(200ms);
    }
}

} // namespace
} // namespace tavrin
