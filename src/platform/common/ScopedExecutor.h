#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

#include "platform/MainQueue.h"

namespace tavrin {

// Lends another executor's threads to an owner that goes before the executor: bodies handed in
// run on the other executor, and the destructor drops those that have not started and waits for
// those that are running, so nothing runs on what the owner is about to destroy.
class ScopedExecutor final : public Executor {
public:
    explicit ScopedExecutor(Executor& executor) : executor_(executor), shared_(std::make_shared<Shared>()) {}
    ScopedExecutor(const ScopedExecutor&) = delete;
    ScopedExecutor& operator=(const ScopedExecutor&) = delete;

    // Main thread (or whoever owns it); must not be called from one of its own bodies.
    ~ScopedExecutor() override {
        std::unique_lock lock(shared_->mutex);
        shared_->closed = true;
        shared_->idle.wait(lock, [this] { return shared_->running == 0; });
    }

    void execute(std::function<void()> task) override {
        executor_.execute([shared = shared_, task = std::move(task)]() mutable {
            {
                std::lock_guard lock(shared->mutex);
                if (shared->closed)
                    return;
                ++shared->running;
            }
            task();
            task = nullptr; // what it holds goes before the owner may
            std::lock_guard lock(shared->mutex);
            if (--shared->running == 0)
                shared->idle.notify_all();
        });
    }

private:
    struct Shared {
        std::mutex mutex;
        std::condition_variable idle;
        int running = 0;
        bool closed = false;
    };
    Executor& executor_;
    std::shared_ptr<Shared> shared_;
};

} // namespace tavrin
