#pragma once

#include <algorithm>
#include <atomic>
#include <cassert>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>

#include "State/Effect.h"
#include "platform/MainQueue.h"

namespace tavrin {

// The one place where state changes: a state value, a reducer, and the runtime for effects.
// Lives on the main thread: send() and state() must be called there. The reducer is never
// re-entered; an action sent while another is being processed waits its turn.
template <class State, class Action> class Store {
public:
    using Reducer = std::function<Effect<Action>(State&, const Action&)>;
    using Observer = std::function<void(const State&)>;

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

    // Called on the main thread after each action has gone through the reducer.
    void observe(Observer observer) { core_->observers.push_back(std::move(observer)); }

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
        std::vector<Observer> observers;
        std::deque<Action> pending;
        bool processing = false;
        bool alive = true;
        std::list<std::shared_ptr<Task>> tasks;
        std::multimap<std::string, std::shared_ptr<Token>> tokens;

        void send(Action action) {
            pending.push_back(std::move(action));
            if (processing)
                return;
            processing = true;
            while (!pending.empty() && alive) {
                Action next = std::move(pending.front());
                pending.pop_front();
                process(next);
            }
            processing = false;
        }

        void process(const Action& action) {
            Effect<Action> effect = reducer(state, action);
            for (const auto& observer : observers)
                observer(state);
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
                queue->post([task] {
                    if (task->complete)
                        task->complete();
                });
            };
            executor.execute([body, send, finish] { body(send, finish); });
        }

        void cancel(const std::string& id) {
            auto range = tokens.equal_range(id);
            for (auto it = range.first; it != range.second; ++it)
                it->second->cancelled = true;
            tokens.erase(range.first, range.second);
            completeCancelledTasks();
        }

        void cancelAll() {
            for (auto& task : tasks)
                task->cancelled = true;
            completeCancelledTasks();
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
