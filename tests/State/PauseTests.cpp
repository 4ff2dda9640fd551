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
