#include "State/AppDomain.h"

namespace tavrin::AppDomain {

// The feature's own cases arrive with the shortcut list and the click pipeline (issue #4); until
// then every action is accepted and changes nothing.
Effect<Action> Reducer::operator()(State&, const Action&) const {
    return Effect<Action>::none();
}

} // namespace tavrin::AppDomain
