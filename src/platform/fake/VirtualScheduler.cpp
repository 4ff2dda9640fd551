#include "platform/fake/VirtualScheduler.h"

namespace tavrin {

VirtualScheduler::VirtualScheduler(Date start) : start_(start) {}

void VirtualScheduler::post(Task task) {
    std::lock_guard lock(mutex_);
    work_.push_back(std::move(task));
}

void VirtualScheduler::execute(std::function<void()> task) {
    post(std::move(task));
}

MainQueue::TimerId VirtualScheduler::postAfter(Duration delay, Task task) {
    std::lock_guard lock(mutex_);
    const TimerId id = nextTimer_++;
    const auto due = elapsed_ + std::chrono::round<Ticks>(delay < Duration::zero() ? Duration::zero() : delay);
    timers_.emplace(std::pair{due, id}, std::move(task));
    return id;
}

void VirtualScheduler::cancelTimer(TimerId id) {
    std::lock_guard lock(mutex_);
    for (auto it = timers_.begin(); it != timers_.end(); ++it)
        if (it->first.second == id) {
            timers_.erase(it);
            return;
        }
}

Date VirtualScheduler::now() const {
    std::lock_guard lock(mutex_);
    return start_ + std::chrono::floor<std::chrono::milliseconds>(elapsed_);
}

double VirtualScheduler::secondsSinceEpoch() const {
    std::lock_guard lock(mutex_);
    return std::chrono::duration<double>(start_.time_since_epoch()).count() +
           std::chrono::duration<double>(elapsed_).count();
}

Duration VirtualScheduler::elapsed() const {
    std::lock_guard lock(mutex_);
    return std::chrono::duration_cast<Duration>(elapsed_);
}

bool VirtualScheduler::hasPendingTimers() const {
    std::lock_guard lock(mutex_);
    return !timers_.empty();
}

bool VirtualScheduler::runOne() {
    Task task;
    {
        std::lock_guard lock(mutex_);
        if (!work_.empty()) {
            task = std::move(work_.front());
            work_.pop_front();
        } else if (!timers_.empty() && timers_.begin()->first.first <= elapsed_) {
            task = std::move(timers_.begin()->second);
            timers_.erase(timers_.begin());
        } else {
            return false;
        }
    }
    task();
    return true;
}

void VirtualScheduler::runUntilIdle() {
    while (runOne()) {
    }
}

bool VirtualScheduler::advanceToNextTimer() {
    runUntilIdle();
    {
        std::lock_guard lock(mutex_);
        if (timers_.empty())
            return false;
        elapsed_ = std::max(elapsed_, timers_.begin()->first.first);
    }
    runUntilIdle();
    return true;
}

void VirtualScheduler::suspend(Duration by) {
    std::lock_guard lock(mutex_);
    start_ += std::chrono::round<std::chrono::milliseconds>(by);
}

void VirtualScheduler::advance(Duration by) {
    runUntilIdle();
    Ticks target;
    {
        std::lock_guard lock(mutex_);
        target = elapsed_ + std::chrono::round<Ticks>(by);
    }
    for (;;) {
        {
            std::lock_guard lock(mutex_);
            if (timers_.empty() || timers_.begin()->first.first > target)
                break;
            elapsed_ = std::max(elapsed_, timers_.begin()->first.first);
        }
        runUntilIdle();
    }
    {
        std::lock_guard lock(mutex_);
        elapsed_ = target;
    }
    runUntilIdle();
}

} // namespace tavrin
