#include <gtest/gtest.h>

#include "analytics/NoOpAnalyticsManager.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "vision/ImageClassifier.h"
#include "app/AppWorld.h"
#include "support/CapturingLogSink.h"
#include "support/Commands.h"
#include "support/FakeVision.h"
#include "support/FakeElement.h"
#include "support/LoopbackServer.h"

namespace tavrin {
namespace {

using testing::FakeElement;

struct AppDelegateTest : testing::AppWorld {
    std::unique_ptr<AppDelegate> delegate;
    int uuids = 0;
    // The preferences the application runs on: in memory unless a test shares a file.
    UserDefaults* prefs = &defaults;

    void launch(std::optional<AnalyticsClient::Configuration> analytics = std::nullopt) {
        db.reset();
        auto env = environment(*prefs);
        env.uuid = [this] { return testing::uuid(static_cast<std::uint8_t>(++uuids)); };
        env.productAnalytics = analytics;
        delegate = std::make_unique<AppDelegate>(std::move(env));
        delegate->applicationDidFinishLaunching();
        scheduler.runUntilIdle();
    }

    void onboard(bool dataShareAgreement = true) {
        FTUEDomain::State done;
        done.currentStep = FTUEStep::privacySetup;
        done.ftueCompleted = true;
        done.accessibilityPermissionGranted = true;
        done.dataShareAgreement = dataShareAgreement;
        defaults.setObject(FTUEDomain::CodableState::from(done).stored(), "FTUEState");
        desktop.trusted = true;
    }

    void send(AppDomain::Action action) {
        delegate->store().send(std::move(action));
        scheduler.runUntilIdle();
    }
    // Walks the first-run flow to its end as the user does, granting access on the way.
    void completeFirstRun() {
        for (int i = 0; i < 8 && state().ftue.currentStep != FTUEStep::privacySetup; ++i)
            send(AppDomain::ftue{FTUEDomain::nextStep{}});
        desktop.trusted = true;
        send(AppDomain::ftue{FTUEDomain::accessibilityPermissionGranted{}});
        send(AppDomain::ftue{FTUEDomain::nextStep{}});
        ASSERT_TRUE(state().ftue.ftueCompleted);
    }
    void enterTextEdit() {
        desktop.activate("TextEdit", {});
        scheduler.advance(Duration{0.3});
    }
    void pointAtButton(const char* title) {
        auto button = FakeElement::make({{"AXTitle", title}});
        desktop.runningProcesses.insert(button->pid);
        desktop.elementAtPoint = {ElementAtPoint::Outcome::found, AccessibleElementRef(button), {}};
    }
    void clickBold() {
        pointAtButton("Bold");
        desktop.click(MouseButton::left, {100, 700});
        scheduler.runUntilIdle();
    }
    const AppDomain::State& state() { return delegate->store().state(); }
};

TEST_F(AppDelegateTest, TheAnonymousIdIsMadeOnceAndReused) {
    launch();
    const auto first = state().currentUserId;
    delegate.reset();
    launch();
    EXPECT_EQ(state().currentUserId, first);
    EXPECT_EQ(defaults.object("AnonymousUserId"), nlohmann::json(first));
}

TEST_F(AppDelegateTest, QuickClicksGiveOneInspectionEachInOrder) {
    onboard();
    launch();
    enterTextEdit();
    ASSERT_EQ(state().activeNamespace.app, "textedit");

    pointAtButton("Bold");
    desktop.click(MouseButton::left, {100, 700});
    desktop.click(MouseButton::left, {200, 700});
    scheduler.runUntilIdle();
    // The pointer counts from the bottom; the lookup gets screen points from the top.
    EXPECT_EQ(desktop.lookups, (std::vector<TopLeftPoint>{{100, 100}, {200, 100}}));
    EXPECT_EQ(count("click_events"), 2);
    const auto& analyses = state().finalAnalyses.items;
    ASSERT_EQ(analyses.size(), 2u);
    EXPECT_NE(analyses[0].first, analyses[1].first) << "each click has its own UUID";
}

TEST_F(AppDelegateTest, TheEditorIsNotWatchedAndFailedLookupsKeepTheQueueGoing) {
    onboard();
    launch();
    desktop.runningProcesses.clear();
    desktop.elementAtPoint = {ElementAtPoint::Outcome::noElement, {}, {}};
    desktop.click(MouseButton::left, {5, 800});
    scheduler.runUntilIdle();
    EXPECT_EQ(log->printed().back(), "No element found at the clicked position: (5.0, 0.0)");

    auto orphan = FakeElement::make({{"AXTitle", "Bold"}});
    orphan->pid = 999;
    desktop.elementAtPoint = {ElementAtPoint::Outcome::found, AccessibleElementRef(orphan), {}};
    desktop.click(MouseButton::left, {5, 800});
    scheduler.runUntilIdle();
    EXPECT_EQ(log->printed().back(), "Couldn't get application for process ID: 999");

    send(AppDomain::activeNamespaceChanged{"Xcode", std::nullopt});
    const auto lookups = desktop.lookups.size();
    desktop.click(MouseButton::left, {5, 5});
    scheduler.runUntilIdle();
    EXPECT_EQ(desktop.lookups.size(), lookups) << "clicks in the editor are not queued";

    delegate->applicationWillTerminate();
    EXPECT_EQ(log->printed().back(), "Monitoring stopped");
    desktop.click(MouseButton::left, {5, 5});
    scheduler.runUntilIdle();
    EXPECT_EQ(desktop.lookups.size(), lookups) << "the monitor is gone";
}

// Product analytics against a service on this machine.
struct AppAnalyticsTest : AppDelegateTest {
    testing::LoopbackServer service;

    AnalyticsClient::Configuration analytics() {
        AnalyticsClient::Configuration config;
        config.endpoint = service.url();
        config.storage = home / "analytics";
        config.retryPause = std::chrono::milliseconds(1);
        return config;
    }
    AnalyticsClient& client() { return RealAnalyticsManager::shared()->client(); }
    std::vector<nlohmann::json> sentEvents(std::size_t fromBody = 0) const {
        std::vector<nlohmann::json> events;
        const auto bodies = service.bodies();
        for (std::size_t i = fromBody; i < bodies.size(); ++i) {
            const auto batch = nlohmann::json::parse(bodies[i]);
            events.insert(events.end(), batch["events"].begin(), batch["events"].end());
        }
        return events;
    }
    std::vector<std::string> sentTypes() const {
        std::vector<std::string> types;
        for (const auto& event : sentEvents())
            types.push_back(event["event_type"]);
        return types;
    }
};

TEST_F(AppAnalyticsTest, ARefusalDropsWhatWaitedAndSendsNothing) {
    launch(analytics()); // a first start that ends before the flow does
    send(AppDomain::toggleFloatingMode{true});
    delegate.reset();
    EXPECT_TRUE(service.bodies().empty());

    onboard(false); // the flow completed without the agreement
    launch(analytics());
    EXPECT_TRUE(state().analyticsManager == AnalyticsManagerRef(std::make_shared<NoOpAnalyticsManager>()));
    EXPECT_EQ(client().queued(), 0u) << "the earlier run's events are dropped";
    send(AppDomain::toggleFloatingMode{false});
    client().track("Anything", nlohmann::json::object());
    client().flush();
    delegate.reset();
    EXPECT_TRUE(service.bodies().empty());
}

TEST_F(AppAnalyticsTest, AStoredAgreementSendsFromTheStart) {
    onboard(true);
    launch(analytics());
    EXPECT_TRUE(state().analyticsManager == AnalyticsManagerRef(RealAnalyticsManager::shared()));
    send(AppDomain::toggleLaunchAtLogin{false});
    client().flush();
    EXPECT_EQ(sentTypes(), (std::vector<std::string>{"session_start", "Launch At Login Toggled"}));
    EXPECT_EQ(sentEvents().back()["user_id"], state().currentUserId) << "the id was set before the switch";
}

// The agreement and the user's data controls, proved against a service on this machine with the
// commands a user types while the application runs. Both share the preferences file; the
// application's file watcher (tested on its own) is stood in for by reading the file after each
// command.
struct DataControlsTest : AppAnalyticsTest {
    std::unique_ptr<JsonFileUserDefaults> file;

    void start() {
        file = std::make_unique<JsonFileUserDefaults>(paths.userDefaultsFile());
        prefs = file.get();
        launch(analytics());
        file->setChangeHandler([this](const std::vector<std::string>& keys) { delegate->defaultsChanged(keys); });
    }
    int command(std::vector<std::string> args) {
        args.insert(args.end(), {"--data-dir", home.path().string(), "--catalogue", (home / "catalogue").string()});
        const auto result = testing::run(args);
        EXPECT_EQ(result.err, "");
        file->reload();
        scheduler.runUntilIdle();
        return result.status;
    }
};

TEST_F(DataControlsTest, NothingBeforeTheAgreementEventsAfterItNoneOnceWithdrawnAndAFreshStartAfterForgetting) {
    start();
    EXPECT_TRUE(state().analyticsManager == AnalyticsManagerRef(RealAnalyticsManager::shared()))
        << "the agreement defaults to true: the switch keeps the shared real manager";
    send(AppDomain::toggleFloatingMode{true});
    for (int step = 0; step < 4; ++step)
        send(AppDomain::ftue{FTUEDomain::nextStep{}});
    client().flush();
    EXPECT_TRUE(service.bodies().empty()) << "nothing leaves before the flow has completed";
    EXPECT_GE(client().queued(), 5u);

    completeFirstRun();
    ASSERT_TRUE(state().ftue.dataShareAgreement);
    enterTextEdit();
    clickBold();
    ASSERT_EQ(state().recommendations.front().source, ShortcutSource::userAction);
    client().flush();
    auto types = sentTypes();
    EXPECT_EQ(std::count(types.begin(), types.end(), "Toggle Floating Mode"), 1) << "what waited goes";
    EXPECT_EQ(std::count(types.begin(), types.end(), "FTUE Completed"), 2);
    EXPECT_EQ(std::count(types.begin(), types.end(), "Click Analysis"), 1) << "and what follows";
    EXPECT_EQ(client().queued(), 0u);

    // Withdrawn: nothing more leaves, whatever happens.
    ASSERT_EQ(command({"data", "sharing", "off"}), 0);
    EXPECT_FALSE(state().ftue.dataShareAgreement);
    EXPECT_EQ(client().consent(), AnalyticsClient::Consent::refused);
    const auto bodiesBefore = service.bodies().size();
    send(AppDomain::toggleFloatingMode{false});
    clickBold();
    client().track("Anything", nlohmann::json::object());
    client().flush();
    EXPECT_EQ(service.bodies().size(), bodiesBefore);

    // Everything forgotten: the list shows it at once, and the ids are new.
    const auto oldUser = state().currentUserId;
    const auto oldDevice = client().deviceId();
    ASSERT_EQ(command({"data", "forget", "--all", "--yes"}), 0);
    EXPECT_EQ(count("click_events"), 0);
    ASSERT_FALSE(state().recommendations.empty());
    for (const auto& entry : state().recommendations)
        EXPECT_EQ(entry.source, ShortcutSource::backfill) << entry.base.actionName;
    EXPECT_NE(state().currentUserId, oldUser);
    EXPECT_EQ(nlohmann::json(state().currentUserId), file->object("AnonymousUserId"));
    EXPECT_NE(client().deviceId(), oldDevice);

    // Given again: events flow under the new ids only.
    ASSERT_EQ(command({"data", "sharing", "on"}), 0);
    send(AppDomain::toggleFloatingMode{true});
    client().flush();
    const auto after = sentEvents(bodiesBefore);
    ASSERT_FALSE(after.empty());
    for (const auto& event : after) {
        EXPECT_EQ(event["user_id"], state().currentUserId) << event.dump();
        EXPECT_EQ(event["device_id"], client().deviceId()) << event.dump();
    }
    delegate.reset();
    EXPECT_EQ(sentTypes().back(), "session_end") << "the quit ends the session";
}

TEST_F(DataControlsTest, APauseFromTheCommandLineHoldsInTheRunningApplicationUntilResumed) {
    start();
    completeFirstRun();
    enterTextEdit();

    ASSERT_EQ(command({"pause", "--for", "5"}), 0);
    ASSERT_TRUE(state().pause && state().pause->until);
    const auto lookups = desktop.lookups.size();
    clickBold();
    EXPECT_EQ(desktop.lookups.size(), lookups) << "a paused click is not even looked at";

    ASSERT_EQ(command({"resume"}), 0);
    EXPECT_FALSE(state().pause);
    clickBold();
    EXPECT_EQ(count("click_events"), 1);

    // A pause outlives a restart.
    ASSERT_EQ(command({"pause"}), 0);
    delegate.reset();
    launch(analytics());
    EXPECT_TRUE(state().pause);
}

TEST_F(AppDelegateTest, StartUpLoadsTheModelBeforeOpeningTheDatabaseThenConnectsThePicturePath) {
    testing::writeModelFile(home.path());
    testing::FakeModelLoader loader;
    std::optional<ImageClassifier> classifier;
    std::vector<std::string> order;
    databaseOpened = [&] { order.push_back("database"); };
    auto env = environment(defaults);
    env.classifier = [&]() -> ImageClassifier& {
        order.push_back("classifier");
        if (!classifier)
            classifier.emplace(home.path(), loader);
        return *classifier;
    };
    auto app = std::make_unique<AppDelegate>(std::move(env));
    app->applicationDidFinishLaunching();
    scheduler.runUntilIdle();
    order.resize(2);
    EXPECT_EQ(order, (std::vector<std::string>{"classifier", "database"}));
    EXPECT_EQ(loader.loaded.size(), 1u) << "the model is loaded at start-up";

    // The picture path's outcomes are the store's actions, and it reads the place from the state.
    ASSERT_TRUE(screenshots.store);
    app->store().send(AppDomain::activeNamespaceChanged{"Slack", std::nullopt});
    scheduler.runUntilIdle();
    EXPECT_EQ(screenshots.store->activeApplication(), std::make_pair(std::string("slack"), std::string()));
    const auto click = testing::uuid(7);
    screenshots.store->screenshotClassified(click, "button", 0.5f);
    scheduler.runUntilIdle();
    const auto* result = app->store().state().classificationResults.lookup(click);
    ASSERT_TRUE(result);
    EXPECT_EQ(*result, (ClickAnalysis::ClassificationResult{"button", 0.5f}));

    app->applicationWillTerminate();
    EXPECT_EQ(screenshots.cancels, 1);
    app.reset();
    EXPECT_EQ(screenshots.store, nullptr) << "nothing reports into a store that is gone";
}

} // namespace
} // namespace tavrin
