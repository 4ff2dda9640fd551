#include <gtest/gtest.h>

#include "support/AppDomainFixture.h"

namespace tavrin {
namespace {

using namespace AppDomain;
using namespace std::chrono_literals;
using json = nlohmann::json;
using testing::uuid;

struct CoachingTest : testing::AppDomainFixture {
    CoachingTest() { useDefaults(); }

    // A click on TextEdit's `action`, saved just now.
    ClickEvent click(const char* action) {
        return {"user-1", "app|textedit", scheduler.now(), action, 1.0, "accessibility", "1.2.3"};
    }
    void use(std::int64_t shortcutId, Date at) {
        SQLite::Statement insert(db->db(), "INSERT INTO shortcut_usage (user_id, shortcut_id, timestamp) VALUES "
                                           "('user-1', ?, ?)");
        insert.bind(1, shortcutId);
        insert.bind(2, formatDate(at));
        insert.exec();
    }
    static ShortcutRecommendation clicked(std::int64_t id, std::int64_t count, double saving) {
        auto entry = backfill({id}).at(0);
        entry.source = ShortcutSource::userAction;
        entry.count = count;
        entry.estimatedAnnualTimeSavings = saving;
        return entry;
    }
};

TEST_F(CoachingTest, MissesAreNudgedSpacedOutAndTakenBackByTheShortcutsKeys) {
    auto store = storeInTextEdit();
    const auto t0 = scheduler.now();
    // Bold's first miss: nudged at once, settled a second later.
    store->send(coachClick{uuid(1), click("Bold")}, [&](State& s) {
        s.coaching.nudge = Nudge{10, "Bold", "command + b", std::nullopt, t0, false};
        s.coaching.spacing[10] = {{0, t0}, t0, {}};
    });
    store->advance(1s);
    store->receive(nudgeSettled{10}, [](State& s) { s.coaching.nudge->settled = true; });

    // Three more within the minute: quiet, though the third since the nudge would bring one.
    store->advance(9s);
    store->send(coachClick{uuid(2), click("Bold")}, [&](State& s) {
        s.coaching.spacing[10] = {{1, t0}, t0 + 10s, {0, t0}};
    });
    store->advance(10s);
    store->send(coachClick{uuid(3), click("Bold")}, [&](State& s) {
        s.coaching.spacing[10] = {{2, t0}, t0 + 20s, {1, t0}};
    });
    store->advance(10s);
    store->send(coachClick{uuid(4), click("Bold")}, [&](State& s) {
        s.coaching.spacing[10] = {{3, t0}, t0 + 30s, {2, t0}};
    });

    // Past the minute the next is nudged, and Bold's keys half a second later take the click back
    // with its nudge.
    store->advance(40s);
    const auto t1 = scheduler.now();
    store->send(coachClick{uuid(5), click("Bold")}, [&](State& s) {
        s.coaching.nudge = Nudge{10, "Bold", "command + b", std::nullopt, t1, false};
        s.coaching.spacing[10] = {{0, t1}, t1, {3, t0}};
    });
    store->advance(500ms);
    store->send(keyComboDetected{{"command", "b"}}, [&](State& s) {
        s.pressedKeys = {"command", "b"};
        s.coaching.nudge.reset();
        s.coaching.spacing[10] = {{3, t0}, std::nullopt, {3, t0}};
    });
    store->advance(500ms);
    store->receive(nudgeSettled{10}); // nothing left to settle
    // Pressed half a second before the click: no miss at all.
    store->send(coachClick{uuid(6), click("Bold")});

    // "Not for this one" ends Italic's nudge and every later one; "Got it" only the one shown.
    store->send(coachClick{uuid(7), click("Italic")}, [&](State& s) {
        s.coaching.nudge = Nudge{11, "Italic", "command + i", std::nullopt, t1 + 1s, false};
        s.coaching.spacing[11] = {{0, t1 + 1s}, t1 + 1s, {}};
    });
    store->send(suppressNudges{11}, [](State& s) {
        s.coaching.nudge.reset();
        s.coaching.spacing.erase(11);
    });
    store->send(coachClick{uuid(8), click("Italic")});
    store->send(coachClick{uuid(9), click("Save")}, [&](State& s) { // Italic's timer goes with its nudge
        s.coaching.nudge = Nudge{12, "Save", "command + s", std::nullopt, t1 + 1s, false};
        s.coaching.spacing[12] = {{0, t1 + 1s}, t1 + 1s, {}};
    });
    store->send(dismissNudge{12}, [](State& s) { s.coaching.nudge.reset(); });
    store->advance(1s);
    store->receive(nudgeSettled{12});

    // None while paused.
    store->send(pauseCounting{}, [&](State& s) { s.pause = Pause{t1 + 2s, std::nullopt}; });
    store->send(coachClick{uuid(10), click("Find")});

    // The notifications' switch, and the preferences another process wrote.
    store->send(toggleNudgeNotifications{true}, [](State& s) { s.coaching.preferences.notifications = true; });
    EXPECT_EQ(defaults.object("Coaching"), (json{{"nudgeEvery", 3}, {"notifications", true}}));
    defaults.setObject(json{{"nudgeEvery", 5}, {"notifications", "yes"}}, "Coaching");
    store->send(loadCoaching{}, [](State& s) { s.coaching.preferences = {5, false}; });
}

TEST_F(CoachingTest, AShortcutGraduatesComesBackWithItsClicksAndIsTaughtWithTheApplicationsOwnKeys) {
    auto store = storeInTextEdit();
    const auto start = scheduler.now();
    // A use of Bold on each of the last eight days: a week of use, more uses than clicks.
    for (int day = 8; day >= 1; --day)
        use(10, start - std::chrono::days(day));
    store->send(getRecommendations{}, [](State& s) { s.coaching.notes = {{10, std::nullopt, true, false}}; });
    store->send(declineGraduation{10}, [](State& s) { s.coaching.notes.clear(); });
    store->send(getRecommendations{}); // turned down: not again this week

    // Accepting is marking it learned; three clicks on it since and no use send it back.
    analytics->expect({"Shortcut Learned Toggled"}, 2);
    store->send(toggleShortcutLearned{10});
    store->receive(updateShortcuts{});
    store->receive(getRecommendations{}, [](State& s) { s.recommendations = backfill({11, 12, 13, 14, 15}); });
    store->receive(trackEvent{"Shortcut Learned Toggled", Properties{{"shortcut_id", std::int64_t{10}}}});
    store->advance(1h);
    const auto later = scheduler.now();
    db->insertClickEvents({click("Bold"), click("Bold")});
    store->send(coachClick{uuid(1), click("Bold")}); // two clicks: not yet
    db->insertClickEvents({click("Bold")});
    store->send(coachClick{uuid(2), click("Bold")});
    store->receive(updateShortcuts{});
    store->receive(getRecommendations{}, [&](State& s) {
        s.recommendations = backfill({11, 12, 13, 14});
        s.recommendations.insert(s.recommendations.begin(), clicked(10, 3, db->estimatedAnnualSavings(3, later)));
        s.coaching.notes = {{10, std::nullopt, false, true}};
    });
    // Marked learned again, it loses the badge for good.
    store->send(toggleShortcutLearned{10});
    store->receive(updateShortcuts{});
    store->receive(getRecommendations{}, [](State& s) {
        s.recommendations = backfill({11, 12, 13, 14, 15});
        s.coaching.notes.clear();
    });
    store->receive(trackEvent{"Shortcut Learned Toggled", Properties{{"shortcut_id", std::int64_t{10}}}});
    EXPECT_EQ(db->coachedShortcut(10)->returnedAt, std::nullopt);

    // TextEdit's own menu shows other keys for Save: the card shows them, and pressing them counts.
    EXPECT_EQ(db->rememberApplicationKeys(
                  "app|textedit", {{"Save", "control + option + s", "AXDescription", "Save document", "", "File"}}),
              1);
    const ApplicationKeys own{"control + option + s", "textedit", "File", later};
    store->send(getRecommendations{}, [&](State& s) { s.coaching.notes = {{12, own, false, false}}; });
    store->send(keyComboDetected{{"control", "option", "s"}}, [](State& s) {
        s.pressedKeys = {"control", "option", "s"};
    });
    EXPECT_EQ(db->practiceBalance(12, start).uses, 1);
    store->advance(2s);
    const auto nudged = scheduler.now();
    store->send(coachClick{uuid(3), click("Save")}, [&](State& s) {
        s.coaching.nudge = Nudge{12, "Save", "control + option + s", own, nudged, false};
        s.coaching.spacing[12] = {{0, nudged}, nudged, {}};
    });
    store->skipInFlightEffects();
}

} // namespace
} // namespace tavrin
