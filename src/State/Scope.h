#pragma once

#include <utility>

#include "State/Effect.h"

namespace tavrin {

// Runs a child feature inside a parent. For an action that carries a child action, the child's
// reducer runs first on its slice of the state; then the parent's reducer sees the same action.
// The effect is the child's (lifted into parent actions) merged with the parent's, the child's
// starting first.
//
//   extract(const ParentAction&) -> const ChildAction* (null when the action is not the child's)
//   embed(ChildAction) -> ParentAction
template <class ParentState, class ParentAction, class ChildState, class ChildReducer, class ParentReducer,
          class Extract, class Embed>
Effect<ParentAction> reduceChildFirst(ParentState& state, const ParentAction& action, ChildState ParentState::*slice,
                                      const ChildReducer& child, const ParentReducer& parent, Extract extract,
                                      Embed embed) {
    auto childEffect = Effect<ParentAction>::none();
    if (const auto* childAction = extract(action))
        childEffect = child(state.*slice, *childAction).template map<ParentAction>(embed);
    auto parentEffect = parent(state, action);
    return Effect<ParentAction>::merge(std::move(childEffect), std::move(parentEffect));
}

} // namespace tavrin
