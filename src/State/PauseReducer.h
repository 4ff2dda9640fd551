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

// For the cases that count (a click, a key, the place in front): no value when counting goes on;
// none while the pause holds. A pause whose end has passed unseen (its timer stands still while
// the machine sleeps; the clock does not) ends here as its timer would end it, and `action` is
// taken up again once the application in front has been read.
std::optional<Effect<Action>> holdWhilePaused(State& state, const Action& action, const Dependencies& deps);

} // namespace tavrin::AppDomain::PauseReducer
