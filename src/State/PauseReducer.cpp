#include "State/PauseReducer.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "State/Dependencies.h"
#include "platform/MainQueue.h"
#include "sensing/AccessibilityManaging.h"

namespace tavrin::AppDomain::PauseReducer {

namespace {

using FX = Effect<Action>;

void store(const std::optional<Pause>& pause, const Dependencies& deps) {
    deps.userDefaults.setObject(pause ? std::optional(pause->toStored()) : std::nullopt, Pause::defaultsKey);
}

// Looks at the defaults again when the pause runs out. A timer of an earlier pause is cancelled;
// one that fires after a resume or a change elsewhere finds what the defaults hold by then.
FX lookAgainAtTheEnd(const Pause& pause, const Dependencies& deps) {
    if (!pause.until)
        return FX::none();
    const Duration delay = std::max(Duration::zero(), Duration(*pause.until - deps.now()));
    MainQueue* queue = deps.mainQueue;
    return FX::task([queue, delay](Send<Action> send, Finish finish) {
               queue->postAfter(delay, [send, finish] {
                   send(loadPause{});
                   finish();
               });
           })
        .cancellable(cancelKey(CancelID::pauseExpiry), true);
}

// The place in front was not followed during the pause: take the tracker's last report.
FX followTheFrontApplication(const State& state, const Dependencies& deps) {
    if (!state.ftue.ftueCompleted || !state.ftue.accessibilityPermissionGranted)
        return FX::none();
    auto accessibility = deps.accessibility;
    MainQueue* queue = deps.mainQueue;
    return FX::task([accessibility, queue](Send<Action> send, Finish finish) {
        queue->post([accessibility, send, finish] {
            if (const auto current = accessibility().currentState())
                send(activeNamespaceChanged{current->app, current->domain});
            finish();
        });
    });
}

} // namespace

Effect<Action> pause(State& state, const pauseCounting& action, const Dependencies& deps) {
    std::optional<std::chrono::minutes> length;
    if (action.minutes && *action.minutes > 0)
        length = std::chrono::minutes(*action.minutes);
    state.pause = Pause::starting(deps.now(), length);
    store(state.pause, deps);
    return lookAgainAtTheEnd(*state.pause, deps);
}

Effect<Action> resume(State& state, const Dependencies& deps) {
    const bool wasPaused = state.pause.has_value();
    state.pause.reset();
    store(std::nullopt, deps);
    return wasPaused ? followTheFrontApplication(state, deps) : FX::none();
}

Effect<Action> load(State& state, const Dependencies& deps) {
    std::optional<Pause> stored;
    if (const auto value = deps.userDefaults.object(Pause::defaultsKey))
        stored = Pause::fromStored(*value);
    if (stored && stored->isOver(deps.now())) {
        stored.reset();
        store(std::nullopt, deps);
    }
    const bool wasPaused = state.pause.has_value();
    state.pause = stored;
    if (stored)
        return lookAgainAtTheEnd(*stored, deps);
    return wasPaused ? followTheFrontApplication(state, deps) : FX::none();
}

std::optional<Effect<Action>> holdWhilePaused(State& state, const Action& action, const Dependencies& deps) {
    // The clock is read only while there is a pause.
    if (!state.pause)
        return std::nullopt;
    if (!state.pause->isOver(deps.now()))
        return FX::none();
    auto ending = load(state, deps);
    if (state.pause)
        return ending; // another process has paused again meanwhile
    return FX::concatenate({std::move(ending), FX::send(action)});
}

} // namespace tavrin::AppDomain::PauseReducer
