#pragma once

#include <string>

#include "foundation/Geometry.h"
#include "platform/AccessibleElement.h"

namespace tavrin {

// What the element lookup at a point found.
struct ElementAtPoint {
    enum class Outcome { found, noElement, error };
    Outcome outcome = Outcome::noElement;
    AccessibleElementRef element;
    std::string error; // for `error`: a short reason
};

// The accessibility element under a point of the screen.
class ElementLookup {
public:
    virtual ~ElementLookup() = default;

    // The element at `point`. Any thread; may block on the application under the point, bounded by
    // the platform layer's time-outs (about a second at most). A failure is the `error` outcome
    // with its reason; nothing under the point is `noElement`.
    virtual ElementAtPoint elementAt(TopLeftPoint point) const = 0;
    // Whether a running application owns this process. Any thread; false for a process that is
    // gone or cannot be asked about.
    virtual bool isRunningApplication(int processId) const = 0;
};

} // namespace tavrin
