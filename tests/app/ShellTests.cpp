// The application shell without a display: the start-up and termination orders, the status item
// and its menu, the menu's commands and every line the shell prints, with fakes.
#include <gtest/gtest.h>

#include <fstream>

#include "app/AppWorld.h"
#include "app/CheatsheetShortcut.h"
#include "app/ShellTexts.h"
#include "platform/linux/LinuxSystemInfo.h"

namespace tavrin {
namespace {

using Trace = std::vector<std::string>;

// Everything the shell does, in one list: printed lines, error reporting, monitors, the database,
// the status item.
struct TracingLog final : LogSink {
    Trace& trace;
    explicit TracingLog(Trace& t) : trace(t) {}
    void printLine(std::string_view line) override { trace.push_back("print: " + std::string(line)); }
    void systemLog(LogLevel, std::string_view, std::string_view, std::string_view) override {}
};

struct TracingReporting final : ErrorReporting {
    Trace& trace;
    std::function<std::string()> note; // what the test wants to know at each call
    ErrorReportingOptions options;
    explicit TracingReporting(Trace& t) : trace(t) {}
    void start(const ErrorReportingOptions& o) override {
        options = o;
        trace.push_back("report: start " + o.releaseName);
    }
    void captureMessage(const std::string& message) override { trace.push_back("report: message " + message); }
    void startTransaction(const std::string& name, const std::string& operation) override {
        trace.push_back("report: transaction " + name + " " + operation + (note ? note() : ""));
    }
    void setUser(const std::string& id) override { trace.push_back("report: user " + id + (note ? note() : "")); }
};

struct TracingInput final : InputMonitor {
    Trace& trace;
    InputMonitor& inner;
    std::set<Token> keyTokens;
    TracingInput(Trace& t, InputMonitor& i) : trace(t), inner(i) {}
    std::optional<Token> addMouseDownMonitor(std::function<void(const MouseDown&)> handler) override {
        trace.push_back("mouse monitor installed");
        return inner.addMouseDownMonitor(std::move(handler));
    }
    std::optional<Token> addKeyMonitor(std::function<void(const KeyEvent&)> handler) override {
        trace.push_back("key monitor started");
        auto token = inner.addKeyMonitor(std::move(handler));
        keyTokens.insert(*token);
        return token;
    }
    void removeMonitor(Token token) override {
        trace.push_back(keyTokens.count(token) ? "key monitor stopped" : "mouse monitor removed");
        inner.removeMonitor(token);
    }
};

struct FakeStatusItem final : StatusItem {
    Trace& trace;
    bool button = true;
    bool image = true;
    std::vector<MenuItem> menu;
    FakeStatusItem(Trace& t, bool b, bool i) : trace(t), button(b), image(i) {}
    bool hasButton() const override { return button; }
    bool setImage(const std::string& name, double width, double height) override {
        trace.push_back("image " + name + " " + std::to_string(int(width)) + "x" + std::to_string(int(height)));
        return image;
    }
    void setMenu(std::vector<MenuItem> items) override {
        std::string titles;
        for (const auto& item : items)
            titles += (titles.empty() ? "" : " | ") + (item.isSeparator() ? "---" : item.title) +
                      (item.state ? (*item.state ? " [on]" : " [off]") : "");
        trace.push_back("menu " + titles);
        menu = std::move(items);
    }
    void setItemState(std::size_t index, bool on) override { menu.at(index).state = on; }
    // Chooses an entry as the user does.
    void choose(const std::string& title) {
        for (auto& item : menu)
            if (item.title == title)
                return item.action();
        FAIL() << "no entry " << title;
    }
};

struct FakeStatusBar final : StatusBar {
    Trace& trace;
    enum class Kind { none, noButton, noImage, full } kind = Kind::full;
    FakeStatusItem* item = nullptr;
    explicit FakeStatusBar(Trace& t) : trace(t) {}
    std::unique_ptr<StatusItem> statusItem() override {
        trace.push_back("status item");
        if (kind == Kind::none)
            return nullptr;
        auto made = std::make_unique<FakeStatusItem>(trace, kind != Kind::noButton, kind != Kind::noImage);
        item = made.get();
        return made;
    }
};

struct FakeUpdater final : Updater {
    int checks = 0;
    void checkForUpdates() override { ++checks; }
};

struct FakeSystem final : SystemInfo {
    std::string operatingSystemVersion() const override { return "Debian GNU/Linux 12 (bookworm)"; }
    std::optional<std::string> hardwareModel() const override { return std::nullopt; }
};

struct ShellTest : testing::AppWorld {
    Trace trace;
    TracingInput input{trace, desktop};
    std::shared_ptr<LogSink> previousLog = setLogSink(std::make_shared<TracingLog>(trace));
    TracingReporting reporting{trace};
    FakeStatusBar statusBar{trace};
    FakeUpdater* updater = nullptr;
    FakeSystem system;
    int terminations = 0;
    DeploymentSettings deployment;
    std::unique_ptr<AppDelegate> delegate;
    bool withShortcut = false; // the cheat sheet's shortcut and menu entry
    bool withCoaching = false; // "Your Progress", "Nudges as Notifications", "Remove Desktop Helper"
    testing::FakeGlobalShortcut shortcut;

    ~ShellTest() override {
        delegate.reset();
        setLogSink(previousLog);
    }

    void create() {
        databaseOpened = [this] { trace.push_back("database opened"); };
        auto env = environment(defaults);
        env.input = &input;
        env.errorReporting = &reporting;
        env.statusBar = &statusBar;
        env.system = &system;
        env.makeUpdater = [this] {
            trace.push_back("updater created");
            auto made = std::make_unique<FakeUpdater>();
            updater = made.get();
            return made;
        };
        env.terminate = [this] { ++terminations; };
        env.bundle = {"tavrin.tavrin.app", "0.1.0", "7"};
        env.deployment = deployment;
        if (withShortcut) {
            env.globalShortcut = &shortcut;
            env.focusCheatsheet = [this](const GlobalShortcut::Activation& activation) {
                trace.push_back("focus sheet " + std::to_string(activation.timestamp));
            };
        }
        if (withCoaching) {
            env.showProgress = [this] { trace.push_back("progress shown"); };
            env.nudgeNotifications = true;
            env.removeDesktopHelper = [this] {
                trace.push_back("helper removed");
                return std::string("The GNOME Shell extension is switched off and removed.");
            };
        }
        delegate = std::make_unique<AppDelegate>(std::move(env));
    }
    void launch() {
        if (!delegate)
            create();
        delegate->applicationDidFinishLaunching();
        scheduler.runUntilIdle();
    }
    FakeStatusItem& item() { return *statusBar.item; }
    const AppDomain::State& state() { return delegate->store().state(); }
};

TEST_F(ShellTest, StartsAndStopsInItsOrderWithErrorReportingAroundIt) {
    reporting.note = [this] {
        return std::string(" (user in state: ") + (state().currentUserId.empty() ? "no" : "yes") +
               ", login item: " + (desktop.loginItem ? "set" : "unset") + ")";
    };
    create();
    EXPECT_EQ(trace, (Trace{"updater created", "print: Sentry release: tavrin.tavrin.app@0.1.0+7",
                            "report: start tavrin.tavrin.app@0.1.0+7", "report: message Sentry initialized"}));
    EXPECT_EQ(reporting.options.dsn, "") << "a deployment without a DSN";
    EXPECT_EQ(reporting.options.environment, "production");
    EXPECT_TRUE(reporting.options.enableCrashHandler);
    trace.clear();

    launch();
    const std::string id = defaults.object("AnonymousUserId")->get<std::string>();
    EXPECT_EQ(
        trace,
        (Trace{"report: message App finished launching",
               "report: transaction AppSetup startup (user in state: no, login item: unset)", "key monitor started",
               "database opened", "print: Indexes created successfully", "print: Populating database from CSV",
               "print: Database population complete", "status item", "image IconBw 18x18",
               "menu Check for Updates... | Launch at Startup [on] | Join our Discord | "
               "Send us your feedback | Pause Tavrin | --- | Quit",
               "mouse monitor installed", "report: user " + id + " (user in state: yes, login item: unset)",
               "report: transaction AppSetupDone startup (user in state: yes, login item: set)"}));
    EXPECT_EQ(state().currentUserId, id) << "error reporting and the store know the same user";
    trace.clear();

    delegate->applicationWillHide();
    delegate->applicationWillResignActive();
    EXPECT_EQ(screenshots.cancels, 2);
    EXPECT_TRUE(trace.empty()) << "hiding and leaving touch nothing else; the monitors stay";

    screenshots.onCancel = [this] { trace.push_back("capture cancelled"); };
    delegate->applicationWillTerminate();
    EXPECT_EQ(trace, (Trace{"report: message App will terminate", "mouse monitor removed", "key monitor stopped",
                            "print: Monitoring stopped", "capture cancelled"}));
}

TEST_F(ShellTest, AMissingTrayOrIconIsPrintedOnceAndTheStartGoesOn) {
    struct Case {
        FakeStatusBar::Kind kind;
        Trace lines; // consecutive in the trace, each matched at its start
    };
    for (const auto& c : std::vector<Case>{
             {FakeStatusBar::Kind::none,
              {"status item", "print: Failed to create status bar button", "mouse monitor installed"}},
             // An item without a button still gets its menu (the window shows it then).
             {FakeStatusBar::Kind::noButton,
              {"status item", "print: Failed to create status bar button", "menu Check for Updates..."}},
             {FakeStatusBar::Kind::noImage, {"image IconBw 18x18", "print: Failed to load AppIcon", "menu "}}}) {
        SCOPED_TRACE(static_cast<int>(c.kind));
        trace.clear();
        delegate.reset();
        statusBar.kind = c.kind;
        launch();
        const auto startsWith = [](const std::string& line, const std::string& start) {
            return line.rfind(start, 0) == 0;
        };
        EXPECT_NE(std::search(trace.begin(), trace.end(), c.lines.begin(), c.lines.end(), startsWith), trace.end());
        EXPECT_EQ(std::count(trace.begin(), trace.end(), c.lines[1]), 1);
        EXPECT_FALSE(state().currentUserId.empty()) << "start-up went on";
    }
}

TEST_F(ShellTest, PauseTavrinTurnsIntoResumeTavrinAndBackHoweverThePauseChanged) {
    launch();
    ASSERT_EQ(item().menu[4].title, "Pause Tavrin");
    EXPECT_TRUE(item().menu[5].isSeparator()) << "above the separator";
    item().choose("Pause Tavrin");
    scheduler.runUntilIdle();
    EXPECT_TRUE(state().pause && !state().pause->until) << "until resumed";
    EXPECT_EQ(item().menu[4].title, "Resume Tavrin");
    item().choose("Resume Tavrin");
    scheduler.runUntilIdle();
    EXPECT_FALSE(state().pause);
    EXPECT_EQ(item().menu[4].title, "Pause Tavrin");

    // A timed pause from elsewhere, and its end.
    delegate->store().send(AppDomain::pauseCounting{5});
    scheduler.runUntilIdle();
    EXPECT_EQ(item().menu[4].title, "Resume Tavrin");
    scheduler.advance(Duration{300});
    scheduler.runUntilIdle();
    EXPECT_EQ(item().menu[4].title, "Pause Tavrin");
}

TEST_F(ShellTest, YourProgressOpensAndNudgesAsNotificationsSwitchesTheStoredPreference) {
    withCoaching = true;
    defaults.setObject(nlohmann::json{{"notifications", true}}, CoachingPreferences::defaultsKey);
    launch();
    ASSERT_EQ(item().menu[5].title, "Your Progress");
    ASSERT_EQ(item().menu[6].title, "Nudges as Notifications");
    EXPECT_EQ(item().menu[6].state, true) << "the stored preference, loaded after the menu was made";
    trace.clear();
    item().choose("Your Progress");
    EXPECT_EQ(trace, Trace{"progress shown"});
    item().choose("Nudges as Notifications");
    scheduler.runUntilIdle();
    EXPECT_FALSE(state().coaching.preferences.notifications);
    EXPECT_EQ(defaults.object(CoachingPreferences::defaultsKey)->value("notifications", true), false);
    EXPECT_EQ(item().menu[6].state, false);

    // The desktop helper goes once, with the line that says so, and its entry with it.
    trace.clear();
    item().choose("Remove Desktop Helper");
    scheduler.runUntilIdle();
    EXPECT_EQ(trace, (Trace{"helper removed", "print: The GNOME Shell extension is switched off and removed.",
                            "menu Check for Updates... | Launch at Startup [on] | Join our Discord | Send us your "
                            "feedback | Pause Tavrin | Your Progress | Nudges as Notifications [off] | --- | Quit"}));
}

TEST_F(ShellTest, LaunchAtStartupFollowsTheStateItToggles) {
    // A stored "off": the entry was built from the default before the stored value was loaded,
    // while the registration follows the stored value.
    defaults.setBool(false, "LaunchAtLogin");
    launch();
    EXPECT_EQ(item().menu[1].state, true);
    EXPECT_EQ(desktop.loginItem, false) << "an item registered outside the program is removed";

    item().choose("Launch at Startup");
    EXPECT_EQ(state().launchAtLogin, true);
    EXPECT_EQ(item().menu[1].state, true);
    EXPECT_EQ(desktop.loginItem, true);
    EXPECT_EQ(defaults.object("LaunchAtLogin"), nlohmann::json(true));

    // A session that refuses: one line, and the state and menu keep what was asked for.
    desktop.loginItemWritable = false;
    trace.clear();
    item().choose("Launch at Startup");
    EXPECT_EQ(trace, (Trace{"print: Error toggling login item: the autostart entry could not be written"}));
    EXPECT_EQ(state().launchAtLogin, false);
    EXPECT_EQ(item().menu[1].state, false);
    EXPECT_EQ(desktop.loginItem, true);
}

TEST_F(ShellTest, TheCheatSheetShortcutComesFromThePreferencesShowsInTheMenuAndHandsTheSheetTheKeyboard) {
    withShortcut = true;
    defaults.setObject(nlohmann::json(42), kCheatsheetShortcutKey);
    launch();
    EXPECT_EQ(shortcut.bound, std::vector{kDefaultCheatsheetShortcut}) << "a stored value that is no combination";
    EXPECT_EQ(item().menu[5].title, "Focus Cheat Sheet (Super+Alt+C)");
    trace.clear();
    shortcut.press(42);
    item().choose("Focus Cheat Sheet (Super+Alt+C)");
    EXPECT_EQ(trace, (Trace{"focus sheet 42", "focus sheet 0"}));

    struct Case {
        const char* stored;
        const char* bound;
        const char* refusal;
        bool otherKeysMayWork;
        const char* entry;
        const char* printed; // empty: nothing
    };
    const Case cases[] = {
        {"ctrl+alt+k", "Ctrl+Alt+K", "", true, "Focus Cheat Sheet (Ctrl+Alt+K)", ""},
        {"Super+F9", "Super+F9", "Super+F9 is taken by another application", true, "Focus Cheat Sheet",
         "print: The cheat sheet has no shortcut: Super+F9 is taken by another application. Choose others with "
         "`tavrin shortcut KEYS`."},
        // A desktop without global shortcuts (GNOME's portal): the way that works on every desktop.
        {"Super+F9", "Super+F9", "the desktop's portal offers no global shortcuts", false,
         "Focus Cheat Sheet (for keys, bind \"tavrin shortcut focus\" in your keyboard settings)",
         "print: The cheat sheet has no shortcut: the desktop's portal offers no global shortcuts. Bind `tavrin "
         "shortcut focus` to keys in your desktop's keyboard settings instead: it does the same."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.refusal);
        trace.clear();
        shortcut.refusal = c.refusal;
        shortcut.otherKeysMayWork = c.otherKeysMayWork;
        defaults.setObject(nlohmann::json(c.stored), kCheatsheetShortcutKey);
        delegate->defaultsChanged({kCheatsheetShortcutKey});
        scheduler.runUntilIdle();
        EXPECT_EQ(keyCombinationText(shortcut.bound.back()), c.bound);
        EXPECT_EQ(item().menu[5].title, c.entry);
        EXPECT_EQ(std::count(trace.begin(), trace.end(), std::string(c.printed)), *c.printed ? 1 : 0);
    }

    shortcut.refusal.clear();
    delegate->defaultsChanged({kCheatsheetShortcutKey});
    scheduler.runUntilIdle();
    ASSERT_TRUE(shortcut.activated);
    delegate->applicationWillTerminate();
    trace.clear();
    shortcut.press(7);
    EXPECT_EQ(trace, Trace{}) << "given back at quit";
}

TEST_F(ShellTest, TheOtherEntriesCheckUpdatesOpenTheirLinksAndQuit) {
    launch();
    item().choose("Check for Updates...");
    EXPECT_EQ(updater->checks, 1);

    // Without deployment settings the links do nothing.
    item().choose("Join our Discord");
    item().choose("Send us your feedback");
    EXPECT_TRUE(desktop.openedUrls.empty());

    trace.clear();
    delegate->openSettings();
    EXPECT_EQ(trace, (Trace{"print: Settings clicked"}));

    EXPECT_EQ(terminations, 0);
    item().choose("Quit");
    EXPECT_EQ(terminations, 1);
}

TEST_F(ShellTest, WithDeploymentSettingsTheLinksOpenAndTheMailCarriesTheSystemInformation) {
    deployment = {.feedbackAddress = "feedback@tavrin.app", .communityUrl = "https://discord.gg/tavrin"};
    launch();
    item().choose("Join our Discord");
    item().choose("Send us your feedback");
    ASSERT_EQ(desktop.openedUrls.size(), 2u);
    EXPECT_EQ(desktop.openedUrls[0], "https://discord.gg/tavrin");
    EXPECT_EQ(desktop.openedUrls[1],
              "mailto:feedback@tavrin.app?subject=Tavrin%20Feedback%20(Promise%20it's%20not%20just%20keyboard%20"
              "mashing)&body=%0A%0A%0A%0A%0A%0A%0A---------------------%0ASystem%20Information:%0AOS%20Version:%20"
              "Debian%20GNU/Linux%2012%20(bookworm)%0AModel:%20Unknown%0AApp%20Version:%200.1.0%0ABuild%20Number:%207");

    // Settings that do not read as URLs do nothing, silently.
    delegate.reset();
    deployment = {.feedbackAddress = "feed back@tavrin.app", .communityUrl = "discord invite"};
    desktop.openedUrls.clear();
    launch();
    trace.clear();
    item().choose("Join our Discord");
    item().choose("Send us your feedback");
    EXPECT_TRUE(desktop.openedUrls.empty());
    EXPECT_TRUE(trace.empty());
}

TEST(ShellTextsTest, ReleaseNameAndSystemInformationFallBackPartByPart) {
    EXPECT_EQ(releaseName({"tavrin.tavrin.app", "0.1.0", "7"}), "tavrin.tavrin.app@0.1.0+7");
    EXPECT_EQ(releaseName({}), "unknown@unknown+unknown");
    EXPECT_EQ(releaseName({std::nullopt, "1.0", std::nullopt}), "unknown@1.0+unknown");
    EXPECT_EQ(systemInformationText(PlatformProfile::macOS(), "Version 13.4 (Build 22F66)", "Mac14,2", {}),
              "macOS Version: Version 13.4 (Build 22F66)\nMac Model: Mac14,2\nApp Version: Unknown\nBuild Number: "
              "Unknown");
}

TEST(ShellTextsTest, QueryEncodingKeepsTheQueryCharactersAndEncodesTheRestAsUtf8) {
    EXPECT_EQ(percentEncodeQuery("a-z A_Z 0.9~"), "a-z%20A_Z%200.9~");
    EXPECT_EQ(percentEncodeQuery("!$&'()*+,/:;=?@"), "!$&'()*+,/:;=?@");
    EXPECT_EQ(percentEncodeQuery("\"#%<>[\\]^`{|}\n"), "%22%23%25%3C%3E%5B%5C%5D%5E%60%7B%7C%7D%0A");
    EXPECT_EQ(percentEncodeQuery("Zürich ✓"), "Z%C3%BCrich%20%E2%9C%93");

    for (const char* good : {"https://discord.gg/x", "mailto:a@b.c?subject=x%20y&body=z", "http://h/p#frag"})
        EXPECT_TRUE(parsesAsUrl(good)) << good;
    for (const char* bad : {"", "no scheme", "://x", "1http://x", "https://a b", "https://x/%zz", "https://x/%4",
                            "http://h/#a#b", "https://ü.de", "mailto:<a@b>"})
        EXPECT_FALSE(parsesAsUrl(bad)) << bad;
    EXPECT_FALSE(feedbackMailUrl("", "info")) << "no address, no mail";
}

TEST(LinuxSystemInfoTest, ReadsTheSystemsNameAndTheModelWhereTheyAre) {
    testing::TempDir root;
    std::filesystem::create_directories(root / "etc");
    std::ofstream(root / "etc/os-release") << "NAME=\"Debian GNU/Linux\"\n# comment\nPRETTY_NAME=\"Debian GNU/Linux "
                                              "12 (bookworm)\"\nVERSION_ID=\"12\"\n";
    LinuxSystemInfo info(root.path());
    EXPECT_EQ(info.operatingSystemVersion(), "Debian GNU/Linux 12 (bookworm)");
    EXPECT_FALSE(info.hardwareModel()) << "virtual machines and containers often have no DMI";

    std::ofstream(root / "etc/os-release") << "NAME='Arch Linux'\nVERSION=\"rolling \\\"edge\\\"\"\n";
    EXPECT_EQ(info.operatingSystemVersion(), "Arch Linux rolling \"edge\"");
    std::filesystem::create_directories(root / "sys/devices/virtual/dmi/id");
    std::ofstream(root / "sys/devices/virtual/dmi/id/product_name") << "ThinkPad X1 Carbon Gen 9  \n";
    EXPECT_EQ(info.hardwareModel(), "ThinkPad X1 Carbon Gen 9");

    std::filesystem::remove(root / "etc/os-release");
    EXPECT_EQ(LinuxSystemInfo(root.path()).operatingSystemVersion().rfind("Linux ", 0), 0u) << "the kernel's name";
}

struct UpdaterTest : ::testing::Test {
    VirtualScheduler scheduler;
    std::vector<std::pair<std::string, std::string>> notices;
    HttpResponse feed{200, R"({"version":"0.10.0","url":"https://tavrin.app/download"})", {}};
    int fetches = 0;
    std::unique_ptr<FeedUpdater> make(std::string url, std::string version = "0.9.2") {
        return std::make_unique<FeedUpdater>(
            std::move(url), std::move(version), scheduler, scheduler,
            [this](const std::string& title, const std::string& message) { notices.emplace_back(title, message); },
            [this](const std::string&) {
                ++fetches;
                return feed;
            });
    }
};

// What the updater says at its start and when asked, for each feed and answer.
TEST_F(UpdaterTest, EachAnswerGivesItsNotice) {
    const std::string url = "https://tavrin.app/feed.json";
    const HttpResponse newer = feed;
    const struct {
        std::string url, version;
        HttpResponse answer;
        bool asked;
        std::vector<std::pair<std::string, std::string>> notices;
    } cases[] = {
        {"",
         "0.9.2",
         newer,
         true,
         {{"Check for Updates", "Tavrin 0.9.2 is updated with the rest of your system, by its package manager."}}},
        {url,
         "0.9.2",
         newer,
         false,
         {{"Tavrin 0.10.0 is available", "You have 0.9.2. Get it at https://tavrin.app/download"}}},
        {url, "0.10", newer, false, {}},
        {url, "0.10", newer, true, {{"Tavrin is up to date", "Tavrin 0.10 is the newest version."}}},
        {url,
         "0.10",
         {0, {}, "Could not resolve host: tavrin.app"},
         true,
         {{"Update check failed", "The update feed did not answer (Could not resolve host: tavrin.app)."}}},
        {url, "0.10", {200, "<rss/>", {}}, true, {{"Update check failed", "The update feed does not name a version."}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url + " " + c.version + " " + c.answer.body + (c.asked ? ", asked" : ""));
        notices.clear();
        fetches = 0;
        feed = c.answer;
        auto updater = make(c.url, c.version);
        updater->start();
        scheduler.runUntilIdle();
        if (c.asked) {
            updater->checkForUpdates();
            scheduler.runUntilIdle();
        }
        EXPECT_EQ(notices, c.notices);
        EXPECT_EQ(fetches, c.url.empty() ? 0 : 1 + c.asked) << "read off the main thread, once a check";
    }
}

TEST_F(UpdaterTest, AChecksAnswerServesTheChecksAskedMeanwhileAndOutlivesNoUpdater) {
    auto updater = make("https://tavrin.app/feed.json", "0.10");
    updater->checkForUpdates();
    updater->checkForUpdates(); // while one runs, it answers for both
    scheduler.runUntilIdle();
    EXPECT_EQ(notices, (decltype(notices){{"Tavrin is up to date", "Tavrin 0.10 is the newest version."}}));
    EXPECT_EQ(fetches, 1);

    // An answer that comes back after the updater has gone is dropped.
    updater->checkForUpdates();
    updater.reset();
    scheduler.runUntilIdle();
    EXPECT_EQ(notices.size(), 1u);
}

TEST(UpdaterVersionsTest, NumbersCompareAsNumbers) {
    EXPECT_LT(FeedUpdater::compareVersions("0.9", "0.10"), 0);
    EXPECT_GT(FeedUpdater::compareVersions("1.0.1", "1.0"), 0);
    EXPECT_EQ(FeedUpdater::compareVersions("1.0", "1.0.0"), 0);
    EXPECT_LT(FeedUpdater::compareVersions("garbage", "0.0.1"), 0);
}

} // namespace
} // namespace tavrin
