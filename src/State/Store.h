#pragma once

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "State/Effect.h"
#include "platform/MainQueue.h"

namespace tavrin {

// The one place where state changes: a state value, a reducer, and the runtime for effects.
// Lives on the main thread: send() and state() must be called there. The reducer is never
// re-entered; an action sent while another is being processed waits its turn.
template <class State, class Action> class Store {
    struct Core;

public:
    using Reducer = std::function<Effect<Action>(State&, const Action&)>;
    using Observer = std::function<void(const State&)>;

    // Ends its observation when destroyed (or reset). Main thread. Outliving the store is fine.
    class [[nodiscard]] Observation {
    public:
        Observation() = default;
        Observation(Observation&& other) noexcept : core_(std::move(other.core_)), id_(std::exchange(other.id_, 0)) {}
        Observation& operator=(Observation&& other) noexcept {
            if (this != &other) {
                reset();
                core_ = std::move(other.core_);
                id_ = std::exchange(other.id_, 0);
            }
            return *this;
        }
        ~Observation() { reset(); }
        void reset() {
            if (auto core = core_.lock())
                core->observers.erase(id_);
            core_.reset();
            id_ = 0;
        }

    private:
        friend class Store;
        Observation(std::weak_ptr<Core> core, std::uint64_t id) : core_(std::move(core)), id_(id) {}
        std::weak_ptr<Core> core_;
        std::uint64_t id_ = 0;
    };

    Store(State initial, Reducer reducer, MainQueue& mainQueue, Executor& executor)
        : core_(std::make_shared<Core>(std::move(initial), std::move(reducer), mainQueue, executor)) {}

    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    // Cancels every task; actions they would still deliver are dropped.
    ~Store() {
        core_->alive = false;
        for (auto& task : core_->tasks)
            task->cancelled = true;
    }

    void send(Action action) { core_->send(std::move(action)); }
    const State& state() const { return core_->state; }

    // `observer` sees the state once the chain of actions that an outside send started has been
    // processed: the action, the actions its send effects delivered, depth-first, and what was
    // sent meanwhile. An observer never sees a chain half done. Sends that run effects make later
    // hop to the main queue and start chains of their own. Main thread; the observation lasts as
    // long as the returned token.
    Observation observe(Observer observer) {
        const auto id = ++core_->lastObserver;
        core_->observers.emplace(id, std::make_shared<Observer>(std::move(observer)));
        return Observation(core_, id);
    }

    // Cancels every task registered under `id` (Effect::cancellable).
    void cancel(const std::string& id) { core_->cancel(id); }

    // Tasks started by run effects that have not completed.
    std::size_t tasksInFlight() const { return core_->tasks.size(); }
    void cancelAll() { core_->cancelAll(); }

private:
    struct Token {
        std::string id;
        std::atomic<bool> cancelled{false};
    };
    struct Task {
        std::vector<std::shared_ptr<Token>> tokens;
        std::atomic<bool> cancelled{false};
        std::atomic<bool> finished{false};
        std::function<void()> complete; // main thread
        bool isCancelled() const {
            if (cancelled)
                return true;
            for (const auto& token : tokens)
                if (token->cancelled)
                    return true;
            return false;
        }
    };
    using Tokens = std::vector<std::shared_ptr<Token>>;
    using Done = std::function<void()>;

    struct Core : std::enable_shared_from_this<Core> {
        Core(State s, Reducer r, MainQueue& q, Executor& e)
            : state(std::move(s)), reducer(std::move(r)), mainQueue(q), executor(e) {}

        State state;
        Reducer reducer;
        MainQueue& mainQueue;
        Executor& executor;
        std::map<std::uint64_t, std::shared_ptr<Observer>> observers;
        std::uint64_t lastObserver = 0;
        std::deque<Action> pending;
        bool processing = false;
        bool changed = false; // an action was processed since the observers last saw the state
        bool alive = true;
        std::list<std::shared_ptr<Task>> tasks;
        std::multimap<std::string, std::shared_ptr<Token>> tokens;

        void send(Action action) {
            pending.push_back(std::move(action));
            chain([] {});
        }

        // Runs `work` (which may process actions) as one chain: outside sends made meanwhile wait
        // in `pending` and belong to the chain; observers are told once it has drained. Nested
        // calls join the chain that is running.
        template <class Work> void chain(Work work) {
            if (processing) {
                work();
                return;
            }
            processing = true;
            work();
            auto self = this->shared_from_this(); // an observer may end the store
            while (alive) {
                while (!pending.empty() && alive) {
                    Action next = std::move(pending.front());
                    pending.pop_front();
                    process(next);
                }
                if (!changed || !alive)
                    break;
                changed = false;
                notify(); // what observers send is processed next, as a chain of its own
                if (pending.empty())
                    break;
            }
            processing = false;
        }

        void notify() {
            std::vector<std::pair<std::uint64_t, std::shared_ptr<Observer>>> current(observers.begin(),
                                                                                     observers.end());
            for (const auto& [id, observer] : current)
                if (alive && observers.count(id)) // ended by an observer before it
                    (*observer)(state);
        }

        void process(const Action& action) {
            Effect<Action> effect = reducer(state, action);
            changed = true;
            start(effect, {}, [] {});
        }

        void start(const Effect<Action>& effect, const Tokens& scope, Done done) {
            using Kind = typename Effect<Action>::Kind;
            switch (effect.kind()) {
            case Kind::none:
                done();
                return;
            case Kind::send:
                process(*effect.action());
                done();
                return;
            case Kind::run:
                startTask(effect.body(), scope, std::move(done));
                return;
            case Kind::concatenate:
                startSequence(std::make_shared<std::vector<Effect<Action>>>(effect.children()), 0, scope,
                              std::move(done));
                return;
            case Kind::merge: {
                auto remaining = std::make_shared<int>(static_cast<int>(effect.children().size()));
                for (const auto& child : effect.children())
                    start(child, scope, [remaining, done] {
                        if (--*remaining == 0)
                            done();
                    });
                return;
            }
            case Kind::cancellable: {
                if (effect.cancelInFlight())
                    cancel(effect.cancelId());
                auto token = std::make_shared<Token>();
                token->id = effect.cancelId();
                tokens.emplace(token->id, token);
                Tokens inner = scope;
                inner.push_back(token);
                auto self = this->weak_from_this();
                start(effect.children().front(), inner, [self, token, done] {
                    if (auto core = self.lock()) {
                        // The token may already be gone if cancel() removed it.
                        for (auto i = core->tokens.begin(); i != core->tokens.end(); ++i)
                            if (i->second == token) {
                                core->tokens.erase(i);
                                break;
                            }
                    }
                    done();
                });
                return;
            }
            }
        }

        void startSequence(std::shared_ptr<std::vector<Effect<Action>>> effects, std::size_t index, const Tokens& scope,
                           Done done) {
            if (index >= effects->size()) {
                done();
                return;
            }
            auto self = this->weak_from_this();
            start((*effects)[index], scope, [self, effects, index, scope, done] {
                if (auto core = self.lock())
                    core->startSequence(effects, index + 1, scope, done);
            });
        }

        void startTask(const typename Effect<Action>::Body& body, const Tokens& scope, Done done) {
            auto task = std::make_shared<Task>();
            task->tokens = scope;
            tasks.push_back(task);
            auto self = this->weak_from_this();
            std::weak_ptr<Task> weakTask = task;
            task->complete = [self, weakTask, done] {
                auto core = self.lock();
                auto task = weakTask.lock();
                if (!core || !task)
                    return;
                auto it = std::find(core->tasks.begin(), core->tasks.end(), task);
                if (it == core->tasks.end())
                    return; // already completed (cancelled, then finished)
                core->tasks.erase(it);
                done();
            };
            MainQueue* queue = &mainQueue;
            Send<Action> send(
                [self, task, queue](Action action) {
                    queue->post([self, task, action = std::move(action)]() mutable {
                        auto core = self.lock();
                        if (!core || !core->alive || task->isCancelled())
                            return;
                        core->send(std::move(action));
                    });
                },
                [task] { return task->isCancelled(); });
            Finish finish = [self, task, queue] {
                if (task->finished.exchange(true))
                    return;
                queue->post([self, task] {
                    // What waits on the task (a concatenation) goes on as a chain of its own.
                    if (auto core = self.lock(); core && task->complete)
                        core->chain([&] { task->complete(); });
                });
            };
            executor.execute([body, send, finish] { body(send, finish); });
        }

        void cancel(const std::string& id) {
            auto range = tokens.equal_range(id);
            for (auto it = range.first; it != range.second; ++it)
                it->second->cancelled = true;
            tokens.erase(range.first, range.second);
            chain([this] { completeCancelledTasks(); });
        }

        void cancelAll() {
            for (auto& task : tasks)
                task->cancelled = true;
            chain([this] { completeCancelledTasks(); });
        }

        // A cancelled task completes at once, so that what waits on it (a concatenation) goes on.
        void completeCancelledTasks() {
            std::vector<std::shared_ptr<Task>> cancelled;
            for (auto& task : tasks)
                if (task->isCancelled())
                    cancelled.push_back(task);
            for (auto& task : cancelled) {
                task->finished = true;
                task->complete();
            }
        }
    };

    std::shared_ptr<Core> core_;
};

} // namespace tavrin
