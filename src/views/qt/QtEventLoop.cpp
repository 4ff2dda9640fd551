#include "views/qt/QtEventLoop.h"

#include <QObject>
#include <QThread>
#include <QTimer>
#include <map>
#include <mutex>

#include "platform/common/Threads.h"

namespace tavrin {

// What posted work and timers share with the loop. `context` receives the queued calls; once it
// is gone (shutdown), nothing is queued any more and what was queued is dropped with it.
struct QtEventLoop::Shared {
    std::mutex mutex;
    QObject* context = nullptr;
    // Timers not fired or cancelled yet. The QTimer exists once the GUI thread has started it.
    struct Pending {
        MainQueue::Task task;
        QTimer* timer = nullptr;
    };
    std::map<TimerId, Pending> timers;
    TimerId nextTimer = 1;

    bool onGuiThread() const { return context && QThread::currentThread() == context->thread(); }

    // Caller holds the mutex.
    void queue(std::function<void()> call) {
        if (context)
            QMetaObject::invokeMethod(context, std::move(call), Qt::QueuedConnection);
    }

    // GUI thread, mutex held: starts the QTimer of a timer that is still wanted.
    void startTimer(const std::shared_ptr<Shared>& self, TimerId id, std::chrono::milliseconds delay) {
        const auto it = timers.find(id);
        if (it == timers.end() || !context)
            return;
        auto* timer = new QTimer(context);
        timer->setSingleShot(true);
        // Coarse timers may fire 5 % early or late; the product's debounces and time-outs are short.
        timer->setTimerType(Qt::PreciseTimer);
        std::weak_ptr<Shared> weak = self;
        QObject::connect(timer, &QTimer::timeout, context, [weak, id, timer] {
            auto shared = weak.lock();
            if (!shared)
                return;
            MainQueue::Task task;
            {
                std::lock_guard lock(shared->mutex);
                const auto found = shared->timers.find(id);
                if (found == shared->timers.end())
                    return;
                task = std::move(found->second.task);
                shared->timers.erase(found);
            }
            timer->deleteLater();
            task();
        });
        it->second.timer = timer;
        timer->start(delay);
    }
};

QtEventLoop::QtEventLoop(int workerThreads) : shared_(std::make_shared<Shared>()) {
    shared_->context = new QObject;
    pool_.setMaxThreadCount(workerThreads);
    // Workers stay for the life of the loop: bodies come in bursts, one per click.
    pool_.setExpiryTimeout(-1);
}

QtEventLoop::~QtEventLoop() {
    shutdown();
}

void QtEventLoop::shutdown() {
    QObject* context = nullptr;
    {
        std::lock_guard lock(shared_->mutex);
        std::swap(context, shared_->context);
        for (auto& [id, pending] : shared_->timers)
            pending.task = nullptr;
        shared_->timers.clear();
    }
    pool_.clear();
    pool_.waitForDone();
    // Queued calls and the QTimers go with their receiver.
    delete context;
}

void QtEventLoop::post(Task task) {
    std::lock_guard lock(shared_->mutex);
    shared_->queue(std::move(task));
}

MainQueue::TimerId QtEventLoop::postAfter(Duration delay, Task task) {
    const auto milliseconds =
        std::max(std::chrono::milliseconds(0), std::chrono::ceil<std::chrono::milliseconds>(delay));
    std::lock_guard lock(shared_->mutex);
    const TimerId id = shared_->nextTimer++;
    if (!shared_->context)
        return id;
    shared_->timers[id].task = std::move(task);
    if (shared_->onGuiThread()) {
        shared_->startTimer(shared_, id, milliseconds);
    } else {
        std::weak_ptr<Shared> weak = shared_;
        shared_->queue([weak, id, milliseconds] {
            if (auto shared = weak.lock()) {
                std::lock_guard lock(shared->mutex);
                shared->startTimer(shared, id, milliseconds);
            }
        });
    }
    return id;
}

void QtEventLoop::cancelTimer(TimerId id) {
    std::lock_guard lock(shared_->mutex);
    const auto it = shared_->timers.find(id);
    if (it == shared_->timers.end())
        return;
    QTimer* timer = it->second.timer;
    shared_->timers.erase(it);
    if (!timer)
        return; // not started yet: the start finds nothing to do
    if (shared_->onGuiThread())
        delete timer;
    else
        shared_->queue([timer] { timer->deleteLater(); });
}

Duration QtEventLoop::monotonicNow() const {
    return std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now() - start_);
}

void QtEventLoop::execute(std::function<void()> task) {
    // Under the lock, so that no body starts once shutdown() has begun waiting for the pool.
    std::lock_guard lock(shared_->mutex);
    if (shared_->context)
        pool_.start([task = std::move(task)] {
            prepareThisThread(); // the pool's threads are Qt's to start
            task();
        });
}

bool QtEventLoop::waitForWorkers(std::chrono::milliseconds limit) {
    return pool_.waitForDone(static_cast<int>(limit.count()));
}

} // namespace tavrin
