#include <gtest/gtest.h>

#include <SQLiteCpp/Statement.h>

#include "State/AppDomain.h"
#include "State/Dependencies.h"
#include "analytics/NoOpAnalyticsManager.h"
#include "database/DatabaseManager.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "support/CapturingLogSink.h"
#include "support/FakeElement.h"
#include "support/Fakes.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"
#include "support/TestStore.h"

namespace tavrin {
namespace {

using namespace AppDomain;
using Action = AppDomain::Action;
using State = AppDomain::State;
using testing::FakeElement;

std::string describe(const State& s) {
    std::ostringstream out;
    const auto& place = s.activeNamespace;
    out << "activeNamespace: " << place.app << " / " << place.domain << " app=" << place.appNamespaceId.value_or("-")
        << " domain=" << place.domainNamespaceId.value_or("-") << " supported=" << place.isSupported << '\n';
    out << "recommendations:";
    for (const auto& r : s.recommendations)
        out << ' ' << r.base.shortcutId << '(' << toString(r.source) << ',' << r.count << ')';
    out << "\nlearned:";
    for (const auto& l : s.learnedShortcuts)
        out << ' ' << l.base.shortcutId;
    out << "\npressedKeys:";
    for (const auto& k : s.pressedKeys)
        out << ' ' << k;
    out << "\nlastSaved: "
        << (s.lastSavedClickEvent ? s.lastSavedClickEvent->elementClicked + " " + s.lastSavedClickEvent->namespaceId
                                  : "-");
    out << "\nqueues: accessibility=" << s.accessibilityResults.items.size()
        << " classification=" << s.classificationResults.items.size() << " final=" << s.finalAnalyses.items.size();
    out << "\ncategory=" << rawValue(s.selectedCategory) << " floating=" << s.isFloatingMode
        << " launchAtLogin=" << s.launchAtLogin << " completedFTUE=" << s.hasCompletedFTUE
        << " user=" << s.currentUserId << "\nftue: " << FTUEDomain::CodableState::from(s.ftue).encode()
        << " counter=" << s.ftue.commandRCounter << '\n';
    return out.str();
}

Uuid uuid(std::uint8_t n) {
    Uuid id;
    id.bytes[0] = n;
    return id;
}

struct AppDomainTest : ::testing::Test {
    testing::TempDir home;
    VirtualScheduler scheduler;
    testing::InMemoryUserDefaults defaults;
    testing::FakeAccessibility accessibility;
    testing::FakeScreenshots screenshots;
    testing::ScopedLogCapture log;
    std::shared_ptr<testing::RecordingAnalytics> analytics = std::make_shared<testing::RecordingAnalytics>();
    std::shared_ptr<AnalyticsManaging> previousDefault = defaultAnalyticsManager();
    DataDirPaths paths{home.path(), home / "catalogue"};
    std::unique_ptr<DatabaseManager> db;
    Dependencies deps;

    AppDomainTest() {
        testing::writeSmallCatalogue(home / "catalogue");
        db = std::make_unique<DatabaseManager>(DatabaseManager::Configuration{
            .paths = &paths, .defaults = &defaults, .clock = &scheduler, .catalogueDirectory = home / "catalogue"});
        setDefaultAnalyticsManager(analytics);
        deps.clock = &scheduler;
        deps.defaults = &defaults;
        deps.userDefaults = UserDefaultsClient::live(defaults);
        deps.database = [this]() -> DatabaseManager& { return *db; };
        deps.accessibility = [this]() -> AccessibilityManaging& { return accessibility; };
        deps.screenshots = [this]() -> ScreenshotManaging& { return screenshots; };
        deps.mainQueue = &scheduler;
        log->clear();
    }
    ~AppDomainTest() override { setDefaultAnalyticsManager(previousDefault); }

    std::unique_ptr<testing::TestStore<State, Action>> makeStore(State initial = {}) {
        initial.currentUserId = "user-1";
        initial.appVersion = "1.2.3";
        return std::make_unique<testing::TestStore<State, Action>>(
            std::move(initial), RootReducer(deps), scheduler, describe,
            [](const Action& a) { return std::string(caseName(a)); });
    }

    // Puts the store in textedit, as the monitoring task would.
    void enterTextEdit(testing::TestStore<State, Action>& store) {
        store.send(activeNamespaceChanged{"TextEdit", std::nullopt}, [](State& s) {
            s.activeNamespace = {"textedit", "", "app|textedit", std::nullopt, true};
        });
        store.receive(updateShortcuts{});
        store.receive(getRecommendations{}, [&](State& s) { s.recommendations = recommendationsFor("app|textedit"); });
        store.receive(trackEvent{"Active Namespace Changed", Properties{{"app", "textedit"}, {"domain", ""}}});
    }

    std::vector<ShortcutRecommendation> recommendationsFor(const std::string& namespaceId) {
        return db->getRecommendations(db->countElementClicks(namespaceId, 0.8), namespaceId, 5);
    }

    std::vector<std::tuple<std::string, std::string, double, std::string>> clickRows() {
        SQLite::Statement query(db->db(),
                                "SELECT namespace_id, element_clicked, confidence, element_type FROM click_events "
                                "ORDER BY event_id");
        std::vector<std::tuple<std::string, std::string, double, std::string>> rows;
        while (query.executeStep())
            rows.emplace_back(query.getColumn(0).getString(), query.getColumn(1).getString(),
                              query.getColumn(2).getDouble(), query.getColumn(3).getString());
        return rows;
    }

    std::int64_t usageCount() {
        SQLite::Statement query(db->db(), "SELECT COUNT(*) FROM shortcut_usage");
        query.executeStep();
        return query.getColumn(0).getInt64();
    }
};

TEST_F(AppDomainTest, ABookedClickRunsTheWholeRoadAndRefreshesTheList) {
    auto store = makeStore();
    enterTextEdit(*store);
    analytics->events.clear();

    auto toolbar = FakeElement::make({{"AXRole", "AXToolbar"}});
    auto button = toolbar->adopt(FakeElement::make({{"AXTitle", "Bold"}, {"AXRole", "AXButton"}}));
    store->send(inspectUIElement{AccessibleElementRef(button), uuid(1)});
    store->receive(uiElementInspected{uuid(1), "Bold"});
    store->receive(lookupAccessibilityMapping{uuid(1), "app|textedit", "Bold"});
    store->receive(accessibilityMappingFound{uuid(1), {"app|textedit", "Bold", "AXTitle", "Bold"}}, [](State& s) {
        s.accessibilityResults.enqueue(uuid(1), {"Bold", 1.0});
    });
    const auto now = scheduler.now();
    ClickEvent expected{"user-1", "app|textedit", now, "Bold", 1.0, "accessibility", "1.2.3"};
    store->receive(compareClickResults{uuid(1)}, [&](State& s) {
        s.finalAnalyses.enqueue(uuid(1), ClickAnalysis{uuid(1),
                                                       now,
                                                       {"Bold", 1.0},
                                                       {"SCREENSHOT_CAPTURE_REMOVED", 0.0f},
                                                       ClickAnalysis::FinalResult{
                                                           "Bold", 1.0, ClickAnalysis::ResultSource::accessibility}});
    });
    store->receive(saveClickEvent{expected}, [&](State& s) { s.lastSavedClickEvent = expected; });
    store->receive(getRecommendations{}, [&](State& s) { s.recommendations = recommendationsFor("app|textedit"); });

    EXPECT_EQ(clickRows(), (decltype(clickRows()){{"app|textedit", "Bold", 1.0, "accessibility"}}));
    ASSERT_EQ(analytics->names(), (std::vector<std::string>{"Click Analysis"}));
    const auto& properties = *analytics->events[0].properties;
    EXPECT_EQ(properties.at("namespace_id"), PropertyValue(std::string("app|textedit")));
    EXPECT_EQ(properties.at("final_result_source"), PropertyValue(std::string("accessibility")));
    ASSERT_FALSE(store->state().recommendations.empty());
    EXPECT_EQ(store->state().recommendations[0].base.actionName, "Bold");
    EXPECT_EQ(store->state().recommendations[0].source, ShortcutSource::userAction);
}

TEST_F(AppDomainTest, ClicksAreSavedOrDroppedByNamespaceAndMapping) {
    auto store = makeStore();
    const auto withTitle = [](const char* title) {
        return AccessibleElementRef(FakeElement::make({{"AXTitle", title}}));
    };
    const auto silent = AccessibleElementRef(FakeElement::make({{"AXRole", "AXGroup"}}));

    // No namespace yet: a proper value ends at uiElementInspected.
    store->send(inspectUIElement{withTitle("Bold"), uuid(1)});
    store->receive(uiElementInspected{uuid(1), "Bold"});
    // No proper value and no namespace: analysed and tracked, not saved.
    store->send(inspectUIElement{silent, uuid(2)});
    store->receive(accessibilityMappingNotFound{uuid(2)}, [](State& s) {
        s.accessibilityResults.enqueue(uuid(2), {"NOT_FOUND", 0.0});
    });
    store->receive(compareClickResults{uuid(2)}, [&](State& s) {
        s.finalAnalyses.enqueue(
            uuid(2), ClickAnalysis{uuid(2),
                                   scheduler.now(),
                                   {"NOT_FOUND", 0.0},
                                   {"SCREENSHOT_CAPTURE_REMOVED", 0.0f},
                                   ClickAnalysis::FinalResult{"unknown", 0.0, ClickAnalysis::ResultSource::fallback}});
    });
    ASSERT_EQ(analytics->events.size(), 1u);
    EXPECT_FALSE(analytics->events[0].properties->count("namespace_id")) << "no key rather than an empty value";
    EXPECT_EQ(analytics->events[0].properties->at("accessibility_available"), PropertyValue(false));

    enterTextEdit(*store);
    store->skipReceivedActions();
    // A proper value with no mapping, and no proper value at all: both booked as "unknown".
    store->send(inspectUIElement{withTitle("Some label"), uuid(3)});
    store->send(inspectUIElement{silent, uuid(4)});
    store->skipReceivedActions();
    EXPECT_EQ(clickRows(), (decltype(clickRows()){{"app|textedit", "unknown", 0.0, "fallback"},
                                                  {"app|textedit", "unknown", 0.0, "fallback"}}));
    EXPECT_EQ(store->state().accessibilityResults.lookup(uuid(3))->elementInfo, "NOT_FOUND");
}

TEST_F(AppDomainTest, ResultsAreFoundByUuidWhateverTheirOrder) {
    auto store = makeStore();
    enterTextEdit(*store);
    store->exhaustive = false; // the rows tell the story here
    // Two clicks in flight; the second one's mapping arrives first.
    store->send(accessibilityMappingFound{uuid(2), {"app|textedit", "Save", "AXDescription", "Save document"}});
    store->send(accessibilityMappingNotFound{uuid(1)});
    store->skipReceivedActions();
    EXPECT_EQ(clickRows(), (decltype(clickRows()){{"app|textedit", "Save", 1.0, "accessibility"},
                                                  {"app|textedit", "unknown", 0.0, "fallback"}}));

    // A late classification for a saved click saves a second row; a pushed-out click does nothing.
    store->send(screenshotClassified{uuid(2), "Save", 0.9f});
    store->skipReceivedActions();
    EXPECT_EQ(clickRows().size(), 3u);
    for (std::uint8_t i = 10; i < 20; ++i)
        store->send(accessibilityMappingNotFound{uuid(i)});
    store->skipReceivedActions();
    EXPECT_EQ(store->state().accessibilityResults.lookup(uuid(2)), nullptr);
    const auto before = clickRows().size();
    const auto stateBefore = store->state();
    store->send(compareClickResults{uuid(2)});
    EXPECT_EQ(clickRows().size(), before);
}

TEST_F(AppDomainTest, NamespaceChangesFollowTheCatalogue) {
    auto store = makeStore();
    enterTextEdit(*store);
    store->send(activeNamespaceChanged{"  TextEdit ", std::nullopt}); // the same place: nothing more
    store->send(activeNamespaceChanged{"Tavrin", std::nullopt});      // itself in front: nothing at all

    // An app without sites drops the reported site.
    store->send(activeNamespaceChanged{"TextEdit", "news"});

    // A browser on a supported site; any "...mail" is gmail.
    store->send(activeNamespaceChanged{"Google Chrome", "Hotmail"}, [](State& s) {
        s.activeNamespace = {"google_chrome", "gmail", "app|google_chrome", "domain|gmail", true};
    });
    store->receive(updateShortcuts{});
    store->receive(getRecommendations{}, [&](State& s) { s.recommendations = recommendationsFor("domain|gmail"); });
    store->receive(trackEvent{"Active Namespace Changed", Properties{{"app", "google_chrome"}, {"domain", "gmail"}}});

    // An unsupported site in a browser refreshes the list but is not tracked.
    store->send(activeNamespaceChanged{"Google Chrome", "News"}, [](State& s) {
        s.activeNamespace = {"google_chrome", "news", "app|google_chrome", std::nullopt, false};
    });
    store->receive(updateShortcuts{});
    store->receive(getRecommendations{},
                   [&](State& s) { s.recommendations = recommendationsFor("app|google_chrome"); });

    // An app the catalogue lacks gets a row of its own and the operating system's list.
    store->send(activeNamespaceChanged{"Photo Editor 2", std::nullopt}, [](State& s) {
        s.activeNamespace = {"photo_editor", "", "app|photo_editor", std::nullopt, false};
    });
    store->receive(updateShortcuts{});
    store->receive(getRecommendations{}, [&](State& s) { s.recommendations = recommendationsFor("os|mac_os"); });
    store->receive(trackEvent{"Active Namespace Changed", Properties{{"app", "photo_editor"}, {"domain", ""}}});
    EXPECT_EQ(store->state().recommendations.size(), 2u);

    // Without an operating-system row the list empties.
    db->db().exec("UPDATE namespace SET is_supported = 0 WHERE namespace_id = 'os|mac_os'");
    store->send(getRecommendations{}, [](State& s) { s.recommendations.clear(); });
}

TEST_F(AppDomainTest, NamesNormaliseToLettersAndSingleUnderscores) {
    EXPECT_EQ(normalizeName("  Photo    Editor  "), "photo_editor");
    EXPECT_EQ(normalizeName("_Visual Studio Code_"), "visual_studio_code");
    EXPECT_EQ(normalizeName("-Dash-"), "-dash-");
    EXPECT_EQ(normalizeName("App 2 Go"), "app_go");
    EXPECT_EQ(normalizeName("123"), "");
    EXPECT_EQ(normalizeName("Google\u00A0Chrome"), "google_chrome") << "a no-break space is white space";
    EXPECT_EQ(normalizeName("\u3000Photo\u2003\u2009Editor\u202F"), "photo_editor");
    EXPECT_EQ(normalizeName("\u212Aate"), "kate") << "the Kelvin sign lower-cases to k";
    EXPECT_EQ(normalizeName("Caf\u00C9 Cr\u00E8me"), "caf_crme") << "letters outside the list are dropped";
    EXPECT_EQ(normalizeKeySet({"shift", "command", "K"}), "command + shift + k");
    EXPECT_EQ(normalizeKeySet({"command", "+"}), "command");
    EXPECT_EQ(normalizeKeySet({"Shift", "t"}), "t") << "modifiers are matched exactly, then dropped";
}

TEST_F(AppDomainTest, PressedKeysAreBookedInTheirNamespace) {
    auto store = makeStore();
    enterTextEdit(*store);
    store->send(keyComboDetected{{"command", "r"}});
    store->receive(ftue{FTUEDomain::incrementCommandRCounter{}}, [](State& s) { s.ftue.commandRCounter = 1; });
    store->send(keyComboDetected{{"b"}}); // a single key outside gmail
    store->send(keyComboDetected{{"command", "b"}}, [](State& s) { s.pressedKeys = {"command", "b"}; });
    store->send(keyComboDetected{{"command", "q"}}, [](State& s) { s.pressedKeys = {"command", "q"}; });
    EXPECT_EQ(usageCount(), 1);

    store->exhaustive = false;
    store->send(activeNamespaceChanged{"Google Chrome", "gmail"});
    store->send(keyComboDetected{{"c"}});
    EXPECT_EQ(store->state().pressedKeys, (std::set<std::string>{"c"}));
    EXPECT_EQ(usageCount(), 2) << "single keys count on gmail";
}

TEST_F(AppDomainTest, TogglesRefreshTheListAndFailuresDoNot) {
    auto store = makeStore();
    enterTextEdit(*store);
    analytics->events.clear();
    store->send(toggleShortcutBookmark{14});
    store->receive(updateShortcuts{});
    store->receive(getRecommendations{}, [&](State& s) { s.recommendations = recommendationsFor("app|textedit"); });
    store->receive(trackEvent{"Shortcut Bookmark Toggled", Properties{{"shortcut_id", std::int64_t{14}}}});
    EXPECT_EQ(store->state().recommendations.front().base.shortcutId, 14);

    store->send(toggleShortcutBookmark{999}); // unknown: no refresh, no event
    store->send(flagShortcut{999});
    store->receive(trackEvent{"Shortcut Flag Failed", Properties{{"shortcut_id", std::int64_t{999}}}});
    store->send(flagShortcut{14});
    store->receive(updateShortcuts{});
    store->receive(getRecommendations{}, [&](State& s) { s.recommendations = recommendationsFor("app|textedit"); });
    store->receive(trackEvent{"Shortcut Flagged", Properties{{"shortcut_id", std::int64_t{14}}}});
    EXPECT_EQ(analytics->names(),
              (std::vector<std::string>{"Shortcut Bookmark Toggled", "Shortcut Flag Failed", "Shortcut Flagged"}));

    store->send(toggleShortcutLearned{10});
    store->receive(updateShortcuts{});
    store->receive(getRecommendations{}, [&](State& s) { s.recommendations = recommendationsFor("app|textedit"); });
    store->receive(trackEvent{"Shortcut Learned Toggled", Properties{{"shortcut_id", std::int64_t{10}}}});
    store->send(categoryChanged{ShortcutCategory::learned},
                [](State& s) { s.selectedCategory = ShortcutCategory::learned; });
    store->receive(updateShortcuts{});
    store->receive(getLearnedShortcuts{},
                   [&](State& s) { s.learnedShortcuts = db->getLearnedShortcuts("app|textedit"); });
    ASSERT_EQ(store->state().learnedShortcuts.size(), 1u);

    store->send(toggleFloatingMode{true}, [](State& s) { s.isFloatingMode = true; });
    store->receive(trackEvent{"Toggle Floating Mode", Properties{{"isFloating", true}}});
    store->send(snoozeShortcut{});
}

TEST_F(AppDomainTest, StartUpLoadsPreferencesAndStartsMonitoringAfterTheFirstRunFlow) {
    defaults.setBool(false, "LaunchAtLogin");
    auto store = makeStore();
    store->send(setAnonymousUserId{"anon"}, [](State& s) { s.currentUserId = "anon"; });
    EXPECT_EQ(analytics->userIds, (std::vector<std::string>{"anon"}));
    store->send(loadInitialState{}, [](State& s) { s.launchAtLogin = false; });
    store->receive(ftue{FTUEDomain::loadState{}});
    store->receive(checkAccessibilityAndStartMonitoring{}); // the first-run flow has not ended
    store->receive(updateAnalyticsManager{});

    defaults.setObject(nlohmann::json("yes please"), "LaunchAtLogin");
    store->send(loadInitialState{}, [](State& s) { s.launchAtLogin = true; });
    store->skipReceivedActions();

    // A finished flow with the permission: the monitoring task stands and reports arrive.
    FTUEDomain::State done;
    done.currentStep = FTUEStep::privacySetup;
    done.ftueCompleted = true;
    done.accessibilityPermissionGranted = true;
    const auto text = FTUEDomain::CodableState::from(done).encode();
    defaults.setObject(nlohmann::json::binary({text.begin(), text.end()}), "FTUEState");
    accessibility.current = PlaceReport{"TextEdit", std::nullopt};
    store->send(loadInitialState{});
    store->receive(ftue{FTUEDomain::loadState{}}, [&](State& s) { s.ftue = done; });
    store->receive(checkAccessibilityAndStartMonitoring{});
    store->receive(updateAnalyticsManager{});
    store->receive(activeNamespaceChanged{"TextEdit", std::nullopt}, [](State& s) {
        s.activeNamespace = {"textedit", "", "app|textedit", std::nullopt, true};
    });
    store->skipReceivedActions();
    EXPECT_EQ(accessibility.starts, 1);
    accessibility.report({"Google Chrome", "gmail"});
    store->receive(activeNamespaceChanged{"Google Chrome", "gmail"}, [](State& s) {
        s.activeNamespace = {"google_chrome", "gmail", "app|google_chrome", "domain|gmail", true};
    });
    store->skipReceivedActions();
    store->skipInFlightEffects();
}

TEST_F(AppDomainTest, FinishingTheFlowTracksCompletionTwiceAndAsksForPermission) {
    State initial;
    initial.ftue.currentStep = FTUEStep::privacySetup;
    auto store = makeStore(initial);
    store->send(ftue{FTUEDomain::nextStep{}});
    store->receive(ftue{FTUEDomain::finishFTUE{}}, [](State& s) { s.hasCompletedFTUE = true; });
    store->receive(checkAccessibilityAndStartMonitoring{}); // ftueCompleted is still false
    store->receive(trackEvent{"FTUE Completed", std::nullopt});
    store->receive(ftue{FTUEDomain::trackEvent{"FTUE Completed", {}}});
    store->receive(trackEvent{"FTUE Completed", Properties{{"final_step", FTUEStep::privacySetup}}});
    EXPECT_EQ(analytics->names(), (std::vector<std::string>{"FTUE Completed", "FTUE Completed"}));

    // With the permission the child completes first, then monitoring asks for nothing more.
    store->send(ftue{FTUEDomain::accessibilityPermissionGranted{}},
                [](State& s) { s.ftue.accessibilityPermissionGranted = true; });
    store->send(ftue{FTUEDomain::finishFTUE{}});
    store->receive(ftue{FTUEDomain::completeFTUE{}}, [](State& s) { s.ftue.ftueCompleted = true; });
    store->receive(checkAccessibilityAndStartMonitoring{});
    store->receive(trackEvent{"FTUE Completed", std::nullopt});
    store->skipInFlightEffects();
}

TEST_F(AppDomainTest, AStoredRefusalSwitchesAnalyticsOff) {
    auto store = makeStore();
    store->send(toggleLaunchAtLogin{false}, [](State& s) { s.launchAtLogin = false; });
    store->receive(trackEvent{"Launch At Login Toggled", Properties{{"launch_at_login", false}}});
    EXPECT_EQ(defaults.object("LaunchAtLogin"), nlohmann::json(false));

    store->send(ftue{FTUEDomain::toggleDataShareAgreement{}}, [](State& s) { s.ftue.dataShareAgreement = false; });
    store->send(updateAnalyticsManager{},
                [](State& s) { s.analyticsManager = AnalyticsManagerRef(std::make_shared<NoOpAnalyticsManager>()); });
    store->send(toggleFloatingMode{true}, [](State& s) { s.isFloatingMode = true; });
    store->receive(trackEvent{"Toggle Floating Mode", Properties{{"isFloating", true}}});
    EXPECT_EQ(analytics->names(), (std::vector<std::string>{"Launch At Login Toggled"}));

    // With the agreement the switch goes back to the installed manager.
    store->send(ftue{FTUEDomain::toggleDataShareAgreement{}}, [](State& s) { s.ftue.dataShareAgreement = true; });
    store->send(updateAnalyticsManager{}, [&](State& s) { s.analyticsManager = AnalyticsManagerRef(analytics); });
    store->send(toggleFloatingMode{false}, [](State& s) { s.isFloatingMode = false; });
    store->receive(trackEvent{"Toggle Floating Mode", Properties{{"isFloating", false}}});
    EXPECT_EQ(analytics->names(), (std::vector<std::string>{"Launch At Login Toggled", "Toggle Floating Mode"}));
}

} // namespace
} // namespace tavrin
