#include "platform/common/EventLoop.h"

#include "platform/common/Threads.h"

namespace tavrin {

void EventLoop::post(Task task) {
    {
        std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    wake_.notify_one();
}

MainQueue::TimerId EventLoop::postAfter(Duration delay, Task task) {
    TimerId id;
    {
        std::lock_guard lock(mutex_);
        id = nextTimer_++;
        const auto due = Clock::now() + std::chrono::duration_cast<Clock::duration>(delay);
        timers_.emplace(std::pair{due, id}, std::move(task));
    }
    wake_.notify_one();
    return id;
}

void EventLoop::cancelTimer(TimerId id) {
    std::lock_guard lock(mutex_);
    for (auto it = timers_.begin(); it != timers_.end(); ++it) {
        if (it->first.second == id) {
            timers_.erase(it);
            return;
        }
    }
}

Duration EventLoop::monotonicNow() const {
    return std::chrono::duration_cast<Duration>(Clock::now().time_since_epoch());
}

bool EventLoop::runOne(std::unique_lock<std::mutex>& lock, bool wait) {
    for (;;) {
        if (quit_)
            return false;
        Task task;
        if (!timers_.empty() && timers_.begin()->first.first <= Clock::now()) {
            task = std::move(timers_.begin()->second);
            timers_.erase(timers_.begin());
        } else if (!tasks_.empty()) {
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        if (task) {
            lock.unlock();
            task();
            lock.lock();
            return true;
        }
        if (!wait)
            return false;
        if (timers_.empty())
            wake_.wait(lock);
        else
            wake_.wait_until(lock, timers_.begin()->first.first);
    }
}

void EventLoop::run() {
    std::unique_lock lock(mutex_);
    quit_ = false;
    while (runOne(lock, true)) {
    }
}

void EventLoop::runPending() {
    std::unique_lock lock(mutex_);
    while (runOne(lock, false)) {
    }
}

void EventLoop::quit() {
    {
        std::lock_guard lock(mutex_);
        quit_ = true;
    }
    wake_.notify_all();
}

ThreadPool::ThreadPool(unsigned threads) {
    for (unsigned i = 0; i < threads; ++i) {
        threads_.push_back(startThread([this] {
            for (;;) {
                std::function<void()> task;
                {
                    std::unique_lock lock(mutex_);
                    wake_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
                    if (stopping_)
                        return;
                    task = std::move(tasks_.front());
                    tasks_.pop_front();
                    ++running_;
                }
                task();
                {
                    std::lock_guard lock(mutex_);
                    --running_;
                }
                idle_.notify_all();
            }
        }));
    }
}

ThreadPool::~ThreadPool() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        tasks_.clear();
    }
    wake_.notify_all();
    for (auto& thread : threads_)
        thread.join();
}

void ThreadPool::execute(std::function<void()> task) {
    {
        std::lock_guard lock(mutex_);
        if (stopping_)
            return;
        tasks_.push_back(std::move(task));
    }
    wake_.notify_one();
}

void ThreadPool::waitUntilIdle() {
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [this] { return stopping_ || (tasks_.empty() && running_ == 0); });
}

void settle(EventLoop& loop, ThreadPool& workers) {
    for (int round = 0; round < 20; ++round) {
        workers.waitUntilIdle();
        loop.runPending();
    }
}

} // namespace tavrin
