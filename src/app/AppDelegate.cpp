#include "app/AppDelegate.h"

#include <algorithm>

#include "app/CheatsheetShortcut.h"
#include "app/ShellTexts.h"
#include "database/DatabaseManager.h"
#include "platform/Log.h"
#include "vision/ScreenshotManaging.h"

namespace tavrin {

namespace {

// What the user has said about sharing usage data: nothing until the first-run flow has been
// completed, then the agreement as it stands.
AnalyticsClient::Consent analyticsConsent(const FTUEDomain::State& ftue) {
    if (!ftue.ftueCompleted)
        return AnalyticsClient::Consent::pending;
    return ftue.dataShareAgreement ? AnalyticsClient::Consent::given : AnalyticsClient::Consent::refused;
}

} // namespace

// The picture path's outcomes as actions of this store.
class AppDelegate::ScreenshotStoreBinding final : public ScreenshotStore {
public:
    explicit ScreenshotStoreBinding(AppStore& store) : store_(store) {}
    void screenshotCaptured(const Uuid& uuid, ImageRef image) override {
        store_.send(AppDomain::screenshotCaptured{uuid, std::move(image)});
    }
    void screenshotCaptureFailed(const Uuid& uuid, const ScreenshotError& error) override {
        store_.send(AppDomain::screenshotCaptureFailed{uuid, error});
    }
    void screenshotClassified(const Uuid& uuid, const std::string& subType, float confidence) override {
        store_.send(AppDomain::screenshotClassified{uuid, subType, confidence});
    }
    void screenshotClassificationFailed(const Uuid& uuid, const ErrorValue& error) override {
        store_.send(AppDomain::screenshotClassificationFailed{uuid, error});
    }
    void screenRecordingPermissionDenied(const ErrorValue& error) override {
        store_.send(AppDomain::ftue{FTUEDomain::screenRecordingPermissionDenied{error}});
    }
    std::pair<std::string, std::string> activeApplication() const override {
        const auto& place = store_.state().activeNamespace;
        return {place.app, place.domain};
    }

private:
    AppStore& store_;
};

AppDelegate::AppDelegate(AppEnvironment environment) : env_(std::move(environment)) {
    deps_.now = [clock = env_.clock] { return clock->now(); };
    deps_.uuid = env_.uuid;
    deps_.userDefaults = UserDefaultsClient::live(*env_.defaults);
    deps_.database = DatabaseClient::live(env_.database);
    deps_.accessibility = env_.accessibility;
    deps_.screenshots = env_.screenshots;
    deps_.applicationOfProcess = env_.applicationOfProcess;
    deps_.learnPendingMenuItems = env_.learnPendingMenuItems;
    deps_.mainQueue = env_.mainQueue;
    deps_.profile = env_.profile;
    if (env_.productAnalytics) {
        analytics_ = RealAnalyticsManager::makeShared(
            std::make_unique<AnalyticsClient>(*env_.productAnalytics, std::make_unique<CurlTransport>(), *env_.clock));
        previousDefaultAnalytics_ = defaultAnalyticsManager();
        setDefaultAnalyticsManager(analytics_);
    }
    store_ =
        std::make_unique<AppStore>(AppDomain::State{}, AppDomain::RootReducer(deps_), *env_.mainQueue, *env_.executor);
    if (analytics_) {
        // The client follows the first-run state: the agreement reaches it the moment the flow
        // completes, and a refusal drops what waited.
        AnalyticsClient* client = &analytics_->client();
        consent_ = store_->observe(
            [client](const AppDomain::State& state) { client->setConsent(analyticsConsent(state.ftue)); });
    }
    if (env_.makeUpdater)
        updater_ = env_.makeUpdater();
    // Last, so that the crash handler covers everything the start-up does after this.
    if (env_.errorReporting)
        startErrorReporting();
}

void AppDelegate::startErrorReporting() {
    const std::string release = releaseName(env_.bundle);
    printLine("Sentry release: " + release);
    ErrorReportingOptions options;
    options.dsn = env_.deployment.errorReportingDsn;
    options.releaseName = release;
    env_.errorReporting->start(options);
    env_.errorReporting->captureMessage("Sentry initialized");
}

AppDelegate::~AppDelegate() {
    *alive_ = false;
    if (screenshotStore_ && env_.screenshots)
        env_.screenshots().setStore(nullptr);
    store_.reset();
    if (analytics_) {
        setDefaultAnalyticsManager(previousDefaultAnalytics_);
        // The client ends its session and sends what it may now, while the clock is there.
        analytics_->close();
        analytics_.reset();
    }
}

void AppDelegate::applicationDidFinishLaunching() {
    std::weak_ptr<bool> alive = alive_;
    MainQueue* queue = env_.mainQueue;
    if (env_.errorReporting) {
        env_.errorReporting->captureMessage("App finished launching");
        env_.errorReporting->startTransaction("AppSetup", "startup");
    }

    // Held keys reach the store one main-queue turn later, in the order they were made.
    globalKeyMonitor_ = std::make_unique<GlobalKeyMonitor>(*env_.input, *env_.clock);
    globalKeyMonitor_->keyEventHandler = [this, alive, queue](const GlobalKeyMonitor::KeySet& keys) {
        queue->post([this, alive, keys] {
            if (alive.lock())
                store_->send(AppDomain::keyComboDetected{keys});
        });
    };
    globalKeyMonitor_->start();

    // The classifier's model is loaded now, then the database is opened and migrated, before any
    // click; from here on the picture path reports into the store.
    if (env_.classifier)
        env_.classifier();
    env_.database();
    if (env_.screenshots) {
        screenshotStore_ = std::make_unique<ScreenshotStoreBinding>(*store_);
        env_.screenshots().setStore(screenshotStore_.get());
    }

    if (env_.statusBar)
        setUpStatusItem();
    bindCheatsheetShortcut();

    eventMonitor_ = env_.input->addMouseDownMonitor([this, alive](const MouseDown& click) {
        if (alive.lock())
            handleGlobalClick(click);
    });

    foundClickMonitor_ = env_.input->addClickedElementMonitor([this, alive](const ClickedElement& click) {
        if (alive.lock())
            handleFoundClick(click);
    });

    inspector_ = std::make_unique<UIElementInspector>(
        *env_.elements, *env_.screens, *queue, *env_.executor,
        [this, alive](const AccessibleElementRef& element, const Uuid& uuid, ElementFinding foundBy) {
            if (alive.lock())
                store_->send(AppDomain::inspectUIElement{element, uuid, foundBy, inspectedOrigin_});
        });

    std::string userId;
    if (const auto stored = env_.defaults->object(anonymousUserIdKey); stored && stored->is_string())
        userId = stored->get<std::string>();
    if (userId.empty()) {
        userId = env_.uuid().toString();
        env_.defaults->setObject(nlohmann::json(userId), anonymousUserIdKey);
    }
    store_->send(AppDomain::setAnonymousUserId{userId});
    if (env_.errorReporting)
        env_.errorReporting->setUser(userId);
    store_->send(AppDomain::loadPause{}); // before monitoring can start
    store_->send(AppDomain::loadCoaching{});
    store_->send(AppDomain::loadInitialState{});
    if (env_.manageLoginItem)
        applyLaunchAtLogin(store_->state().launchAtLogin);
    if (env_.errorReporting)
        env_.errorReporting->startTransaction("AppSetupDone", "startup");
}

void AppDelegate::applicationWillHide() {
    if (env_.screenshots)
        env_.screenshots().cancelCapture();
}

void AppDelegate::applicationWillResignActive() {
    applicationWillHide();
}

void AppDelegate::defaultsChanged(std::vector<std::string> keys) {
    std::weak_ptr<bool> alive = alive_;
    env_.mainQueue->post([this, alive, keys = std::move(keys)] {
        if (!alive.lock())
            return;
        const auto changed = [&](const char* key) { return std::find(keys.begin(), keys.end(), key) != keys.end(); };
        if (changed(Pause::defaultsKey))
            store_->send(AppDomain::loadPause{});
        if (changed(CoachingPreferences::defaultsKey))
            store_->send(AppDomain::loadCoaching{});
        if (changed(FTUEDomain::CodableState::defaultsKey)) {
            store_->send(AppDomain::ftue{FTUEDomain::loadState{}});
            store_->send(AppDomain::updateAnalyticsManager{});
        }
        if (changed(anonymousUserIdKey))
            if (const auto id = env_.defaults->object(anonymousUserIdKey); id && id->is_string() && !id->empty()) {
                // A new id means the user deleted everything: usage data starts again too.
                if (analytics_)
                    analytics_->client().startAfresh();
                store_->send(AppDomain::setAnonymousUserId{id->get<std::string>()});
            }
        if (changed(kCheatsheetShortcutKey))
            bindCheatsheetShortcut();
        if (changed(dataForgottenKey)) {
            store_->send(AppDomain::updateShortcuts{});
            store_->send(AppDomain::getBookmarkedShortcuts{});
        }
    });
}

void AppDelegate::applyLaunchAtLogin(bool enabled) {
    if (!env_.loginItem->setLoginItemEnabled(enabled))
        printLine("Error toggling login item: the autostart entry could not be written");
}

void AppDelegate::applicationWillTerminate() {
    if (env_.errorReporting)
        env_.errorReporting->captureMessage("App will terminate");
    if (foundClickMonitor_) {
        env_.input->removeMonitor(*foundClickMonitor_);
        foundClickMonitor_.reset();
    }
    if (eventMonitor_) {
        env_.input->removeMonitor(*eventMonitor_);
        eventMonitor_.reset();
    }
    if (globalKeyMonitor_)
        globalKeyMonitor_->stop();
    if (inspector_)
        inspector_->stop();
    if (env_.globalShortcut)
        env_.globalShortcut->unbind();
    if (env_.screenshots)
        env_.screenshots().cancelCapture();
    store_->cancelAll();
}

bool AppDelegate::takesClicks() const {
    // Clicks in this editor are not counted (the name is matched exactly, as the state holds it).
    if (store_->state().activeNamespace.app == "xcode")
        return false;
    // While paused a click is not even looked at.
    return !isPaused(store_->state().pause, env_.clock->now());
}

void AppDelegate::handleGlobalClick(const MouseDown& click) {
    // The middle and side buttons (paste, back, forward) act wherever the pointer is: no element
    // of theirs is looked at.
    if (click.button == MouseButton::other)
        return;
    const Uuid uuid = env_.uuid();
    if (takesClicks())
        enqueue({click.position, uuid, std::nullopt, {click.button, click.synthetic}});
}

void AppDelegate::handleFoundClick(const ClickedElement& click) {
    const Uuid uuid = env_.uuid();
    if (takesClicks())
        enqueue({{}, uuid, click, {}});
}

void AppDelegate::enqueue(PendingClick click) {
    eventQueue_.push_back(std::move(click));
    if (!isProcessingQueue_)
        processNextEvent();
}

void AppDelegate::processNextEvent() {
    if (eventQueue_.empty()) {
        isProcessingQueue_ = false;
        return;
    }
    isProcessingQueue_ = true;
    const PendingClick click = eventQueue_.front();
    eventQueue_.pop_front();
    std::weak_ptr<bool> alive = alive_;
    MainQueue* queue = env_.mainQueue;
    queue->post([this, alive, click, queue] {
        if (!alive.lock())
            return;
        auto next = [this, alive, queue] {
            queue->post([this, alive] {
                if (alive.lock())
                    processNextEvent();
            });
        };
        const auto& ftue = store_->state().ftue;
        // Clicks before the first-run flow has ended are consumed and dropped. The next click
        // waits until this one's element has been found (or not).
        if (ftue.ftueCompleted && ftue.accessibilityPermissionGranted && inspector_ &&
            !isPaused(store_->state().pause, env_.clock->now())) {
            inspectedOrigin_ = click.origin;
            if (click.found)
                inspector_->inspectFoundElement(*click.found, click.uuid, next);
            else
                inspector_->inspectElement(click.point, click.uuid, next);
        } else
            next();
    });
}

} // namespace tavrin
