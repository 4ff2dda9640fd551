#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <atomic>
#include <numeric>
#include <thread>

#include "State/Store.h"
#include "views/qt/QtEventLoop.h"

namespace tavrin {
namespace {

using namespace std::chrono_literals;

// Runs Qt's event loop until `done` holds or `limit` passes.
template <class Done> bool spinUntil(Done done, std::chrono::milliseconds limit = 3000ms) {
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > limit.count())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
    }
    return true;
}

void spinFor(std::chrono::milliseconds span) {
    spinUntil([] { return false; }, span);
}

TEST(QtEventLoopTest, PostsRunOnTheGuiThreadInOrderFromAnyThread) {
    QtEventLoop loop;
    const auto gui = std::this_thread::get_id();
    std::vector<int> order;
    std::atomic<int> offThread{0};
    loop.post([&] { order.push_back(1); });
    std::thread worker([&] {
        // Everything this thread posts lands after what it posted before.
        for (int i = 2; i <= 100; ++i)
            loop.post([&, i] {
                order.push_back(i);
                if (std::this_thread::get_id() != gui)
                    ++offThread;
            });
    });
    worker.join();
    ASSERT_TRUE(spinUntil([&] { return order.size() == 100; }));
    std::vector<int> expected(100);
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(order, expected);
    EXPECT_EQ(offThread, 0);
}

TEST(QtEventLoopTest, TimersFireInDueOrderAndCancelledOnesNever) {
    QtEventLoop loop;
    std::vector<std::string> fired;
    const auto start = loop.monotonicNow();
    Duration firstAt{};
    loop.postAfter(Duration(0.06), [&] { fired.push_back("60 ms"); });
    loop.postAfter(Duration(0.02), [&] {
        fired.push_back("20 ms");
        firstAt = loop.monotonicNow() - start;
    });
    const auto cancelled = loop.postAfter(Duration(0.04), [&] { fired.push_back("cancelled"); });
    loop.cancelTimer(cancelled);
    loop.cancelTimer(cancelled); // twice, and unknown ids, are ignored
    loop.cancelTimer(987654);
    // From another thread: one that fires, one cancelled there before it is due.
    std::thread worker([&] {
        loop.postAfter(Duration(0.03), [&] { fired.push_back("30 ms from a worker"); });
        const auto id = loop.postAfter(Duration(0.05), [&] { fired.push_back("cancelled by the worker"); });
        loop.cancelTimer(id);
    });
    worker.join();
    ASSERT_TRUE(spinUntil([&] { return fired.size() == 3; }));
    spinFor(60ms);
    EXPECT_EQ(fired, (std::vector<std::string>{"20 ms", "30 ms from a worker", "60 ms"}));
    EXPECT_GE(firstAt, Duration(0.019));
}

TEST(QtEventLoopTest, ATimerCancelledFromAWorkerAfterItStartedNeverFires) {
    QtEventLoop loop;
    bool fired = false;
    const auto id = loop.postAfter(Duration(0.05), [&] { fired = true; });
    spinFor(10ms); // the QTimer is running now
    std::thread([&] { loop.cancelTimer(id); }).join();
    spinFor(100ms);
    EXPECT_FALSE(fired);
}

TEST(QtEventLoopTest, AStoreRunsItsBodiesOnThePoolAndGetsTheirSendsBackInOrder) {
    QtEventLoop loop;
    const auto gui = std::this_thread::get_id();
    std::thread::id bodyThread;
    bool reducerOffGui = false;
    Store<std::vector<int>, int> store(
        {},
        [&](std::vector<int>& state, const int& action) {
            reducerOffGui |= std::this_thread::get_id() != gui;
            if (action < 0)
                return Effect<int>::run([&](Send<int> send) {
                    bodyThread = std::this_thread::get_id();
                    for (int i = 0; i < 50; ++i)
                        send(i);
                });
            state.push_back(action);
            return Effect<int>::none();
        },
        loop, loop);
    store.send(-1);
    ASSERT_TRUE(spinUntil([&] { return store.state().size() == 50; }));
    std::vector<int> expected(50);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(store.state(), expected);
    EXPECT_NE(bodyThread, gui);
    EXPECT_FALSE(reducerOffGui);
}

TEST(QtEventLoopTest, ShutdownDropsWhatIsQueuedAndWaitsForRunningBodies) {
    auto loop = std::make_unique<QtEventLoop>(1);
    std::atomic<bool> bodyStarted{false}, bodyFinished{false}, laterBodyRan{false};
    bool postRan = false, timerRan = false, postFromBodyRan = false;
    loop->execute([&] {
        bodyStarted = true;
        std::this_thread::sleep_for(100ms);
        bodyFinished = true;
        loop->post([&] { postFromBodyRan = true; });
    });
    loop->execute([&] { laterBodyRan = true; }); // waits for the only worker: dropped
    while (!bodyStarted)
        std::this_thread::sleep_for(1ms);
    loop->post([&] { postRan = true; });
    loop->postAfter(Duration(0.01), [&] { timerRan = true; });
    loop->shutdown();
    EXPECT_TRUE(bodyFinished) << "shutdown returns once the running body has";
    EXPECT_FALSE(laterBodyRan);
    // After shutdown nothing more is accepted.
    loop->post([&] { postRan = true; });
    loop->execute([&] { laterBodyRan = true; });
    loop->postAfter(Duration(0), [&] { timerRan = true; });
    spinFor(50ms);
    EXPECT_FALSE(postRan);
    EXPECT_FALSE(timerRan);
    EXPECT_FALSE(postFromBodyRan);
    EXPECT_FALSE(laterBodyRan);
    loop.reset(); // a second shutdown is harmless
}

} // namespace
} // namespace tavrin
