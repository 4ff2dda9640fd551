#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "app/AppDelegate.h"
#include "app/SessionReport.h"
#include "platform/common/ScopedExecutor.h"
#include "platform/ApplicationMenus.h"
#include "platform/FrontApplication.h"
#include "platform/InputMonitor.h"
#include "platform/Paths.h"
#include "platform/Screens.h"
#include "platform/WindowFocus.h"

namespace tavrin {

class AccessibilityManager;
class DatabaseManager;
class FileWatcher;
class ImageClassifier;
class MenuLearning;
class ScreenshotManager;

// The application core on the real Linux desktop: the X11 or the Wayland desktop (chosen once,
// from the session), AT-SPI, the global input monitor, the accessibility manager, the database and
// the store, wired as the application wires them, on the main queue and executor of the caller (an
// EventLoop and a ThreadPool on the command line). This is the one place that chooses the Linux
// implementations.
class DesktopSession {
public:
    struct Options {
        std::filesystem::path dataDir;      // empty: the XDG folders
        std::filesystem::path catalogueDir; // empty: the shipped resources
        std::string display;                // empty: $DISPLAY
        // Product analytics, for a run on the user's behalf: they wait in the data folder until
        // the user has agreed to share usage data. Off for the tools.
        bool productAnalytics = false;
        std::string analyticsEndpoint; // empty: the analytics service's
        // What the login item starts.
        std::filesystem::path loginItemExecutable = "tavrin";
        // Completes the wiring for the desktop application (its shell), given the session's paths.
        std::function<void(AppEnvironment&, const Paths&)> shell;
    };

    // Opens the display (X11) or the compositor's window list (Wayland, where the compositor has
    // one) and checks the accessibility bus. No session and a message that says what is wrong and
    // how to fix it when the X11 display or the bus is missing. `mainQueue` and `executor` must
    // outlive the session; the main queue's thread is the one that calls the session.
    static std::unique_ptr<DesktopSession> open(const Options& options, MainQueue& mainQueue, Executor& executor,
                                                std::string& problem);
    // Waits for the run bodies it started that are running; those not started yet are dropped.
    ~DesktopSession();

    // Opens the database, starts the monitors and loads the stored state, then follows what other
    // processes (`tavrin pause`, `tavrin data ...`) change in the preferences; throws what opening
    // the database throws. The classifier's model is loaded on the first picture to classify.
    void start();
    // Stops the monitors and cancels the store's work. Idempotent.
    void stop();
    AppDelegate& app() { return *app_; }
    AppDelegate::AppStore& store() { return app_->store(); }
    FrontApplication& frontApplication();
    // Which window has the keyboard, and handing it to another; none on Wayland, where an
    // application cannot.
    WindowFocus* windowFocus();
    Screens& screens();
    // What this session lets Tavrin see (everything on X11, less on Wayland).
    SessionCapabilities capabilities() const;
    const ApplicationMenus& applicationMenus() const;
    // The applications with a window that are not on the accessibility bus, by display name: those
    // to restart once accessibility is on.
    std::vector<std::string> applicationsToRestart() const;
    AccessibilityManager& accessibility() { return *accessibility_; }
    DatabaseManager& database();
    // Made, and its model loaded, on first use; like the database, first used on the main thread.
    ImageClassifier& classifier();
    ScreenshotManager& screenshots();

    // Whether accessibility is switched on for the session.
    bool accessibilityEnabled() const;

private:
    struct Parts;
    explicit DesktopSession(MainQueue& mainQueue);

    MainQueue& mainQueue_;
    std::unique_ptr<Parts> parts_;
    std::unique_ptr<InputMonitor> input_;
    std::unique_ptr<AccessibilityManager> accessibility_;
    std::unique_ptr<DatabaseManager> database_;
    // Declared after what its tasks use, so that it is joined before they go.
    std::unique_ptr<ScopedExecutor> executor_;
    std::unique_ptr<AppDelegate> app_;
    std::unique_ptr<MenuLearning> menuLearning_; // ends before the store and its executor
    // While started: the preferences file, which the `tavrin` commands write too.
    std::unique_ptr<FileWatcher> defaultsWatcher_;
    bool started_ = false;
};

// Where the program keeps its files: the XDG folders, or everything under `dataDir` when it is given.
std::unique_ptr<Paths> userPaths(const std::filesystem::path& dataDir);

// The running applications and their menus, for the tools that read them without a session. No
// value and `problem` saying why when there is no display or the accessibility bus does not answer.
std::unique_ptr<ApplicationMenus> openApplicationMenus(std::string& problem);

// Whether this is a Wayland session (WAYLAND_DISPLAY, or XDG_SESSION_TYPE=wayland).
bool isWaylandSession();

// What a session opened here would see, judged from the environment alone (for the commands that
// open no session): the session's kind, the key source and XWayland. The window list is assumed.
SessionCapabilities expectedSessionCapabilities();

// How to switch accessibility on, for messages.
extern const char* const kHowToEnableAccessibility;

} // namespace tavrin
