#pragma once

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

#include "platform/MainQueue.h"

namespace tavrin {

// A minimal main loop for the command line: the thread that calls run() becomes the main thread
// and runs posted tasks and due timers in order until quit().
class EventLoop final : public MainQueue {
public:
    void post(Task task) override;
    TimerId postAfter(Duration delay, Task task) override;
    void cancelTimer(TimerId id) override;
    Duration monotonicNow() const override;

    // Runs until quit() is called. Must not be called re-entrantly.
    void run();
    // Runs what is already queued and due, then returns.
    void runPending();
    // Thread-safe; run() returns after the task it is executing.
    void quit();

private:
    using Clock = std::chrono::steady_clock;
    bool runOne(std::unique_lock<std::mutex>& lock, bool wait);

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Task> tasks_;
    // Keyed by due time, then by id so that timers due together fire in the order they were made.
    std::map<std::pair<Clock::time_point, TimerId>, Task> timers_;
    TimerId nextTimer_ = 1;
    bool quit_ = false;
};

// A fixed pool of worker threads for run-effect bodies. The destructor drops tasks that have not
// started and waits for the running ones.
class ThreadPool final : public Executor {
public:
    explicit ThreadPool(unsigned threads = 2);
    ~ThreadPool() override;
    void execute(std::function<void()> task) override;
    // Waits until every queued task has run and none is running.
    void waitUntilIdle();

private:
    std::mutex mutex_;
    std::condition_variable idle_;
    unsigned running_ = 0;
    std::condition_variable wake_;
    std::deque<std::function<void()>> tasks_;
    std::vector<std::thread> threads_;
    bool stopping_ = false;
};

// Main thread, loop not running: runs queued work, on the loop and the workers, until none is
// left (timers that are not due yet stay).
void settle(EventLoop& loop, ThreadPool& workers);

} // namespace tavrin
