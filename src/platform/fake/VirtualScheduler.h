#pragma once

#include <deque>
#include <map>
#include <mutex>

#include "platform/Clock.h"
#include "platform/MainQueue.h"

namespace tavrin {

// Main queue, executor and clock on virtual time, for tests and replays. Nothing runs by itself:
// runUntilIdle() runs queued work (main-queue tasks and executor bodies, in the order they were
// queued) on the calling thread, and advance() moves time forward, firing each timer at its due
// time with the work it causes run in between. Same inputs, same order, every time.
class VirtualScheduler final : public MainQueue, public Executor, public Clock {
public:
    explicit VirtualScheduler(Date start = Date{std::chrono::milliseconds{1'700'000'000'000}});

    void post(Task task) override;
    TimerId postAfter(Duration delay, Task task) override;
    void cancelTimer(TimerId id) override;
    void execute(std::function<void()> task) override;
    Date now() const override;
    double secondsSinceEpoch() const override;
    Duration monotonicNow() const override { return elapsed(); }

    // Runs queued work until there is none; timers that are due now fire too.
    void runUntilIdle();
    // Runs the oldest piece of queued work; false when there is none.
    bool runNext() { return runOne(); }
    // Moves virtual time forward by `by`, firing timers in due order.
    void advance(Duration by);
    // Moves to the time of the next timer and fires it; false when there is none.
    bool advanceToNextTimer();
    // The machine sleeps for `by`: the wall clock moves on while the queue's clock and its timers
    // stand still, as a monotonic clock does across a suspend. Nothing runs.
    void suspend(Duration by);

    Duration elapsed() const;
    bool hasPendingTimers() const;

private:
    using Ticks = std::chrono::microseconds;
    bool runOne();

    mutable std::mutex mutex_;
    Date start_;
    Ticks elapsed_{0};
    std::deque<Task> work_;
    std::map<std::pair<Ticks, TimerId>, Task> timers_;
    TimerId nextTimer_ = 1;
};

} // namespace tavrin
