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

void AppDelegate::setUpStatusItem() {
    statusItem_ = env_.statusBar->statusItem();
    if (statusItem_ && statusItem_->hasButton()) {
        if (!statusItem_->setImage("IconBw", 18, 18))
            printLine("Failed to load AppIcon");
    } else {
        printLine("Failed to create status bar button");
    }
    auto menu = buildMenu();
    if (statusItem_)
        statusItem_->setMenu(std::move(menu));
    // "Pause Tavrin" turns into "Resume Tavrin" and back, however the pause changed (the menu, the
    // command line, its end).
    menuShowsPause_ = store_->state().pause.has_value();
    // Replaced on a later turn of the main queue: the entry that was chosen may still be running.
    std::weak_ptr<bool> alive = alive_;
    pauseMenu_ = store_->observe([this, alive](const AppDomain::State& state) {
        if (state.pause.has_value() == menuShowsPause_ || !statusItem_)
            return;
        menuShowsPause_ = state.pause.has_value();
        env_.mainQueue->post([this, alive] {
            if (alive.lock() && statusItem_)
                statusItem_->setMenu(buildMenu());
        });
    });
}

std::vector<MenuItem> AppDelegate::buildMenu() {
    std::weak_ptr<bool> alive = alive_;
    auto command = [this, alive](void (AppDelegate::*method)()) {
        return [this, alive, method] {
            if (alive.lock())
                (this->*method)();
        };
    };
    const std::size_t launchAtLoginEntry = 1;
    std::vector<MenuItem> menu{
        {"Check for Updates...", command(&AppDelegate::checkForUpdates), std::nullopt},
        {"Launch at Startup",
         [this, alive] {
             if (alive.lock())
                 toggleLaunchAtLogin(launchAtLoginEntry);
         },
         store_->state().launchAtLogin},
        {"Join our Discord", command(&AppDelegate::joinDiscord), std::nullopt},
        {"Send us your feedback", command(&AppDelegate::sendFeedback), std::nullopt},
        {isPaused(store_->state().pause, env_.clock->now()) ? "Resume Tavrin" : "Pause Tavrin",
         command(&AppDelegate::togglePause), std::nullopt},
    };
    if (env_.focusCheatsheet)
        menu.push_back({focusCheatsheetEntry(cheatsheetBinding_), command(&AppDelegate::focusCheatsheet), {}});
    menu.insert(menu.end(), {{}, {"Quit", command(&AppDelegate::quit), std::nullopt}});
    return menu;
}

void AppDelegate::bindCheatsheetShortcut() {
    if (!env_.globalShortcut)
        return;
    std::string problem;
    const KeyCombination combination = cheatsheetShortcut(*env_.defaults, &problem);
    if (!problem.empty())
        printLine(problem);
    std::weak_ptr<bool> alive = alive_;
    env_.globalShortcut->bind(
        combination,
        [this, alive](const GlobalShortcut::Binding& binding) {
            if (!alive.lock())
                return;
            if (!binding.bound)
                printLine(unboundShortcutLine(binding));
            cheatsheetBinding_ = binding;
            if (statusItem_)
                statusItem_->setMenu(buildMenu());
        },
        [this, alive](const GlobalShortcut::Activation& activation) {
            if (alive.lock() && env_.focusCheatsheet)
                env_.focusCheatsheet(activation);
        });
}

void AppDelegate::togglePause() {
    if (isPaused(store_->state().pause, env_.clock->now()))
        store_->send(AppDomain::resumeCounting{});
    else
        store_->send(AppDomain::pauseCounting{});
}

void AppDelegate::checkForUpdates() {
    if (updater_)
        updater_->checkForUpdates();
}

void AppDelegate::toggleLaunchAtLogin(std::size_t sender) {
    const bool enabled = !store_->state().launchAtLogin;
    store_->send(AppDomain::toggleLaunchAtLogin{enabled});
    if (statusItem_)
        statusItem_->setItemState(sender, enabled);
    applyLaunchAtLogin(enabled);
}

void AppDelegate::joinDiscord() {
    const std::string& url = env_.deployment.communityUrl;
    if (!url.empty() && parsesAsUrl(url))
        env_.urls->openUrl(url);
}

std::optional<std::string> AppDelegate::feedbackUrl() const {
    const std::string os = env_.system ? env_.system->operatingSystemVersion() : std::string("Unknown");
    const std::string model = env_.system ? env_.system->hardwareModel().value_or("Unknown") : std::string("Unknown");
    return feedbackMailUrl(env_.deployment.feedbackAddress,
                           systemInformationText(*env_.profile, os, model, env_.bundle));
}

void AppDelegate::sendFeedback() {
    if (const auto url = feedbackUrl())
        env_.urls->openUrl(*url);
}

void AppDelegate::openSettings() {
    printLine("Settings clicked");
}

void AppDelegate::quit() {
    if (env_.terminate)
        env_.terminate();
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
