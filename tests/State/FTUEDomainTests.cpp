#include <gtest/gtest.h>

#include "State/Dependencies.h"
#include "State/FTUEDomain.h"
#include "State/Store.h"
#include "platform/common/EventLoop.h"
#include "State/StateJson.h"
#include "support/Fakes.h"
#include "support/TestDependencies.h"
#include "support/TestStore.h"

namespace tavrin {
namespace {

using namespace FTUEDomain;
using Step = FTUEStep;
using Action = FTUEDomain::Action;
using State = FTUEDomain::State;
using AppType = State::AppType;

struct FTUEDomainTest : ::testing::Test {
    VirtualScheduler scheduler;
    testing::InMemoryUserDefaults defaults;
    testing::FakeAccessibility accessibility;
    testing::FakeScreenshots screenshots;
    Dependencies deps = [this] {
        Dependencies d = testing::unimplementedDependencies();
        d.userDefaults = UserDefaultsClient::live(defaults);
        d.accessibility = [this]() -> AccessibilityManaging& { return accessibility; };
        d.screenshots = [this]() -> ScreenshotManaging& { return screenshots; };
        d.mainQueue = &scheduler;
        return d;
    }();

    std::unique_ptr<testing::TestStore<State, Action>> makeStore(State initial = {}) {
        return std::make_unique<testing::TestStore<State, Action>>(
            initial, Reducer(deps), scheduler, [](const State& s) { return toJson(s); },
            [](const Action& a) { return std::string(caseName(a)); });
    }

    std::optional<CodableState> saved() const {
        const auto stored = defaults.object("FTUEState");
        if (!stored || !stored->is_binary())
            return std::nullopt;
        return CodableState::decode(std::string(stored->get_binary().begin(), stored->get_binary().end()));
    }
};

TEST_F(FTUEDomainTest, WalksForwardAndBackWithoutSaving) {
    auto store = makeStore();
    store->send(previousStep{}); // nothing before welcome
    store->send(nextStep{}, [](State& s) { s.currentStep = Step::personalization; });
    store->receive(trackEvent{"FTUE Step Completed", {}});
    store->send(setUserRole{State::UserRole::dataAnalyst}, [](State& s) { s.userRole = State::UserRole::dataAnalyst; });
    store->send(toggleFrequentApp{AppType::email}, [](State& s) { s.frequentlyUsedApps = {AppType::email}; });
    store->send(toggleFrequentApp{AppType::browser}, [](State& s) {
        s.frequentlyUsedApps = {AppType::email, AppType::browser};
    });
    store->send(toggleFrequentApp{AppType::email}, [](State& s) { s.frequentlyUsedApps = {AppType::browser}; });
    store->send(calculateTimeSavings{}, [](State& s) { s.potentialTimeSavings = State::TimeSavings{5, 2, 1}; });
    store->send(previousStep{}, [](State& s) { s.currentStep = Step::welcome; });
    store->send(grantPermissions{});
    store->receive(nextStep{}, [](State& s) { s.currentStep = Step::personalization; });
    store->receive(trackEvent{"FTUE Step Completed", {}});
    store->send(startFirstChallenge{}, [](State& s) {
        s.firstChallengeShortcut = State::Shortcut{"Open Tab in Browser", "command + t"};
        s.hasStartedFirstChallenge = true;
    });
    store->send(incrementCommandRCounter{}, [](State& s) { s.commandRCounter = 1; });
    store->send(toggleDataShareAgreement{}, [](State& s) { s.dataShareAgreement = false; });
    store->finish();
    EXPECT_EQ(defaults.writes, 0) << "answers reach the defaults only at the four saving moments";
}

TEST_F(FTUEDomainTest, StepEventsCarryTheStepsThemselves) {
    // EquatableDict compares equal whatever it holds, so look inside the effect.
    State state{.currentStep = Step::welcome};
    auto effect = Reducer(deps)(state, nextStep{});
    ASSERT_EQ(effect.kind(), Effect<Action>::Kind::send);
    const auto& sent = std::get<trackEvent>(*effect.action());
    ASSERT_TRUE(sent.properties.dict);
    EXPECT_EQ(sent.properties.dict->at("completed_step"), PropertyValue(Step::welcome));
    EXPECT_EQ(sent.properties.dict->at("next_step"), PropertyValue(Step::personalization));
}

TEST_F(FTUEDomainTest, TimeSavingsCountOnlyTheApps) {
    EXPECT_EQ(timeSavings(0), (State::TimeSavings{0, 0, 0}));
    EXPECT_EQ(timeSavings(3), (State::TimeSavings{15, 7, 3}));
    EXPECT_EQ(timeSavings(4), (State::TimeSavings{20, 10, 5}));
    EXPECT_EQ(timeSavings(6), (State::TimeSavings{30, 15, 7}));
}

TEST_F(FTUEDomainTest, TheLastStepCompletesOnlyWithAccessibility) {
    auto store = makeStore(State{.currentStep = Step::privacySetup});
    store->send(nextStep{});
    store->receive(finishFTUE{});
    store->receive(trackEvent{"FTUE Completed", {}}); // sent even though the flow stays
    EXPECT_FALSE(store->state().ftueCompleted);

    store->send(requestAccessibilityPermission{});
    store->runUntilIdle();
    ASSERT_EQ(accessibility.pendingRequests.size(), 1u);
    accessibility.answer(true);
    store->receive(accessibilityPermissionGranted{}, [](State& s) { s.accessibilityPermissionGranted = true; });
    store->runUntilIdle();
    ASSERT_TRUE(saved());
    EXPECT_TRUE(saved()->accessibilityPermissionGranted);

    store->send(nextStep{});
    store->receive(finishFTUE{});
    store->receive(completeFTUE{}, [](State& s) { s.ftueCompleted = true; });
    store->receive(trackEvent{"FTUE Completed", {}});
    store->runUntilIdle();
    EXPECT_TRUE(saved()->ftueCompleted);
    EXPECT_EQ(saved()->currentStep, Step::privacySetup);
}

// Answers at once, and notes the thread it was asked on.
struct ThreadNotingAccessibility final : AccessibilityManaging {
    std::vector<std::thread::id> askedOn;
    void setOnStateChange(std::function<void(const PlaceReport&)>) override {}
    void startMonitoring() override {}
    std::optional<PlaceReport> currentState() const override { return std::nullopt; }
    void requestPermission(std::function<void(bool)> completion) override {
        askedOn.push_back(std::this_thread::get_id());
        completion(true);
    }
};

TEST_F(FTUEDomainTest, TheAccessibilityRequestRunsOnTheMainThread) {
    ThreadPool workers(2); // the scheduler's work runs on this thread, the test's main thread
    ThreadNotingAccessibility noting;
    deps.accessibility = [&]() -> AccessibilityManaging& { return noting; };
    Store<State, Action> store({}, Reducer(deps), scheduler, workers);

    store.send(requestAccessibilityPermission{});
    for (int i = 0; i < 100 && !store.state().accessibilityPermissionGranted; ++i) {
        workers.waitUntilIdle();
        scheduler.runUntilIdle();
    }
    EXPECT_TRUE(store.state().accessibilityPermissionGranted);
    EXPECT_EQ(noting.askedOn, (std::vector<std::thread::id>{std::this_thread::get_id()}))
        << "asked from the main queue, not from the worker that runs the effect";
    workers.waitUntilIdle();
    scheduler.runUntilIdle();
}

TEST_F(FTUEDomainTest, PermissionAnswersOfNoChangeNothing) {
    auto store = makeStore();
    store->send(requestAccessibilityPermission{});
    store->send(requestScreenRecordingPermission{});
    store->runUntilIdle();
    accessibility.answer(false);
    screenshots.answer(false);
    store->finish();
    EXPECT_EQ(defaults.writes, 0);

    auto again = makeStore();
    again->send(requestScreenRecordingPermission{});
    again->runUntilIdle();
    screenshots.answer(true);
    again->receive(screenRecordingPermissionGranted{}, [](State& s) { s.screenRecordingPermissionGranted = true; });
    again->send(screenRecordingPermissionDenied{ErrorValue{"The user declined"}}, [](State& s) {
        s.screenRecordingPermissionGranted = false;
        s.screenRecordingPermissionError = "The user declined";
    });
    again->runUntilIdle();
    EXPECT_EQ(saved()->screenRecordingPermissionError, "The user declined");
    EXPECT_EQ(defaults.writes, 2);
}

TEST_F(FTUEDomainTest, LoadStateTakesAStoredStateAsItStands) {
    State stored{.currentStep = Step::personalization, .ftueCompleted = true, .dataShareAgreement = false};
    stored.frequentlyUsedApps = {AppType::designTool};
    const auto text = CodableState::from(stored).encode();
    defaults.setObject(nlohmann::json::binary({text.begin(), text.end()}), "FTUEState");

    auto store = makeStore(State{.commandRCounter = 2});
    store->send(loadState{}, [&](State& s) {
        const auto counter = s.commandRCounter;
        s = stored;
        s.commandRCounter = counter; // not persisted, so it stays
    });
    store->finish();

    // Absent, of another kind, or undecodable: the defaults stay.
    for (const auto& bad : {nlohmann::json("a string"), nlohmann::json::binary({'{'}), nlohmann::json(7)}) {
        defaults.setObject(bad, "FTUEState");
        auto fresh = makeStore();
        fresh->send(loadState{});
    }
}

TEST(CodableStateTest, RoundTripsEveryPersistedField) {
    FTUEDomain::State state;
    state.currentStep = FTUEStep::privacySetup;
    state.userRole = FTUEDomain::State::UserRole::videoProducer;
    state.frequentlyUsedApps = {FTUEDomain::State::AppType::browser, FTUEDomain::State::AppType::other};
    state.potentialTimeSavings = FTUEDomain::State::TimeSavings{10, 5, 2};
    state.firstChallengeShortcut = FTUEDomain::State::Shortcut{"Open Tab in Browser", "command + t"};
    state.accessibilityPermissionGranted = true;
    state.screenRecordingPermissionError = "The user declined";
    state.ftueCompleted = true;
    state.hasStartedFirstChallenge = true;
    state.dataShareAgreement = false;
    state.commandRCounter = 3;

    const std::string text = FTUEDomain::CodableState::from(state).encode();
    const auto json = nlohmann::json::parse(text);
    EXPECT_EQ(json["currentStep"], 4);
    EXPECT_EQ(json["userRole"], "Video Producer");
    EXPECT_EQ(json["frequentlyUsedApps"], (nlohmann::json{"Web Browser", "The One That Always Crashes"}));
    EXPECT_EQ(json["potentialTimeSavings"],
              (nlohmann::json{{"minutesPerDay", 10}, {"hoursPerMonth", 5}, {"daysPerYear", 2}}));
    EXPECT_FALSE(json.contains("commandRCounter"));

    FTUEDomain::State restored;
    restored.commandRCounter = 7;
    const auto decoded = FTUEDomain::CodableState::decode(text);
    ASSERT_TRUE(decoded);
    decoded->applyTo(restored);
    EXPECT_EQ(restored.commandRCounter, 7) << "the practice counter is not persisted";
    restored.commandRCounter = state.commandRCounter;
    EXPECT_EQ(restored, state);
}

TEST(CodableStateTest, LeavesOutAbsentOptionalsAndAcceptsThemAsNull) {
    const std::string text = FTUEDomain::CodableState{}.encode();
    const auto json = nlohmann::json::parse(text);
    EXPECT_FALSE(json.contains("potentialTimeSavings"));
    EXPECT_FALSE(json.contains("firstChallengeShortcut"));
    EXPECT_FALSE(json.contains("screenRecordingPermissionError"));

    auto withNulls = json;
    withNulls["potentialTimeSavings"] = nullptr;
    withNulls["someFutureField"] = 1;
    const auto decoded = FTUEDomain::CodableState::decode(withNulls.dump());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(*decoded, FTUEDomain::CodableState{});
}

TEST(CodableStateTest, RejectsBadStoredData) {
    const auto good = nlohmann::json::parse(FTUEDomain::CodableState{}.encode());
    const auto broken = [&](auto change) {
        auto copy = good;
        change(copy);
        return FTUEDomain::CodableState::decode(copy.dump()).has_value();
    };
    EXPECT_FALSE(FTUEDomain::CodableState::decode("not json"));
    EXPECT_FALSE(FTUEDomain::CodableState::decode("[1,2]"));
    EXPECT_FALSE(FTUEDomain::CodableState::decode(""));
    EXPECT_FALSE(broken([](auto& j) { j["currentStep"] = 5; })) << "no step 5";
    EXPECT_FALSE(broken([](auto& j) { j["currentStep"] = "1"; }));
    EXPECT_FALSE(broken([](auto& j) { j["userRole"] = "Astronaut"; }));
    EXPECT_FALSE(broken([](auto& j) { j["frequentlyUsedApps"] = {"Fax Machine"}; }));
    EXPECT_FALSE(broken([](auto& j) { j.erase("ftueCompleted"); }));
    EXPECT_FALSE(broken([](auto& j) { j["dataShareAgreement"] = 1; }));
    EXPECT_FALSE(broken([](auto& j) { j["potentialTimeSavings"] = {{"minutesPerDay", 1}}; }));
    EXPECT_TRUE(broken([](auto& j) { j["currentStep"] = 3.0; })) << "a whole number written as a float is fine";
}

TEST(RawValuesTest, EveryCaseReadsBackFromItsStoredText) {
    for (auto role : FTUEDomain::kAllUserRoles)
        EXPECT_EQ(FTUEDomain::userRoleFromRaw(FTUEDomain::rawValue(role)), role);
    for (auto app : FTUEDomain::kAllAppTypes)
        EXPECT_EQ(FTUEDomain::appTypeFromRaw(FTUEDomain::rawValue(app)), app);
    EXPECT_FALSE(FTUEDomain::stepFromRaw(-1));
    EXPECT_EQ(FTUEDomain::stepFromRaw(4), FTUEStep::privacySetup);
}

} // namespace
} // namespace tavrin
