#include <gtest/gtest.h>

#include "support/AppDomainFixture.h"

namespace tavrin {
namespace {

using namespace AppDomain;
using namespace std::chrono_literals;

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

TEST_F(PauseTest, WhilePausedNothingIsInspectedBookedOrFollowedUntilResumed) {
    auto store = storeInTextEdit();
    const auto since = scheduler.now();
    store->send(pauseCounting{}, [&](State& s) { s.pause = Pause{since, std::nullopt}; });
    EXPECT_EQ(defaults.object(Pause::defaultsKey), (nlohmann::json{{"since", "2026-11-23T09:00:00.000"}}));

    scheduler.advance(3h);
    store->send(clickOnBold(1));
    store->send(controlB());
    store->send(activeNamespaceChanged{"Google Chrome", "Gmail"});
    accessibility.current = PlaceReport{"Google Chrome", "Gmail"};
    EXPECT_EQ(count("click_events"), 0);
    EXPECT_EQ(count("shortcut_usage"), 0);

    // Resuming takes up the place the tracker saw meanwhile; nothing was reported before.
    analytics->expect({"Active Namespace Changed"});
    store->send(resumeCounting{}, [](State& s) { s.pause.reset(); });
    EXPECT_EQ(defaults.object(Pause::defaultsKey), std::nullopt);
    store->receive(activeNamespaceChanged{"Google Chrome", "Gmail"}, [](State& s) {
        s.activeNamespace = {"google_chrome", "gmail", "app|google_chrome", "domain|gmail", true};
    });
    store->exhaustive = false;
    store->skipReceivedActions();
    store->send(keyComboDetected{{"c"}});
    store->skipReceivedActions();
    EXPECT_EQ(count("shortcut_usage"), 1) << "counting again";
}

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
