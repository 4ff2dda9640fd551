#pragma once

#include <QThreadPool>
#include <chrono>
#include <memory>

#include "platform/MainQueue.h"

namespace tavrin {

// The main queue and the executor of the desktop application. Tasks and timers run on the thread
// that made this object (the GUI thread), through Qt's event loop; run bodies go to a thread pool
// of its own. Posting and timers are thread-safe. shutdown() (also run by the destructor) drops
// everything still queued or waiting on a timer, then waits for the bodies already running; from
// then on posts, timers and bodies are dropped. Must be made and destroyed on the GUI thread,
// after the application object exists.
class QtEventLoop final : public MainQueue, public Executor {
public:
    explicit QtEventLoop(int workerThreads = 2);
    ~QtEventLoop() override;

    QtEventLoop(const QtEventLoop&) = delete;
    QtEventLoop& operator=(const QtEventLoop&) = delete;

    void post(Task task) override;
    TimerId postAfter(Duration delay, Task task) override;
    void cancelTimer(TimerId id) override;
    Duration monotonicNow() const override;
    void execute(std::function<void()> task) override;

    // GUI thread. Idempotent.
    void shutdown();
    // Waits until no body is queued or running, at most `limit`. True when idle.
    bool waitForWorkers(std::chrono::milliseconds limit);

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
    QThreadPool pool_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

} // namespace tavrin
