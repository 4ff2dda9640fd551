#pragma once

#include "State/AppDomain.h"

// The cases of AppDomain's reducer that pause and resume the counting.
namespace tavrin::AppDomain::PauseReducer {

// Starts the pause, stores it and looks at it again when it runs out.
Effect<Action> pause(State& state, const pauseCounting& action, const Dependencies& deps);
// Ends it, removes it from the defaults and follows the application in front again.
Effect<Action> resume(State& state, const Dependencies& deps);
// Takes what the defaults hold; a pause that has run out is removed from them.
Effect<Action> load(State& state, const Dependencies& deps);

// Whether the state counts clicks and keys at the clock's now.
bool isCounting(const State& state, const Dependencies& deps);

} // namespace tavrin::AppDomain::PauseReducer
