// Runs inside scripts/virtual-desktop: real applications on a private X11 desktop with the
// accessibility bus, driven by xdotool, and the application core wired as on a user's desktop.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <SQLiteCpp/SQLiteCpp.h>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <set>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <atomic>
#include <functional>
#include <unistd.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include "app/CatalogueCommand.h"
#include "app/DesktopCommands.h"
#include "database/CatalogueExports.h"
#include "app/DesktopSession.h"
#include "database/DatabaseManager.h"
#include "platform/common/EventLoop.h"
#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/X11Desktop.h"
#include "platform/linux/X11InputMonitor.h"
#include "support/CapturingLogSink.h"
#include "support/LoopbackServer.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"

namespace tavrin {
namespace {

using namespace std::chrono_literals;

std::string capture(const std::string& command) {
    std::string out;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        char buffer[256];
        while (std::fgets(buffer, sizeof buffer, pipe))
            out += buffer;
        ::pclose(pipe);
    }
    return out;
}

void run(const std::string& command) {
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

// An application started for the tests, ended with them.
struct Launched {
    pid_t pid = -1;
    unsigned long window = 0;
    int x = 0, y = 0; // the client window's top left on the screen

    // `windowClass` finds a window another process shows for the program (a terminal's server).
    static Launched start(const char* program, const char* environment = nullptr, const char* windowClass = nullptr) {
        Launched app;
        app.pid = ::fork();
        if (app.pid == 0) {
            if (environment)
                ::putenv(const_cast<char*>(environment));
            const int null = ::open("/dev/null", O_RDWR);
            ::dup2(null, STDOUT_FILENO);
            ::dup2(null, STDERR_FILENO);
            ::execlp(program, program, nullptr);
            ::_exit(127);
        }
        const std::string search =
            windowClass ? std::string("--class ") + windowClass : "--pid " + std::to_string(app.pid);
        const std::string found = capture("timeout 20 xdotool search --sync --onlyvisible " + search + " | head -1");
        app.window = std::strtoul(found.c_str(), nullptr, 10);
        if (windowClass && app.window) {
            ::waitpid(app.pid, nullptr, 0); // the launcher is done once the window shows
            app.pid = std::atoi(capture("xdotool getwindowpid " + std::to_string(app.window)).c_str());
        }
        return app;
    }
    // Moves the window's frame; the client lands a title bar lower.
    void moveTo(int left, int top) {
        run("xdotool windowmove --sync " + std::to_string(window) + " " + std::to_string(left) + " " +
            std::to_string(top) + " >/dev/null 2>&1 || true");
        // xwininfo gives the client's own position under a reparenting window manager.
        const std::string info = capture("xwininfo -id " + std::to_string(window));
        std::sscanf(info.c_str() + info.find("Absolute upper-left X:"), "Absolute upper-left X: %d", &x);
        std::sscanf(info.c_str() + info.find("Absolute upper-left Y:"), "Absolute upper-left Y: %d", &y);
    }
    void activate() const { run("xdotool windowactivate --sync " + std::to_string(window) + " >/dev/null 2>&1"); }
    // Holds the button as a hand does: a menu closes on release and takes its item with it.
    void click(int dx, int dy) const {
        run("xdotool mousemove --sync " + std::to_string(x + dx) + " " + std::to_string(y + dy) +
            " mousedown 1 sleep 0.15 mouseup 1");
    }
    void stop() {
        if (pid > 0) {
            ::kill(pid, SIGCONT);
            ::kill(pid, SIGTERM);
            ::waitpid(pid, nullptr, 0);
        }
        pid = -1;
    }
};

// Analytics events as the store hands them over, from whichever thread.
class EventLog final : public AnalyticsManaging {
public:
    void trackEvent(const std::string& name, const std::optional<Properties>& properties) override {
        std::lock_guard lock(mutex_);
        events_.emplace_back(name, properties.value_or(Properties{}));
    }
    void setUserId(const std::string&) override {}
    bool equals(const AnalyticsManaging& other) const override { return this == &other; }
    std::vector<Properties> clickAnalyses() const {
        std::lock_guard lock(mutex_);
        std::vector<Properties> out;
        for (const auto& [name, properties] : events_)
            if (name == "Click Analysis")
                out.push_back(properties);
        return out;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::pair<std::string, Properties>> events_;
};

std::string text(const Properties& properties, const std::string& key) {
    const auto it = properties.find(key);
    if (it == properties.end())
        return {};
    const auto* value = std::get_if<std::string>(&it->second);
    return value ? *value : std::string();
}

class DesktopTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_NE(std::getenv("DISPLAY"), nullptr) << "run these tests through scripts/virtual-desktop";
        factory_ = Launched::start("gtk3-widget-factory");
        editor_ = Launched::start("mousepad");
        ASSERT_NE(factory_.window, 0u);
        ASSERT_NE(editor_.window, 0u);
        factory_.moveTo(0, 0);
        editor_.moveTo(300, 230);
        // Both must be on the accessibility bus before the first click.
        AtspiAccessibility bus;
        for (const pid_t pid : {factory_.pid, editor_.pid}) {
            const auto until = std::chrono::steady_clock::now() + 15s;
            while (!bus.applicationName(pid) && std::chrono::steady_clock::now() < until)
                std::this_thread::sleep_for(100ms);
            ASSERT_TRUE(bus.applicationName(pid)) << "process " << pid << " never reached the accessibility bus";
        }
    }
    static void TearDownTestSuite() {
        editor_.stop();
        factory_.stop();
    }

    void SetUp() override {
        testing::writeCatalogue(dir_.path() / "catalogue",
                                "os|linux,os,linux,true,false,false\n"
                                "app|widget_factory,app,widget_factory,true,false,false\n"
                                "app|mousepad,app,mousepad,true,false,false\n",
                                "1,os|linux,Copy,,true,1,1,control + c\n"
                                "10,app|widget_factory,Show Page 1,,true,1,10,alt + 1\n"
                                "11,app|widget_factory,Show Page 2,,true,2,11,alt + 2\n"
                                "20,app|mousepad,New Document,,true,1,20,control + n\n"
                                "21,app|mousepad,Select All,,true,2,21,control + a\n",
                                "app|widget_factory,Show Page 1,AXTitle,Page 1\n"
                                "app|widget_factory,Show Page 2,AXTitle,Page 2\n"
                                "app|mousepad,New Document,AXTitle,New\n");
        // The first-run flow as a script runs it: afterwards clicks count.
        std::ostringstream out, err;
        ASSERT_EQ(runSetup({.dataDir = dir_.path(), .catalogueDir = dir_.path() / "catalogue", .acceptDefaults = true},
                           std::cin, out, err),
                  0)
            << out.str() << err.str();
        setDefaultAnalyticsManager(events_);
        std::string problem;
        session_ = DesktopSession::open({.dataDir = dir_.path(), .catalogueDir = dir_.path() / "catalogue"}, loop_,
                                        workers_, problem);
        ASSERT_TRUE(session_) << problem;
        session_->start();
        settle(loop_, workers_);
    }
    void TearDown() override {
        session_.reset();
        setDefaultAnalyticsManager(nullptr);
    }

    // Runs the main loop until `done` holds or `seconds` pass.
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
    bool inFront(const std::string& app) {
        return pumpUntil([&] { return session_->store().state().activeNamespace.app == app; });
    }
    std::vector<std::pair<std::string, std::string>> clicks() {
        SQLite::Database db(session_->database().path().string(), SQLite::OPEN_READONLY);
        SQLite::Statement query(db, "SELECT namespace_id, element_clicked FROM click_events ORDER BY event_id");
        std::vector<std::pair<std::string, std::string>> rows;
        while (query.executeStep())
            rows.emplace_back(query.getColumn(0).getString(), query.getColumn(1).getString());
        return rows;
    }
    bool clicksReach(std::size_t count, double seconds = 10) {
        return pumpUntil([&] { return clicks().size() >= count; }, seconds);
    }
    // Runs `steps` (xdotool, which waits) while the main loop turns, as it does for a user.
    void whilePumping(std::function<void()> steps) {
        std::atomic<bool> done = false;
        std::thread actor([&] {
            steps();
            done = true;
        });
        pumpUntil([&] { return done.load(); }, 30);
        actor.join();
    }
    // Starts the session again on a data folder of its own that loads the exports in `catalogue`.
    void reopenWith(const std::filesystem::path& catalogue) {
        session_.reset();
        const auto data = dir_.path() / catalogue.filename();
        std::ostringstream out, err;
        ASSERT_EQ(runSetup({.dataDir = data, .catalogueDir = catalogue, .acceptDefaults = true}, std::cin, out, err), 0)
            << out.str() << err.str();
        std::string problem;
        session_ = DesktopSession::open({.dataDir = data, .catalogueDir = catalogue}, loop_, workers_, problem);
        ASSERT_TRUE(session_) << problem;
        session_->start();
        settle(loop_, workers_);
    }
    // The menu titled at `titleX` (File 20, Edit 60), then its item `itemY` below the title.
    void menuItem(const Launched& app, int titleX, int itemY) {
        whilePumping([&app, titleX, itemY] {
            app.click(titleX, 10);
            std::this_thread::sleep_for(400ms);
            app.click(titleX + 20, itemY);
        });
    }
    void editorMenuItem(int titleX, int itemY) { menuItem(editor_, titleX, itemY); }
    // The File menu of the editor, then its first item, "New".
    void newDocumentFromTheMenu() { editorMenuItem(20, 35); }

    static inline Launched factory_, editor_;
    testing::TempDir dir_;
    std::shared_ptr<EventLog> events_ = std::make_shared<EventLog>();
    EventLoop loop_;
    ThreadPool workers_{2};
    std::unique_ptr<DesktopSession> session_;
};

TEST_F(DesktopTest, ClicksOnButtonsAndMenuItemsAreCountedAsTheirCatalogueActions) {
    factory_.activate();
    ASSERT_TRUE(inFront("widget_factory"));
    factory_.click(700, 15); // the "Page 2" switcher in the header bar
    ASSERT_TRUE(clicksReach(1));
    factory_.click(600, 15); // "Page 1"
    ASSERT_TRUE(clicksReach(2));

    editor_.activate();
    ASSERT_TRUE(inFront("mousepad"));
    newDocumentFromTheMenu();
    ASSERT_TRUE(clicksReach(4));

    using Row = std::pair<std::string, std::string>;
    EXPECT_EQ(clicks(), (std::vector<Row>{{"app|widget_factory", "Show Page 2"},
                                          {"app|widget_factory", "Show Page 1"},
                                          {"app|mousepad", "unknown"}, // the menu title "File" is no action
                                          {"app|mousepad", "New Document"}}));

    ASSERT_TRUE(pumpUntil([&] { return events_->clickAnalyses().size() >= 4; }));
    const auto analyses = events_->clickAnalyses();
    EXPECT_EQ(text(analyses[3], "final_result_element_clicked"), "New Document");
    EXPECT_EQ(text(analyses[3], "accessibility_element_info"), "New Document");
    EXPECT_EQ(text(analyses[3], "namespace_id"), "app|mousepad");
    EXPECT_EQ(text(analyses[2], "final_result_element_clicked"), "unknown");
    EXPECT_EQ(text(analyses[0], "namespace_id"), "app|widget_factory");

    // The list follows: the clicked action leads the editor's list.
    ASSERT_TRUE(pumpUntil([&] {
        const auto& list = session_->store().state().recommendations;
        return !list.empty() && list.front().base.actionName == "New Document" && list.front().count == 1;
    }));
}

TEST_F(DesktopTest, TheHarvestReadsEveryMenuItemThatShowsAShortcutWithItsKeys) {
    std::ostringstream out, err;
    const auto folder = dir_.path() / "harvest";
    ASSERT_EQ(runCatalogueHarvest({.app = "Mousepad", .out = folder}, out, err), 0) << err.str();
    std::string problem;
    const auto exports = CatalogueExports::read(folder, problem);
    ASSERT_TRUE(exports) << problem;
    std::map<std::string, std::string> harvested; // name -> keys
    for (const auto& row : exports->actions.rows) {
        EXPECT_EQ(exports->actions.field(row, "namespace_id"), "app|mousepad");
        harvested[exports->actions.field(row, "name")] = exports->actions.field(row, "mac_keys");
    }
    // Every enabled item of Mousepad 0.5 with an accelerator (Undo, Redo, Cut, Copy are disabled
    // in an empty document, and GTK hides the shortcut of a disabled item).
    const std::map<std::string, std::string> expected = {
        {"New", "control + n"},
        {"New Window", "control + shift + n"},
        {"Open...", "control + o"},
        {"Save", "control + s"},
        {"Save As...", "control + shift + s"},
        {"Print...", "control + p"},
        {"Close Tab", "control + w"},
        {"Close Window", "control + shift + w"},
        {"Quit", "control + q"},
        {"Paste", "control + v"},
        {"Delete Line", "control + shift + delete"},
        {"Select All", "control + a"},
        {"To Opposite Case", "control + option + u"},
        {"Transpose", "control + t"},
        {"Line Up", "option + up"},
        {"Line Down", "option + down"},
        {"Word Left", "option + left"},
        {"Word Right", "option + right"},
        {"Increase Indent", "control + i"},
        {"Decrease Indent", "control + u"},
        {"Find", "control + f"},
        {"Find Next", "control + g"},
        {"Find Previous", "control + shift + g"},
        {"Find and Replace...", "control + r"},
        {"Go to...", "control + l"},
        {"Menubar", "control + m"},
        {"Fullscreen", "f11"},
        {"Contents", "f1"},
    };
    // The tab items are enabled only while the window has more than one tab, which depends on
    // what the cases before this one left open.
    const std::map<std::string, std::string> withTabs = {
        {"Detach Tab", "control + d"}, {"Previous Tab", "control + prior"}, {"Next Tab", "control + next"}};
    for (const auto& [name, keys] : withTabs)
        if (harvested.count(name)) {
            EXPECT_EQ(harvested[name], keys) << name;
            harvested.erase(name);
        }
    EXPECT_EQ(harvested, expected) << out.str();
    // The mapping is the item's name as a click reads it, and the name a toolbar gives it.
    std::set<std::string> values;
    for (const auto& row : exports->mappings.rows)
        values.insert(exports->mappings.field(row, "predicted_best_value"));
    EXPECT_TRUE(values.count("Save As...") && values.count("Save As")) << out.str();

    // The widget factory shows no accelerator: its buttons' mnemonics ("<Alt>i") are not taken.
    std::ostringstream factoryOut, factoryErr;
    ASSERT_EQ(runCatalogueHarvest({.app = "widget_factory", .out = folder}, factoryOut, factoryErr), 0)
        << factoryErr.str();
    EXPECT_NE(factoryOut.str().find("Widget Factory (app|widget_factory"), std::string::npos) << factoryOut.str();
    EXPECT_NE(factoryOut.str().find(" 0 shortcuts"), std::string::npos) << factoryOut.str();
    const auto again = CatalogueExports::read(folder, problem);
    EXPECT_EQ(again->namespaces.rows.size(), 1u) << "no namespace for an application without shortcuts";

    std::ostringstream none, noneErr;
    EXPECT_EQ(runCatalogueHarvest({.app = "no such program"}, none, noneErr), 1);
    EXPECT_NE(noneErr.str().find("Running:"), std::string::npos) << noneErr.str();
}

TEST_F(DesktopTest, ClicksOnTheEditorsMenuItemsCountAsTheShippedCataloguesActions) {
    reopenWith(TAVRIN_SHIPPED_RESOURCES);
    editor_.activate();
    ASSERT_TRUE(inFront("mousepad"));
    editorMenuItem(20, 37);  // File, New
    editorMenuItem(60, 239); // Edit, Select All
    ASSERT_TRUE(clicksReach(4));
    using Row = std::pair<std::string, std::string>;
    const auto rows = clicks();
    EXPECT_EQ(rows[1], (Row{"app|mousepad", "New Document"}));
    EXPECT_EQ(rows[3], (Row{"app|mousepad", "Select All"}));

    // A sample of two more applications' mappings: File, New Tab.
    for (auto [program, windowClass, place] : {std::tuple{"thunar", "", "thunar_file_manager"},
                                               std::tuple{"gnome-terminal", "gnome-terminal", "terminal"}}) {
        auto app = Launched::start(program, nullptr, *windowClass ? windowClass : nullptr);
        ASSERT_NE(app.window, 0u) << program;
        app.moveTo(100, 100);
        app.activate();
        ASSERT_TRUE(inFront(place));
        const auto before = clicks().size();
        menuItem(app, 20, 37);
        EXPECT_TRUE(clicksReach(before + 2)) << program;
        EXPECT_EQ(clicks().back(), (Row{"app|" + std::string(place), "New Tab"}));
        app.stop();
    }
}

TEST_F(DesktopTest, AnApplicationTheCatalogueLacksTeachesItsOwnShortcutsAtTheFront) {
    const auto bare = dir_.path() / "bare";
    testing::writeCatalogue(bare, "os|linux,os,linux,true,false,false\n", "1,os|linux,Copy,,true,1,1,control + c\n",
                            "");
    reopenWith(bare);
    editor_.activate();
    ASSERT_TRUE(inFront("mousepad"));
    // The walk of its menus runs once, in the background, when it comes to the front.
    ASSERT_TRUE(pumpUntil([&] { return session_->database().shortcutsLearnedFromApplications().size() >= 20; }, 20));

    newDocumentFromTheMenu();
    ASSERT_TRUE(clicksReach(2));
    EXPECT_EQ(clicks().back(), (std::pair<std::string, std::string>{"app|mousepad", "New"}));
    ASSERT_TRUE(pumpUntil([&] {
        const auto& list = session_->store().state().recommendations;
        return !list.empty() && list.front().base.actionName == "New" && list.front().count == 1 &&
               list.front().base.shortcutKeys == "control + n";
    })) << "the list shows the learned shortcut with the click";

    // Forgotten, and this release not walked again: a click on the menu item teaches its shortcut.
    session_->database().forgetUserRecords(std::vector<std::string>{"app|mousepad"});
    const auto fromEditor = [&] {
        std::vector<std::string> out;
        for (const auto& shortcut : session_->database().shortcutsLearnedFromApplications())
            if (shortcut.namespaceId == "app|mousepad")
                out.push_back(shortcut.name + " " + shortcut.keys);
        return out;
    };
    ASSERT_TRUE(fromEditor().empty());
    factory_.activate();
    ASSERT_TRUE(inFront("widget_factory"));
    editor_.activate();
    ASSERT_TRUE(inFront("mousepad"));
    newDocumentFromTheMenu();
    ASSERT_TRUE(pumpUntil([&] { return !clicks().empty() && clicks().back().first == "app|mousepad"; }));
    EXPECT_EQ(clicks().back(), (std::pair<std::string, std::string>{"app|mousepad", "New"}));
    EXPECT_EQ(fromEditor(), std::vector<std::string>{"New control + n"});
}

TEST_F(DesktopTest, PressedShortcutsAndTheWindowListFollowTheApplicationInFront) {
    editor_.activate();
    ASSERT_TRUE(inFront("mousepad"));
    run("xdotool key ctrl+a");
    ASSERT_TRUE(pumpUntil([&] {
        return session_->store().state().pressedKeys == std::set<std::string>{"control", "a"};
    }));
    const auto uses = [&] {
        SQLite::Database db(session_->database().path().string(), SQLite::OPEN_READONLY);
        return db.execAndGet("SELECT count(*) FROM shortcut_usage WHERE shortcut_id = 21").getInt();
    };
    EXPECT_TRUE(pumpUntil([&] { return uses() == 1; }));
    run("xdotool key shift+Home");
    EXPECT_TRUE(pumpUntil([&] {
        return session_->store().state().pressedKeys == std::set<std::string>{"shift", "home"};
    }));
    EXPECT_EQ(uses(), 1); // not in the catalogue

    // The window list runs front to back, without the applications' suffixes.
    auto windows = session_->frontApplication().onScreenWindows();
    ASSERT_TRUE(windows);
    ASSERT_GE(windows->size(), 2u);
    EXPECT_EQ(windows->front().owner, "Mousepad");
    ASSERT_TRUE(windows->front().name);
    EXPECT_EQ(windows->front().name->rfind("Untitled", 0), 0u) << *windows->front().name; // "- Mousepad" is gone

    factory_.activate();
    ASSERT_TRUE(inFront("widget_factory"));
    windows = session_->frontApplication().onScreenWindows();
    ASSERT_TRUE(windows);
    EXPECT_EQ(windows->front().owner, session_->frontApplication().frontApplicationName());
    EXPECT_EQ(windows->at(1).owner, "Mousepad");

    // The screen of the private desktop, with no panel taking space off it.
    const auto screen = session_->screens().mainScreenFrame();
    ASSERT_TRUE(screen);
    EXPECT_EQ(screen->width, 1280);
    EXPECT_EQ(screen->height, 800);
    const auto visible = session_->screens().mainScreenVisibleFrame();
    ASSERT_TRUE(visible);
    EXPECT_LE(visible->width, 1280);
    EXPECT_GT(visible->width, 0);
}

TEST_F(DesktopTest, ClicksInAScaledApplicationFindItsElements) {
    // Twice the pixels: "Page 1" sits at (1200, 30) on the screen and at (600, 15) in its own
    // positions. Unscaled, the click would land on the header bar's empty middle.
    Launched scaled = Launched::start("gtk3-widget-factory", "GDK_SCALE=2");
    ASSERT_NE(scaled.window, 0u);
    scaled.moveTo(0, 0);
    scaled.activate();
    ASSERT_TRUE(inFront("widget_factory"));
    whilePumping([&] { scaled.click(1200, 30); });
    const bool counted = clicksReach(1);
    scaled.stop();
    ASSERT_TRUE(counted);
    EXPECT_EQ(clicks().front().second, "Show Page 1");
}

TEST_F(DesktopTest, AStoppedApplicationDoesNotHoldUpTheNextClicks) {
    testing::ScopedLogCapture log;
    editor_.activate();
    ASSERT_TRUE(inFront("mousepad"));
    ::kill(factory_.pid, SIGSTOP);
    // Its "Page 2" would count if it answered; the second click finds it skipped.
    whilePumping([] {
        factory_.click(700, 15);
        factory_.click(600, 15);
        editor_.click(200, 200); // the text area
        editor_.click(250, 200);
    });
    // The accessibility bus waits 25 s per call by default; here the stopped application
    // costs about a second and the editor's clicks still count soon after.
    const bool counted = clicksReach(2, 8);
    ::kill(factory_.pid, SIGCONT);
    ASSERT_TRUE(counted) << "rows: " << clicks().size();
    using Row = std::pair<std::string, std::string>;
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
    const Window own = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 200, 150, 0, 0, 0xffffff);
    const long pid = ::getpid();
    XChangeProperty(display, own, XInternAtom(display, "_NET_WM_PID", False), XA_CARDINAL, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&pid), 1);
    XStoreName(display, own, "Own window");
    XMapWindow(display, own);
    XSync(display, False);
    Launched window;
    window.window = own;
    run("xdotool search --sync --onlyvisible --pid " + std::to_string(pid) + " >/dev/null");
    window.moveTo(900, 450);

    std::vector<BottomLeftPoint> seen;
    X11InputMonitor monitor(loop_);
    monitor.addMouseDownMonitor([&](const MouseDown& down) { seen.push_back(down.position); });
    whilePumping([&] {
        window.click(100, 75);  // inside
        window.click(100, -10); // its title bar, drawn by the window manager
        editor_.click(200, 200);
    });
    ASSERT_TRUE(pumpUntil([&] { return !seen.empty(); }));
    pumpUntil([] { return false; }, 0.3);
    XDestroyWindow(display, own);
    XCloseDisplay(display);
    ASSERT_EQ(seen.size(), 1u) << "only the click in the editor";
    EXPECT_EQ(seen[0].x, editor_.x + 200);
}

TEST_F(DesktopTest, WatchPrintsThePlaceInFrontAndItsList) {
    editor_.activate();
    session_.reset();                  // watch runs its own
    testing::LoopbackServer analytics; // the set-up agreed to share usage data
    std::ostringstream out, err;
    ASSERT_EQ(runWatch({.dataDir = dir_.path(),
                        .catalogueDir = dir_.path() / "catalogue",
                        .json = true,
                        .duration = 3,
                        .analyticsEndpoint = analytics.url()},
                       out, err),
              0)
        << err.str();
    // The place is first read a poll after the start, and printed with its list.
    std::istringstream lines(out.str());
    std::string line;
    ASSERT_TRUE(std::getline(lines, line)) << "nothing printed";
    const auto block = nlohmann::ordered_json::parse(line);
    EXPECT_EQ(block["activeNamespace"]["app"], "mousepad");
    ASSERT_TRUE(block["recommendations"].is_array());
    if (!block["recommendations"].empty()) {
        EXPECT_EQ(block["recommendations"][0].begin().key(), "shortcutId") << "fields in the order of the types";
    }

    // Watching runs for the user: the events reach the analytics service, the last at the quit.
    std::vector<std::string> events;
    for (const auto& body : analytics.bodies()) {
        const auto batch = nlohmann::json::parse(body);
        for (const auto& event : batch["events"])
            events.push_back(event["event_type"]);
    }
    EXPECT_NE(std::find(events.begin(), events.end(), "Active Namespace Changed"), events.end());
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back(), "session_end");
}

} // namespace
} // namespace tavrin
