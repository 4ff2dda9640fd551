#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace tavrin {

using Duration = std::chrono::duration<double>;

// The one thread that owns the store, the reducers and the monitors.
// Real implementations: the Qt event loop in the desktop app, EventLoop on the command line;
// VirtualScheduler in tests and replays.
class MainQueue {
public:
    using Task = std::function<void()>;
    using TimerId = std::uint64_t;

    virtual ~MainQueue() = default;

    // Queues `task` to run on the main thread after everything already queued.
    // Thread-safe: any thread may post.
    virtual void post(Task task) = 0;

    // Runs `task` on the main thread once `delay` has passed on this queue's clock.
    // Thread-safe. The id can be passed to cancelTimer.
    virtual TimerId postAfter(Duration delay, Task task) = 0;

    // Cancels a timer that has not fired yet; unknown or fired ids are ignored. Thread-safe.
    virtual void cancelTimer(TimerId id) = 0;

    // The time on this queue's clock, the one its timers run on: monotonic, from an arbitrary
    // start. For measuring how long something has taken. Thread-safe.
    virtual Duration monotonicNow() const = 0;
};

// Runs the bodies of run effects off the main thread. A body may block (a database query,
// an accessibility walk); it must not touch the store's state.
class Executor {
public:
    virtual ~Executor() = default;
    // Thread-safe. The task runs exactly once unless the executor is destroyed first.
    virtual void execute(std::function<void()> task) = 0;
};

} // namespace tavrin
