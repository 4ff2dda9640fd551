#include <gtest/gtest.h>

#include "support/AppDomainFixture.h"

namespace tavrin {
namespace {

using namespace AppDomain;
using testing::FakeElement;
using testing::uuid;
using Ids = std::vector<std::int64_t>;
using namespace std::chrono_literals;

struct AppDomainTest : testing::AppDomainFixture {
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
};

TEST_F(AppDomainTest, ClicksAreSavedOrDroppedByNamespaceAndMapping) {
    useClock();
    auto store = makeStore();
    const auto withTitle = [](const char* title) {
        return AccessibleElementRef(FakeElement::make({{"AXTitle", title}}));
    };
    const auto silent = AccessibleElementRef(FakeElement::make({{"AXRole", "AXGroup"}}));

    // No namespace yet: a proper value ends at uiElementInspected.
    store->send(inspectUIElement{withTitle("Bold"), uuid(1)});
    store->receive(uiElementInspected{uuid(1), "Bold"});
    // No proper value and no namespace: analysed and tracked, not saved.
    analytics->expect({"Click Analysis"});
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
    EXPECT_FALSE(analytics->events[0].properties->count("namespace_id")) << "no key rather than an empty value";
    EXPECT_EQ(analytics->events[0].properties->at("accessibility_available"), PropertyValue(false));

    useDatabase();
    enterTextEdit(*store);
    // A proper value with no mapping, and no proper value at all: both booked as "unknown".
    analytics->expect({"Click Analysis"}, 2);
    store->send(inspectUIElement{withTitle("Some label"), uuid(3)});
    store->send(inspectUIElement{silent, uuid(4)});
    store->skipReceivedActions();
    EXPECT_EQ(clickRows(), (decltype(clickRows()){{"app|textedit", "unknown", 0.0, "fallback"},
                                                  {"app|textedit", "unknown", 0.0, "fallback"}}));
    EXPECT_EQ(store->state().accessibilityResults.lookup(uuid(3))->elementInfo, "NOT_FOUND");
}

TEST_F(AppDomainTest, ResultsAreFoundByUuidWhateverTheirOrder) {
    auto store = storeInTextEdit();
    store->exhaustive = false; // the rows tell the story here
    // Two clicks in flight; the second one's mapping arrives first.
    analytics->expect({"Click Analysis"}, 13);
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
    store->send(compareClickResults{uuid(2)});
    EXPECT_EQ(clickRows().size(), before);
    store->skipInFlightEffects(); // the nudge's settling
}

TEST_F(AppDomainTest, NamespaceChangesFollowTheCatalogue) {
    auto store = storeInTextEdit();
    store->send(activeNamespaceChanged{"  TextEdit ", std::nullopt}); // the same place: nothing more
    store->send(activeNamespaceChanged{"Tavrin", std::nullopt});      // itself in front: nothing at all

    // An app without sites drops the reported site.
    store->send(activeNamespaceChanged{"TextEdit", "news"});

    // A browser on a supported site; any "...mail" is gmail.
    analytics->expect({"Active Namespace Changed"}, 2);
    store->send(activeNamespaceChanged{"Google Chrome", "Hotmail"}, [](State& s) {
        s.activeNamespace = {"google_chrome", "gmail", "app|google_chrome", "domain|gmail", true};
    });
    refreshed(*store, listOf({30, 31}),
              trackEvent{"Active Namespace Changed", Properties{{"app", "google_chrome"}, {"domain", "gmail"}}});

    // An unsupported site in a browser refreshes the list but is not tracked.
    store->send(activeNamespaceChanged{"Google Chrome", "News"}, [](State& s) {
        s.activeNamespace = {"google_chrome", "news", "app|google_chrome", std::nullopt, false};
    });
    refreshed(*store, listOf({20, 21}));

    // An app the catalogue lacks gets a row of its own and the operating system's list.
    store->send(activeNamespaceChanged{"Photo Editor 2", std::nullopt}, [](State& s) {
        s.activeNamespace = {"photo_editor", "", "app|photo_editor", std::nullopt, false};
    });
    refreshed(*store, listOf({1, 2}),
              trackEvent{"Active Namespace Changed", Properties{{"app", "photo_editor"}, {"domain", ""}}});

    // Without an operating-system row the list empties.
    db->db().exec("UPDATE namespace SET is_supported = 0 WHERE namespace_id = 'os|mac_os'");
    store->send(getRecommendations{}, [](State& s) { s.recommendations.clear(); });
}

TEST(AppDomainNamesTest, NamesNormaliseToLettersAndSingleUnderscores) {
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
    auto store = storeInTextEdit();
    store->send(keyComboDetected{{"command", "r"}});
    store->receive(ftue{FTUEDomain::incrementCommandRCounter{}}, [](State& s) { s.ftue.commandRCounter = 1; });
    store->send(keyComboDetected{{"b"}}); // a single key outside gmail
    store->send(keyComboDetected{{"command", "b"}}, [](State& s) { s.pressedKeys = {"command", "b"}; });
    store->send(keyComboDetected{{"command", "q"}}, [](State& s) { s.pressedKeys = {"command", "q"}; });
    EXPECT_EQ(count("shortcut_usage"), 1);

    store->exhaustive = false;
    analytics->expect({"Active Namespace Changed"});
    store->send(activeNamespaceChanged{"Google Chrome", "gmail"});
    store->send(keyComboDetected{{"c"}});
    EXPECT_EQ(store->state().pressedKeys, (std::set<std::string>{"c"}));
    EXPECT_EQ(count("shortcut_usage"), 2) << "single keys count on gmail";
}

TEST_F(AppDomainTest, TogglesRefreshTheListAndFailuresDoNot) {
    auto store = storeInTextEdit();
    click("app|textedit", "Print", 3, 0.79); // below the list's confidence floor: never counted
    analytics->expect({"Shortcut Bookmark Toggled", "Shortcut Flag Failed", "Shortcut Flagged"});
    const auto event = [](const char* name, std::int64_t id) {
        return trackEvent{name, Properties{{"shortcut_id", id}}};
    };
    store->send(toggleShortcutBookmark{14});
    refreshed(
        *store,
        [](State& s) {
            s.recommendations = backfill({14, 10, 11, 12, 13});
            s.recommendations[0].base.isBookmarked = true;
            s.recommendations[0].source = ShortcutSource::userBookmarked;
        },
        event("Shortcut Bookmark Toggled", 14));

    store->send(toggleShortcutBookmark{999}); // unknown: no refresh, no event
    store->send(flagShortcut{999});
    store->receive(event("Shortcut Flag Failed", 999));
    store->send(flagShortcut{14});
    refreshed(*store, listOf({10, 11, 12, 13, 15}), event("Shortcut Flagged", 14));

    analytics->expect({"Shortcut Learned Toggled", "Toggle Floating Mode"});
    store->send(toggleShortcutLearned{10});
    refreshed(*store, listOf({11, 12, 13, 15}), event("Shortcut Learned Toggled", 10));
    store->send(categoryChanged{ShortcutCategory::learned},
                [](State& s) { s.selectedCategory = ShortcutCategory::learned; });
    store->receive(updateShortcuts{});
    store->receive(getLearnedShortcuts{}, [&](State& s) {
        s.learnedShortcuts = {{{10, "Bold", "command + b", false, true}, scheduler.now()}};
    });

    store->send(toggleFloatingMode{true}, [](State& s) { s.isFloatingMode = true; });
    store->receive(trackEvent{"Toggle Floating Mode", Properties{{"isFloating", true}}});
    store->send(snoozeShortcut{});
}

TEST_F(AppDomainTest, StartUpLoadsPreferencesAndWaitsForTheFirstRunFlowToMonitor) {
    useDefaults();
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

    // The coach's notifications switch is stored; what another process wrote is read, a bad value
    // as off.
    store->send(toggleNudgeNotifications{true}, [](State& s) { s.coaching.preferences.notifications = true; });
    EXPECT_EQ(defaults.object("Coaching"), (nlohmann::json{{"nudgeEvery", 3}, {"notifications", true}}));
    defaults.setObject(nlohmann::json{{"nudgeEvery", 5}, {"notifications", "yes"}}, "Coaching");
    store->send(loadCoaching{}, [](State& s) { s.coaching.preferences = {5, false}; });
}

TEST_F(AppDomainTest, FinishingTheFlowTracksCompletionTwiceAndAsksForPermission) {
    State initial;
    initial.ftue.currentStep = FTUEStep::privacySetup;
    auto store = makeStore(initial);
    analytics->expect({"FTUE Completed"}, 2);
    store->send(ftue{FTUEDomain::nextStep{}});
    store->receive(ftue{FTUEDomain::finishFTUE{}}, [](State& s) { s.hasCompletedFTUE = true; });
    store->receive(checkAccessibilityAndStartMonitoring{}); // ftueCompleted is still false
    store->receive(trackEvent{"FTUE Completed", std::nullopt});
    store->receive(ftue{FTUEDomain::trackEvent{"FTUE Completed", {}}});
    store->receive(trackEvent{"FTUE Completed", Properties{{"final_step", FTUEStep::privacySetup}}});

    // With the permission the child completes first and saves, then the monitoring starts.
    useDefaults();
    useTracker();
    analytics->expect({"FTUE Completed"});
    store->send(ftue{FTUEDomain::accessibilityPermissionGranted{}},
                [](State& s) { s.ftue.accessibilityPermissionGranted = true; });
    store->send(ftue{FTUEDomain::finishFTUE{}});
    store->receive(ftue{FTUEDomain::completeFTUE{}}, [](State& s) { s.ftue.ftueCompleted = true; });
    store->receive(checkAccessibilityAndStartMonitoring{});
    store->receive(trackEvent{"FTUE Completed", std::nullopt});
    store->skipInFlightEffects();

    // A second press on the last step's button, or a late finish, does it all again never.
    store->send(ftue{FTUEDomain::nextStep{}});
    store->send(ftue{FTUEDomain::finishFTUE{}});
    store->send(ftue{FTUEDomain::completeFTUE{}});
}

TEST_F(AppDomainTest, LaunchAtLoginIsStoredAndTracked) {
    useDefaults();
    auto store = makeStore();
    analytics->expect({"Launch At Login Toggled"});
    store->send(toggleLaunchAtLogin{false}, [](State& s) { s.launchAtLogin = false; });
    store->receive(trackEvent{"Launch At Login Toggled", Properties{{"launch_at_login", false}}});
    EXPECT_EQ(defaults.object("LaunchAtLogin"), nlohmann::json(false));
}

struct PauseTest : testing::AppDomainFixture {
    PauseTest() {
        useDefaults();
        useTracker();
    }

    // A user past the first-run flow, in TextEdit.
    std::unique_ptr<Store> storeInTextEdit() {
        State initial;
        initial.ftue.ftueCompleted = true;
        initial.ftue.accessibilityPermissionGranted = true;
        auto store = AppDomainFixture::storeInTextEdit(initial);
        accessibility.current = PlaceReport{"TextEdit", std::nullopt};
        return store;
    }

    static keyComboDetected controlB() { return {{"command", "b"}}; }
};

TEST_F(PauseTest, ATimedPauseEndsByItselfAndAnotherReplacesItsEnd) {
    auto store = storeInTextEdit();
    const auto start = scheduler.now();
    store->send(pauseCounting{30}, [&](State& s) { s.pause = Pause{start, start + 30min}; });
    EXPECT_EQ(defaults.object(Pause::defaultsKey),
              (nlohmann::json{{"since", "2026-11-23T09:00:00.000"}, {"until", "2026-11-23T09:30:00.000"}}));

    // Paused again after ten minutes, for an hour: the first end passes without effect.
    store->advance(10min);
    store->send(pauseCounting{60}, [&](State& s) { s.pause = Pause{start + 10min, start + 70min}; });
    store->advance(30min);
    store->send(clickOnBold(1));

    store->advance(30min);
    store->receive(loadPause{}, [](State& s) { s.pause.reset(); });
    EXPECT_EQ(defaults.object(Pause::defaultsKey), std::nullopt) << "an ended pause leaves the defaults";
    store->receive(activeNamespaceChanged{"TextEdit", std::nullopt}); // the same place: nothing more
    store->exhaustive = false;
    store->send(controlB());
    EXPECT_EQ(count("shortcut_usage"), 1);
}

TEST_F(PauseTest, TheStoredPauseIsTakenAtStartAndWhenAnotherProcessChangesIt) {
    const auto start = scheduler.now();
    defaults.setObject(Pause{start - 1h, start + 5min}.toStored(), Pause::defaultsKey);
    auto store = storeInTextEdit();
    store->send(loadPause{}, [&](State& s) { s.pause = Pause{start - 1h, start + 5min}; });

    // `tavrin resume` elsewhere, then `tavrin pause` without an end.
    defaults.setObject(std::nullopt, Pause::defaultsKey);
    store->send(loadPause{}, [](State& s) { s.pause.reset(); });
    store->receive(activeNamespaceChanged{"TextEdit", std::nullopt});
    defaults.setObject(Pause{start, std::nullopt}.toStored(), Pause::defaultsKey);
    store->send(loadPause{}, [&](State& s) { s.pause = Pause{start, std::nullopt}; });
    store->advance(5min); // the first pause's end finds the pause without end
    store->receive(loadPause{});

    // One that ended while nothing ran, and one that cannot be read, count as none.
    defaults.setObject(Pause{start - 2h, start - 1h}.toStored(), Pause::defaultsKey);
    store->send(loadPause{}, [](State& s) { s.pause.reset(); });
    store->receive(activeNamespaceChanged{"TextEdit", std::nullopt});
    EXPECT_EQ(defaults.object(Pause::defaultsKey), std::nullopt);
    defaults.setObject(nlohmann::json{{"since", "yesterday"}}, Pause::defaultsKey);
    store->send(loadPause{});
}

// However a pause ends, the place in front is read again before anything counts: the user may have
// switched while nothing was followed. A suspend stops the expiry timer while the wall clock runs
// on, so there the first click after the end ends it and counts where the user is now.
struct PauseEnd {
    const char* name;
    void (*end)(PauseTest&, PauseTest::Store&);
};

void PrintTo(const PauseEnd& end, std::ostream* out) {
    *out << end.name;
}

struct PauseEndTest : PauseTest, ::testing::WithParamInterface<PauseEnd> {};

void ended(State& s) {
    s.pause.reset();
}

INSTANTIATE_TEST_SUITE_P(Ends, PauseEndTest,
                         ::testing::Values(PauseEnd{"Timer",
                                                    [](PauseTest&, PauseTest::Store& store) {
                                                        store.advance(30min);
                                                        store.receive(loadPause{}, ended);
                                                    }},
                                           PauseEnd{"ClockAfterASuspendPastTheEnd",
                                                    [](PauseTest& t, PauseTest::Store& store) {
                                                        t.scheduler.suspend(45min);
                                                        store.send(PauseTest::clickOnBold(2), ended);
                                                    }},
                                           PauseEnd{"Resume",
                                                    [](PauseTest&, PauseTest::Store& store) {
                                                        store.send(resumeCounting{}, ended);
                                                    }},
                                           PauseEnd{"AnotherProcess",
                                                    [](PauseTest& t, PauseTest::Store& store) {
                                                        t.defaults.setObject(std::nullopt, Pause::defaultsKey);
                                                        store.send(loadPause{}, ended);
                                                    }}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(PauseEndTest, ReadsTheApplicationInFrontAgain) {
    auto store = storeInTextEdit();
    const auto start = scheduler.now();
    store->send(pauseCounting{30}, [&](State& s) { s.pause = Pause{start, start + 30min}; });
    store->advance(10min);
    accessibility.current = PlaceReport{"Google Chrome", "Gmail"};
    store->send(activeNamespaceChanged{"Google Chrome", "Gmail"}); // not followed while paused

    analytics->expect({"Active Namespace Changed", "Click Analysis"});
    GetParam().end(*this, *store);
    store->receive(activeNamespaceChanged{"Google Chrome", "Gmail"}, [](State& s) {
        s.activeNamespace = {"google_chrome", "gmail", "app|google_chrome", "domain|gmail", true};
    });
    EXPECT_EQ(defaults.object(Pause::defaultsKey), std::nullopt);
    store->exhaustive = false;
    store->skipReceivedActions();
    if (count("click_events") == 0)
        store->send(clickOnBold(2));
    store->advance(1h); // an expiry timer still waiting finds no pause
    SQLite::Statement click(db->db(), "SELECT namespace_id FROM click_events");
    ASSERT_TRUE(click.executeStep());
    EXPECT_EQ(click.getColumn(0).getString(), "domain|gmail") << "counted where the user is now";
    EXPECT_FALSE(click.executeStep());
    EXPECT_EQ(store->state().pause, std::nullopt);
}

TEST(PauseFormTest, TheStoredFormKeepsBothDatesAndRefusesAnythingElse) {
    const auto now = *parseDate("2026-11-23T09:00:00.500");
    const auto timed = Pause::starting(now, std::chrono::minutes(90));
    EXPECT_EQ(timed.until, now + 90min);
    EXPECT_EQ(Pause::fromStored(timed.toStored()), timed);
    const auto open = Pause::starting(now, std::nullopt);
    EXPECT_EQ(Pause::fromStored(open.toStored()), open);
    EXPECT_FALSE(open.isOver(now + std::chrono::hours(24 * 365)));
    EXPECT_TRUE(timed.isOver(now + 90min));
    EXPECT_FALSE(timed.isOver(now + 90min - 1ms));
    for (const auto* text :
         {R"(true)", R"({})", R"({"since": 5})", R"({"since": "2026-11-23T09:00:00.000", "until": null})",
          R"({"since": "2026-11-23T09:00:00.000", "until": "soon"})"})
        EXPECT_EQ(Pause::fromStored(nlohmann::json::parse(text)), std::nullopt) << text;
}

} // namespace
} // namespace tavrin
