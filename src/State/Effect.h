#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace tavrin {

// The handle a run effect's body receives. Calling it delivers an action to the store: the call
// may come from any thread, the action is processed on the main queue in the order of the calls,
// and nothing is delivered once the task has been cancelled.
template <class Action> class Send {
public:
    Send(std::function<void(Action)> deliver, std::function<bool()> cancelled)
        : deliver_(std::move(deliver)), cancelled_(std::move(cancelled)) {}

    void operator()(Action action) const {
        if (!isCancelled())
            deliver_(std::move(action));
    }
    // Lets a long body stop early; sends after cancellation are dropped anyway.
    bool isCancelled() const { return cancelled_ && cancelled_(); }

    // A handle for a child feature whose actions `embed` wraps into this handle's actions.
    template <class Child, class Embed> Send<Child> scoped(Embed embed) const {
        auto deliver = deliver_;
        return Send<Child>([deliver, embed](Child child) { deliver(embed(std::move(child))); }, cancelled_);
    }

private:
    std::function<void(Action)> deliver_;
    std::function<bool()> cancelled_;
};

// Calling it ends an asynchronous task (Effect::task). Thread-safe; later calls do nothing.
using Finish = std::function<void()>;

// What the store does after a reducer returned: a closed set of operations, as data.
//
// Delivery rules, which the pipelines rely on:
//  - an action goes through the reducer completely before any of its effects start;
//  - a send effect's action is processed right after the action that returned it, depth-first,
//    before anything waiting on the main queue;
//  - in a concatenation each effect starts when the one before has completed (a send completes
//    when its action and that action's own send chain are processed; a run when its body returns);
//  - run bodies execute off the main thread and deliver through Send.
template <class Action> class Effect {
public:
    enum class Kind { none, send, run, concatenate, merge, cancellable };
    using Body = std::function<void(Send<Action>, Finish)>;

    Effect() = default;

    static Effect none() { return {}; }

    static Effect send(Action action) {
        Effect effect;
        effect.kind_ = Kind::send;
        effect.action_ = std::move(action);
        return effect;
    }

    // A task whose body runs on the executor and completes when the body returns.
    static Effect run(std::function<void(Send<Action>)> body) {
        return task([body = std::move(body)](Send<Action> send, Finish finish) {
            body(std::move(send));
            finish();
        });
    }

    // A task that stays in flight after its body returns, until `finish` is called (for bodies that
    // wait on callbacks: a permission poll, a stream of reports). Cancellation also ends it.
    static Effect task(Body body) {
        Effect effect;
        effect.kind_ = Kind::run;
        effect.body_ = std::move(body);
        return effect;
    }

    static Effect concatenate(std::vector<Effect> effects) {
        std::erase_if(effects, [](const Effect& e) { return e.kind_ == Kind::none; });
        if (effects.empty())
            return none();
        if (effects.size() == 1)
            return std::move(effects.front());
        Effect effect;
        effect.kind_ = Kind::concatenate;
        effect.children_ = std::move(effects);
        return effect;
    }

    // Both effects run side by side; `a` starts first. Completes when both have.
    static Effect merge(Effect a, Effect b) {
        if (a.kind_ == Kind::none)
            return b;
        if (b.kind_ == Kind::none)
            return a;
        Effect effect;
        effect.kind_ = Kind::merge;
        effect.children_.push_back(std::move(a));
        effect.children_.push_back(std::move(b));
        return effect;
    }

    // Registers the effect's tasks under `id`, so that Store::cancel(id) ends them. With
    // `cancelInFlight`, what is already running under `id` is cancelled first.
    Effect cancellable(std::string id, bool cancelInFlight = false) && {
        if (kind_ == Kind::none)
            return none();
        Effect effect;
        effect.kind_ = Kind::cancellable;
        effect.cancelId_ = std::move(id);
        effect.cancelInFlight_ = cancelInFlight;
        effect.children_.push_back(std::move(*this));
        return effect;
    }

    // The same effect with every action it delivers wrapped by `embed` (lifting a child's effect).
    template <class Parent, class Embed> Effect<Parent> map(Embed embed) const {
        using P = Effect<Parent>;
        switch (kind_) {
        case Kind::none:
            return P::none();
        case Kind::send:
            return P::send(embed(*action_));
        case Kind::run: {
            auto body = body_;
            return P::task([body, embed](Send<Parent> send, Finish finish) {
                body(send.template scoped<Action>(embed), std::move(finish));
            });
        }
        case Kind::concatenate: {
            std::vector<P> mapped;
            for (const auto& child : children_)
                mapped.push_back(child.template map<Parent>(embed));
            return P::concatenate(std::move(mapped));
        }
        case Kind::merge:
            return P::merge(children_[0].template map<Parent>(embed), children_[1].template map<Parent>(embed));
        case Kind::cancellable:
            return children_[0].template map<Parent>(embed).cancellable(cancelId_, cancelInFlight_);
        }
        return P::none();
    }

    Kind kind() const { return kind_; }
    const std::optional<Action>& action() const { return action_; }
    const Body& body() const { return body_; }
    const std::vector<Effect>& children() const { return children_; }
    const std::string& cancelId() const { return cancelId_; }
    bool cancelInFlight() const { return cancelInFlight_; }

private:
    Kind kind_ = Kind::none;
    std::optional<Action> action_;
    Body body_;
    std::vector<Effect> children_;
    std::string cancelId_;
    bool cancelInFlight_ = false;
};

} // namespace tavrin
