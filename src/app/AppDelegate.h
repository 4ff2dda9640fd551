#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "State/AppDomain.h"
#include "State/Dependencies.h"
#include "State/Store.h"
#include "analytics/RealAnalyticsManager.h"
#include "app/Bundle.h"
#include "app/Updater.h"
#include "platform/ElementLookup.h"
#include "platform/GlobalShortcut.h"
#include "platform/InputMonitor.h"
#include "platform/LoginItem.h"
#include "platform/MainQueue.h"
#include "platform/Screens.h"
#include "platform/StatusBar.h"
#include "platform/SystemInfo.h"
#include "platform/UrlOpener.h"
#include "reporting/ErrorReporting.h"
#include "sensing/GlobalKeyMonitor.h"
#include "sensing/UIElementInspector.h"

namespace tavrin {

class ImageClassifier;

// What the application runs on: the same wiring drives the desktop, the headless commands and
// session replays; only the implementations differ.
struct AppEnvironment {
    MainQueue* mainQueue = nullptr;
    Executor* executor = nullptr;
    const Clock* clock = nullptr;
    ElementLookup* elements = nullptr;
    Screens* screens = nullptr;
    LoginItem* loginItem = nullptr;
    UrlOpener* urls = nullptr;
    InputMonitor* input = nullptr;
    UserDefaults* defaults = nullptr;
    std::function<DatabaseManager&()> database;
    std::function<AccessibilityManaging&()> accessibility;
    std::function<ScreenshotManaging&()> screenshots;
    // Dependencies::applicationOfProcess; unset, nothing is learned from clicks.
    std::function<std::optional<std::string>(int processId)> applicationOfProcess;
    // Dependencies::learnPendingMenuItems; unset, no menu item is read again for a click.
    std::function<bool(const std::string& appNamespaceId, const std::string& app, int processId,
                       const std::string& value)>
        learnPendingMenuItems;
    // Made (and its model loaded) at start-up; the headless commands run without one.
    std::function<ImageClassifier&()> classifier;
    std::function<Uuid()> uuid = [] { return Uuid::random(); };
    const PlatformProfile* profile = &PlatformProfile::linuxDesktop();
    // The command-line tools run the core without touching the session's login item.
    bool manageLoginItem = true;
    // Set for a run on the user's desktop: the shared RealAnalyticsManager, on a client with this
    // configuration, is the state's analytics manager, and the client sends nothing until the user
    // has agreed (the first-run flow completed with the agreement) and nothing once refused.
    // Unset (the headless commands, replays, tests): a no-op manager, nothing is sent.
    std::optional<AnalyticsClient::Configuration> productAnalytics;

    // The desktop application's shell. The headless commands run without these: no error
    // reporting, no status item, no updater.
    ErrorReporting* errorReporting = nullptr;
    StatusBar* statusBar = nullptr;
    const SystemInfo* system = nullptr;
    // Made in the initialiser, already checking when it comes back.
    std::function<std::unique_ptr<Updater>()> makeUpdater;
    // Ends the application (the platform then calls applicationWillTerminate).
    std::function<void()> terminate;
    // The keyboard's way into the cheat sheet: the shell moves the keyboard focus into its window
    // (from the shortcut, or from the menu with no activation), and the desktop binds the shortcut.
    // Without `focusCheatsheet` the menu has no such entry; without `globalShortcut` no keys bring it.
    std::function<void(const GlobalShortcut::Activation&)> focusCheatsheet;
    GlobalShortcut* globalShortcut = nullptr;
    // Opens the "Your Progress" window; without it the menu has no such entry.
    std::function<void()> showProgress;
    // The desktop shows nudges as notifications when asked: the menu has the switch.
    bool nudgeNotifications = false;
    // Removes the desktop helper the user installed (GNOME Shell, KWin) and says what happened;
    // without it the menu has no such entry.
    std::function<std::string()> removeDesktopHelper;
    BundleInfo bundle = BundleInfo::current();
    DeploymentSettings deployment;
};

// Owns the one store and the long-lived monitors, starts them in a fixed order, forwards their
// callbacks into the store, and stops them at termination; builds the status item and its menu
// and carries out the menu's commands. It holds no product logic and knows no toolkit: the
// desktop application gives it a status bar, error reporting and an updater, the headless
// commands run it without them. Main thread.
class AppDelegate {
public:
    using AppStore = Store<AppDomain::State, AppDomain::Action>;

    // Creates the store and the updater, then starts error reporting.
    explicit AppDelegate(AppEnvironment environment);
    virtual ~AppDelegate();

    // Start-up: key monitor, classifier and database (and the picture path reporting into the
    // store), status item, mouse monitor, inspector, the anonymous user id, the initial state, the
    // login item, with error reporting around them. Throws what the database's construction throws.
    void applicationDidFinishLaunching();
    void applicationWillTerminate();
    // Both cancel a running capture and nothing else.
    void applicationWillHide();
    void applicationWillResignActive();

    // The menu's commands. `toggleLaunchAtLogin` takes the index of the entry that sent it.
    void checkForUpdates();
    void toggleLaunchAtLogin(std::size_t sender);
    void joinDiscord();
    void sendFeedback();
    void openSettings();
    void quit();

    // The feedback mail's URL as sendFeedback opens it; no value when there is none to open.
    std::optional<std::string> feedbackUrl() const;

    AppStore& store() { return *store_; }
    const Dependencies& dependencies() const { return deps_; }

    // The mouse monitor's body (the position is the pointer's when the button went down), and the queue that feeds
    // clicks to the inspector one main-queue turn apart. Only the left and right buttons are looked at.
    void handleGlobalClick(const MouseDown& click);
    // A click whose element the platform found itself; it joins the same queue.
    void handleFoundClick(const ClickedElement& click);
    void processNextEvent();

    // Another process (a `tavrin` command) changed these preferences: the pause, the agreement
    // to share usage data, the anonymous id, or the records behind the lists. Any thread; the
    // store takes them up on the main queue.
    void defaultsChanged(std::vector<std::string> keys);

    // Applies the login-item preference to the session.
    void applyLaunchAtLogin(bool enabled);

    static constexpr const char* anonymousUserIdKey = "AnonymousUserId";
    // The date of the user's last deletion of records (`tavrin data forget`): the lists are read again.
    static constexpr const char* dataForgottenKey = "DataForgotten";

private:
    void startErrorReporting();
    void setUpStatusItem();
    std::vector<MenuItem> buildMenu();
    // "Pause Tavrin" / "Resume Tavrin" in the menu.
    void togglePause();
    void toggleNudgeNotifications(); // "Nudges as Notifications"
    // Binds the cheat sheet's shortcut from the preferences; the menu shows the keys once bound.
    void bindCheatsheetShortcut();
    void focusCheatsheet() { env_.focusCheatsheet({}); } // the menu entry
    void showProgress() { env_.showProgress(); }         // the menu entry
    void removeDesktopHelper();                          // the menu entry, once

    struct PendingClick {
        BottomLeftPoint point;
        Uuid uuid;
        std::optional<ClickedElement> found; // set: no point to look at
        ClickOrigin origin;
    };
    // Whether a click is looked at now: not in the excluded editor, not while paused.
    bool takesClicks() const;
    void enqueue(PendingClick click);
    class ScreenshotStoreBinding;

    AppEnvironment env_;
    Dependencies deps_;
    // Product analytics when the environment asks for them; made before the store, whose first
    // state takes the manager, and ended after it.
    std::shared_ptr<RealAnalyticsManager> analytics_;
    std::shared_ptr<AnalyticsManaging> previousDefaultAnalytics_;
    std::unique_ptr<AppStore> store_;
    AppStore::Observation consent_;
    std::unique_ptr<StatusItem> statusItem_;
    AppStore::Observation pauseMenu_;
    bool menuShowsPause_ = false;
    bool menuShowsNotifications_ = false;
    bool desktopHelperRemoved_ = false;
    std::optional<GlobalShortcut::Binding> cheatsheetBinding_; // the desktop's last answer; none yet: none
    std::unique_ptr<Updater> updater_;
    std::unique_ptr<GlobalKeyMonitor> globalKeyMonitor_;
    std::optional<InputMonitor::Token> eventMonitor_;
    std::optional<InputMonitor::Token> foundClickMonitor_;
    std::unique_ptr<UIElementInspector> inspector_;
    std::unique_ptr<ScreenshotStoreBinding> screenshotStore_;
    std::deque<PendingClick> eventQueue_;
    ClickOrigin inspectedOrigin_; // of the click being inspected: one at a time
    bool isProcessingQueue_ = false;
    // Callbacks hold this weakly: after destruction they do nothing.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
