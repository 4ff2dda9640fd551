#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "State/AppDomain.h"
#include "State/Dependencies.h"
#include "State/Store.h"
#include "analytics/RealAnalyticsManager.h"
#include "platform/Desktop.h"
#include "platform/InputMonitor.h"
#include "platform/MainQueue.h"
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
    Desktop* desktop = nullptr;
    InputMonitor* input = nullptr;
    UserDefaults* defaults = nullptr;
    std::function<DatabaseManager&()> database;
    std::function<AccessibilityManaging&()> accessibility;
    std::function<ScreenshotManaging&()> screenshots;
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
};

// Owns the one store and the long-lived monitors, starts them in a fixed order, forwards their
// callbacks into the store, and stops them at termination. It holds no product logic; the window
// and the tray of the desktop application are added around it.
class AppDelegate {
public:
    using AppStore = Store<AppDomain::State, AppDomain::Action>;

    explicit AppDelegate(AppEnvironment environment);
    virtual ~AppDelegate();

    // Start-up: key monitor, classifier and database (and the picture path reporting into the
    // store), mouse monitor, inspector, the anonymous user id, the initial state, the login item.
    // Throws what the database's construction throws.
    void applicationDidFinishLaunching();
    void applicationWillTerminate();

    AppStore& store() { return *store_; }
    const Dependencies& dependencies() const { return deps_; }

    // The mouse monitor's body (the position is the pointer's when the button went down), and the queue that feeds
    // clicks to the inspector one main-queue turn apart.
    void handleGlobalClick(Point position);
    void processNextEvent();

    // Applies the login-item preference to the session.
    void applyLaunchAtLogin(bool enabled);

    static constexpr const char* anonymousUserIdKey = "AnonymousUserId";

private:
    struct PendingClick {
        Point point;
        Uuid uuid;
    };
    class ScreenshotStoreBinding;

    AppEnvironment env_;
    Dependencies deps_;
    // Product analytics when the environment asks for them; made before the store, whose first
    // state takes the manager, and ended after it.
    std::shared_ptr<RealAnalyticsManager> analytics_;
    std::shared_ptr<AnalyticsManaging> previousDefaultAnalytics_;
    std::unique_ptr<AppStore> store_;
    AppStore::Observation consent_;
    std::unique_ptr<GlobalKeyMonitor> globalKeyMonitor_;
    std::optional<InputMonitor::Token> eventMonitor_;
    std::unique_ptr<UIElementInspector> inspector_;
    std::unique_ptr<ScreenshotStoreBinding> screenshotStore_;
    std::deque<PendingClick> eventQueue_;
    bool isProcessingQueue_ = false;
    // Callbacks hold this weakly: after destruction they do nothing.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
