#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <map>
#include <numeric>
#include <optional>
#include <thread>
#include <vector>

#include "State/AppDomain.h"
#include "State/Dependencies.h"
#include "State/FTUEDomain.h"
#include "State/Scope.h"
#include "State/Store.h"
#include "platform/common/EventLoop.h"
#include "platform/common/ScopedExecutor.h"
#include "platform/fake/VirtualScheduler.h"
#include "support/Fakes.h"
#include "support/OnDiskStore.h"
#include "support/TestStore.h"

namespace tavrin {
namespace {

// A toy feature: the state is the list of actions processed, an action is a name, and each test
// says which effect a name returns.
using Trace = std::vector<std::string>;
using Toy = Store<Trace, std::string>;
using ToyEffect = Effect<std::string>;

struct StoreTest : ::testing::Test {
    VirtualScheduler scheduler;
    std::map<std::string, std::function<ToyEffect()>> effects;
    Toy store{{},
              [this](Trace& trace, const std::string& action) {
                  trace.push_back(action);
                  auto it = effects.find(action);
                  return it == effects.end() ? ToyEffect::none() : it->second();
              },
              scheduler,
              scheduler};
};

TEST_F(StoreTest, SendChainsRunDepthFirstBeforeQueuedActions) {
    effects["a"] = [] { return ToyEffect::send("a1"); };
    effects["a1"] = [] { return ToyEffect::concatenate({ToyEffect::send("a2"), ToyEffect::send("a3")}); };
    effects["a2"] = [] { return ToyEffect::send("a2x"); };
    // Something on the main queue and an outside send during processing must both wait.
    effects["b"] = [this] {
        scheduler.post([this] { store.send("queued"); });
        store.send("outside");
        return ToyEffect::send("b1");
    };
    store.send("a");
    store.send("b");
    scheduler.runUntilIdle();
    EXPECT_EQ(store.state(), (Trace{"a", "a1", "a2", "a2x", "a3", "b", "b1", "outside", "queued"}));
}

TEST_F(StoreTest, ConcatenateWaitsForRunsToComplete) {
    effects["go"] = [this] {
        return ToyEffect::concatenate({ToyEffect::run([](Send<std::string> send) {
                                           send("r1");
                                           send("r2");
                                       }),
                                       // A task that completes a second later, from a timer.
                                       ToyEffect::task([this](Send<std::string> send, Finish finish) {
                                           scheduler.postAfter(Duration{1.0}, [send, finish] {
                                               send("late");
                                               finish();
                                           });
                                       }),
                                       ToyEffect::send("after")});
    };
    store.send("go");
    scheduler.runUntilIdle();
    EXPECT_EQ(store.state(), (Trace{"go", "r1", "r2"}));
    scheduler.advance(Duration{0.999});
    EXPECT_EQ(store.state(), (Trace{"go", "r1", "r2"}));
    scheduler.advance(Duration{0.001});
    EXPECT_EQ(store.state(), (Trace{"go", "r1", "r2", "late", "after"}));
    EXPECT_EQ(store.tasksInFlight(), 0u);
}

TEST_F(StoreTest, MergeRunsSideBySideAndCompletesWhenBothHave) {
    effects["m"] = [] {
        return ToyEffect::concatenate(
            {ToyEffect::merge(ToyEffect::run([](Send<std::string> send) { send("x"); }), ToyEffect::send("y")),
             ToyEffect::send("done")});
    };
    store.send("m");
    EXPECT_EQ(store.state(), (Trace{"m", "y"})) << "the send half is processed at once";
    scheduler.runUntilIdle();
    EXPECT_EQ(store.state(), (Trace{"m", "y", "x", "done"}));
}

TEST_F(StoreTest, CancelledTasksDeliverNothingAndCompleteAtOnce) {
    bool sawCancellation = false;
    effects["start"] = [&] {
        return ToyEffect::concatenate({ToyEffect::task([&](Send<std::string> send, Finish finish) {
                                           send("early"); // queued, but cancelled before the main queue delivers it
                                           scheduler.postAfter(Duration{1.0}, [&, send, finish] {
                                               sawCancellation = send.isCancelled();
                                               send("tick");
                                               finish();
                                           });
                                       }).cancellable("job"),
                                       ToyEffect::send("next")});
    };
    store.send("start");
    ASSERT_TRUE(scheduler.runNext()); // runs the body; "early" now waits on the main queue
    store.cancel("job");
    EXPECT_EQ(store.state(), (Trace{"start", "next"})) << "the concatenation goes on after a cancellation";
    scheduler.advance(Duration{2.0});
    EXPECT_EQ(store.state(), (Trace{"start", "next"}));
    EXPECT_TRUE(sawCancellation);
    EXPECT_EQ(store.tasksInFlight(), 0u);
}

TEST_F(StoreTest, CancellationReachesTasksNestedInsideACancellableEffect) {
    effects["outer"] = [this] {
        return ToyEffect::merge(ToyEffect::run([](Send<std::string> send) { send("a"); }),
                                ToyEffect::concatenate(
                                    {ToyEffect::send("b"), ToyEffect::run([](Send<std::string> send) { send("c"); })}))
            .cancellable("outer");
    };
    store.send("outer");
    store.cancel("outer");
    scheduler.runUntilIdle();
    EXPECT_EQ(store.state(), (Trace{"outer", "b"}));
}

TEST_F(StoreTest, ObserversSeeEachChainOnceItHasDrained) {
    effects["a"] = [] { return ToyEffect::concatenate({ToyEffect::send("a1"), ToyEffect::send("a2")}); };
    effects["r"] = [] {
        return ToyEffect::concatenate({ToyEffect::run([](Send<std::string> send) {
                                           send("r1");
                                           send("r2");
                                       }),
                                       ToyEffect::send("after r")});
    };
    std::vector<Trace> seen;
    auto observation = store.observe([&](const Trace& trace) {
        seen.push_back(trace);
        if (trace.back() == "a2")
            store.send("from observer"); // a chain of its own, after this one
    });
    store.send("a");
    EXPECT_EQ(seen, (std::vector<Trace>{{"a", "a1", "a2"}, {"a", "a1", "a2", "from observer"}}));

    seen.clear();
    store.send("r");
    scheduler.runUntilIdle();
    // Each send of a run body hops to the main queue and is a chain; so is what follows the run.
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen.back().back(), "after r");
    EXPECT_EQ(seen[1].back(), "r1");

    observation.reset();
    store.send("a");
    EXPECT_EQ(seen.size(), 4u) << "an ended observation sees nothing";
}

TEST_F(StoreTest, AnObserverMayEndAnother) {
    int first = 0, second = 0;
    std::optional<Toy::Observation> other;
    auto observation = store.observe([&](const Trace&) {
        ++first;
        other.reset();
    });
    other = store.observe([&](const Trace&) { ++second; });
    store.send("x");
    store.send("y");
    EXPECT_EQ(first, 2);
    EXPECT_EQ(second, 0);
}

// A long-lived task consuming reports, like the accessibility monitoring task.
struct Reports {
    std::vector<Send<std::string>> subscribers;
    void publish(const std::string& report) {
        for (auto& send : subscribers)
            send(report);
    }
};

TEST_F(StoreTest, TwoMonitoringTasksRunSideBySideUnlessTheSecondCancelsTheFirst) {
    Reports reports;
    bool cancelInFlight = false;
    effects["monitor"] = [&] {
        return ToyEffect::task([&](Send<std::string> send, Finish) { reports.subscribers.push_back(send); })
            .cancellable("monitoring", cancelInFlight);
    };
    store.send("monitor");
    store.send("monitor");
    scheduler.runUntilIdle();
    EXPECT_EQ(store.tasksInFlight(), 2u);
    reports.publish("report");
    scheduler.runUntilIdle();
    EXPECT_EQ(store.state(), (Trace{"monitor", "monitor", "report", "report"}));

    cancelInFlight = true;
    store.send("monitor");
    scheduler.runUntilIdle();
    EXPECT_EQ(store.tasksInFlight(), 1u);
    reports.publish("again");
    scheduler.runUntilIdle();
    EXPECT_EQ(store.state(), (Trace{"monitor", "monitor", "report", "report", "monitor", "again"}));
    store.cancelAll();
}

// Neither a late observation's end nor a running task's sends touch a store that is gone.
TEST_F(StoreTest, ObservationsAndTasksMayOutliveTheStore) {
    Reports reports;
    Trace reduced;
    auto toy = std::make_unique<Toy>(
        Trace{},
        [&](Trace&, const std::string& action) {
            reduced.push_back(action);
            return ToyEffect::task([&](Send<std::string> send, Finish) { reports.subscribers.push_back(send); });
        },
        scheduler, scheduler);
    auto late = toy->observe([](const Trace&) {});
    toy->send("start");
    scheduler.runUntilIdle();
    toy.reset();
    late.reset();
    ASSERT_EQ(reports.subscribers.size(), 1u);
    EXPECT_TRUE(reports.subscribers[0].isCancelled());
    reports.publish("late");
    scheduler.runUntilIdle();
    EXPECT_EQ(reduced, Trace{"start"});
}

// Child features: the child runs on its slice first, and its effect starts first.
struct Parent {
    Trace child;
    Trace parent;
    bool operator==(const Parent&) const = default;
};
struct ChildAction {
    std::string name;
    bool operator==(const ChildAction&) const = default;
};
using ParentAction = std::variant<std::string, ChildAction>;

TEST(ScopeTest, ChildReducerRunsBeforeParentAndItsEffectStartsFirst) {
    VirtualScheduler scheduler;
    Trace order;
    auto child = [&](Trace& slice, const ChildAction& action) {
        slice.push_back(action.name);
        order.push_back("child " + action.name);
        return action.name == "c" ? Effect<ChildAction>::send(ChildAction{"c-effect"}) : Effect<ChildAction>::none();
    };
    auto parent = [&](Parent& state, const ParentAction& action) {
        const std::string name = std::holds_alternative<ChildAction>(action) ? std::get<ChildAction>(action).name
                                                                             : std::get<std::string>(action);
        // The parent sees the child's change already made.
        order.push_back("parent " + name + " (child has " + std::to_string(state.child.size()) + ")");
        state.parent.push_back(name);
        return name == "c" ? Effect<ParentAction>::send(std::string("p-effect")) : Effect<ParentAction>::none();
    };
    Store<Parent, ParentAction> store(
        {},
        [&](Parent& state, const ParentAction& action) {
            return reduceChildFirst(
                state, action, &Parent::child, child, parent,
                [](const ParentAction& a) { return std::get_if<ChildAction>(&a); },
                [](ChildAction a) -> ParentAction { return a; });
        },
        scheduler, scheduler);
    store.send(ChildAction{"c"});
    EXPECT_EQ(order, (Trace{"child c", "parent c (child has 1)", "child c-effect", "parent c-effect (child has 2)",
                            "parent p-effect (child has 2)"}));
}

// With real threads: bodies run off the main thread, and their sends arrive on it, in order.
TEST(StoreThreadsTest, RunBodiesWorkOffTheMainThreadAndDeliverInOrder) {
    EventLoop loop;
    ThreadPool pool(2);
    const auto mainThread = std::this_thread::get_id();
    std::thread::id bodyThread;
    std::vector<int> received;
    Store<std::vector<int>, int> store(
        {},
        [&](std::vector<int>& state, const int& action) {
            EXPECT_EQ(std::this_thread::get_id(), mainThread);
            if (action < 0)
                return Effect<int>::run([&](Send<int> send) {
                    bodyThread = std::this_thread::get_id();
                    for (int i = 0; i < 200; ++i)
                        send(i);
                });
            state.push_back(action);
            if (action == 199)
                loop.quit();
            return Effect<int>::none();
        },
        loop, pool);
    loop.post([&] { store.send(-1); });
    loop.run();
    std::vector<int> expected(200);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(store.state(), expected);
    EXPECT_NE(bodyThread, mainThread);
}

TEST(ScopedExecutorTest, WaitsForRunningBodiesAndDropsThoseNotStarted) {
    ThreadPool pool(1);
    std::promise<void> started, release;
    std::atomic<int> ran = 0;
    auto scoped = std::make_unique<ScopedExecutor>(pool);
    scoped->execute([&] {
        started.set_value();
        release.get_future().wait();
        ++ran;
    });
    scoped->execute([&] { ran += 10; }); // queued behind the first on the one thread
    started.get_future().wait();
    std::thread releaser([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        release.set_value();
    });
    scoped.reset(); // returns only once the running body has
    EXPECT_EQ(ran, 1);
    pool.waitUntilIdle();
    EXPECT_EQ(ran, 1);
    releaser.join();
}

TEST(VirtualSchedulerTest, TimersFireInDueOrderWithTheirWorkInBetween) {
    VirtualScheduler scheduler;
    Trace trace;
    scheduler.postAfter(Duration{0.3}, [&] {
        trace.push_back("0.3");
        scheduler.post([&] { trace.push_back("posted by 0.3"); });
    });
    scheduler.postAfter(Duration{0.1}, [&] { trace.push_back("0.1"); });
    const auto cancelled = scheduler.postAfter(Duration{0.2}, [&] { trace.push_back("0.2"); });
    scheduler.postAfter(Duration{0.3}, [&] { trace.push_back("0.3 second"); });
    scheduler.cancelTimer(cancelled);
    const auto start = scheduler.now();
    scheduler.advance(Duration{1.0});
    EXPECT_EQ(trace, (Trace{"0.1", "0.3", "posted by 0.3", "0.3 second"}));
    EXPECT_EQ(scheduler.now() - start, std::chrono::milliseconds{1000});
}

// The store accepts every action of both tables and runs the composition.
template <std::size_t... I> std::vector<AppDomain::Action> everyAppAction(std::index_sequence<I...>) {
    return {AppDomain::Action{std::variant_alternative_t<I, AppDomain::Action>{}}...};
}
template <std::size_t... I> std::vector<FTUEDomain::Action> everyFTUEAction(std::index_sequence<I...>) {
    return {FTUEDomain::Action{std::variant_alternative_t<I, FTUEDomain::Action>{}}...};
}

// Every action of both tables, with its payload as a default makes it, on the live dependencies.
TEST(RootStoreTest, AcceptsEveryActionOfBothFeatures) {
    testing::OnDiskStore disk;
    VirtualScheduler scheduler;
    disk.storeClock = &scheduler;
    testing::FakeAccessibility accessibility;
    testing::FakeScreenshots screenshots;
    Dependencies deps;
    deps.now = [&] { return scheduler.now(); };
    deps.uuid = [] { return Uuid::random(); };
    deps.userDefaults = UserDefaultsClient::live(disk.defaults);
    deps.accessibility = [&]() -> AccessibilityManaging& { return accessibility; };
    deps.screenshots = [&]() -> ScreenshotManaging& { return screenshots; };
    deps.mainQueue = &scheduler;
    disk.start();
    deps.database = DatabaseClient::live([&]() -> DatabaseManager& { return *disk.db; });
    Store<AppDomain::State, AppDomain::Action> store({}, AppDomain::RootReducer(deps), scheduler, scheduler);
    std::vector<AppDomain::Action> actions =
        everyAppAction(std::make_index_sequence<std::variant_size_v<AppDomain::Action>>{});
    for (const auto& action : everyFTUEAction(std::make_index_sequence<std::variant_size_v<FTUEDomain::Action>>{}))
        actions.push_back(AppDomain::ftue{action});
    for (const auto& action : actions) {
        EXPECT_NO_THROW(store.send(action)) << caseName(action);
        EXPECT_NO_THROW(scheduler.runUntilIdle()) << "after " << caseName(action);
    }
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
