#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "State/AppDomain.h"
#include "State/Dependencies.h"
#include "State/FTUEDomain.h"
#include "State/StateJson.h"
#include "State/Store.h"
#include "database/DatabaseManager.h"
#include "platform/fake/VirtualScheduler.h"
#include "support/CapturingLogSink.h"
#include "support/Fakes.h"
#include "support/TempDir.h"
#include "support/TestStore.h"

namespace tavrin {
namespace {

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

// The store accepts every action of both tables and runs the composition.
template <std::size_t... I> std::vector<AppDomain::Action> everyAppAction(std::index_sequence<I...>) {
    return {AppDomain::Action{std::variant_alternative_t<I, AppDomain::Action>{}}...};
}
template <std::size_t... I> std::vector<FTUEDomain::Action> everyFTUEAction(std::index_sequence<I...>) {
    return {FTUEDomain::Action{std::variant_alternative_t<I, FTUEDomain::Action>{}}...};
}

TEST(RootStoreTest, AcceptsEveryActionOfBothFeatures) {
    VirtualScheduler scheduler;
    testing::InMemoryUserDefaults defaults;
    testing::FakeAccessibility accessibility;
    testing::FakeScreenshots screenshots;
    Dependencies deps;
    deps.now = [&] { return scheduler.now(); };
    deps.uuid = [] { return Uuid::random(); };
    deps.userDefaults = UserDefaultsClient::live(defaults);
    deps.accessibility = [&]() -> AccessibilityManaging& { return accessibility; };
    deps.screenshots = [&]() -> ScreenshotManaging& { return screenshots; };
    deps.mainQueue = &scheduler;
    testing::TempDir home;
    DataDirPaths paths(home.path(), home.path());
    DatabaseManager database(
        DatabaseManager::Configuration{.paths = &paths, .defaults = &defaults, .clock = &scheduler});
    deps.database = DatabaseClient::live([&]() -> DatabaseManager& { return database; });
    testing::ScopedLogCapture log;
    Store<AppDomain::State, AppDomain::Action> store({}, AppDomain::RootReducer(deps), scheduler, scheduler);
    std::size_t chains = 0;
    const auto observation = store.observe([&](const AppDomain::State&) { ++chains; });
    const auto appActions = everyAppAction(std::make_index_sequence<std::variant_size_v<AppDomain::Action>>{});
    const auto ftueActions = everyFTUEAction(std::make_index_sequence<std::variant_size_v<FTUEDomain::Action>>{});
    for (const auto& action : appActions)
        store.send(action);
    for (const auto& action : ftueActions)
        store.send(AppDomain::ftue{action});
    scheduler.runUntilIdle();
    EXPECT_GE(chains, appActions.size() + ftueActions.size()) << "each outside send, and what run effects sent";
}

TEST(TestStoreTest, FailsOnUnexpectedChangesAndUnreceivedActions) {
    VirtualScheduler scheduler;
    using Counter = int;
    auto reducer = [](Counter& count, const std::string& action) {
        if (action == "inc")
            ++count;
        if (action == "inc twice")
            return Effect<std::string>::concatenate(
                {Effect<std::string>::send("inc"), Effect<std::string>::run([](Send<std::string> s) { s("inc"); })});
        return Effect<std::string>::none();
    };
    {
        testing::TestStore<Counter, std::string> store(0, reducer, scheduler);
        store.send("inc twice");
        store.receive("inc", [](Counter& c) { c = 1; });
        store.receive("inc", [](Counter& c) { c = 2; });
    }
    const auto wrongExpectation = [&] {
        testing::TestStore<Counter, std::string> store(0, reducer, scheduler);
        store.send("inc", [](Counter& c) { c = 5; });
    };
    const auto unreceived = [&] {
        testing::TestStore<Counter, std::string> store(0, reducer, scheduler);
        store.send("inc twice");
    };
    EXPECT_NONFATAL_FAILURE(wrongExpectation(), "differs");
    EXPECT_NONFATAL_FAILURE(unreceived(), "not asserted");
}

} // namespace
} // namespace tavrin
