#pragma once

#include "State/Effect.h"

namespace tavrin {

struct Dependencies;

// A feature's reducer: holds the dependencies (which must outlive it) and hands them to the
// feature's `reduce(State&, const Action&, const Dependencies&)`, found beside its state type.
template <class State, class Action> class FeatureReducer {
public:
    explicit FeatureReducer(const Dependencies& dependencies) : deps_(&dependencies) {}
    Effect<Action> operator()(State& state, const Action& action) const { return reduce(state, action, *deps_); }

private:
    const Dependencies* deps_;
};

} // namespace tavrin
