#pragma once

#include <optional>
#include <string>

#include "foundation/Geometry.h"

namespace tavrin {

// What the window side of the Linux desktop asks the accessibility bus about applications.
// Implemented over AT-SPI (AtspiAccessibility). Any thread; calls are bounded by the bus's time-outs.
class AccessibleApplications {
public:
    virtual ~AccessibleApplications() = default;

    // The application name the accessibility bus gives for a process; no value when the process is
    // not on the bus or does not answer.
    virtual std::optional<std::string> applicationName(int processId) const = 0;
    // Whether the element found at a point lies inside its window. An application started before
    // accessibility was switched on lists its windows and nothing in them. False when the lookup fails.
    virtual bool readsInsideWindowAt(TopLeftPoint point) const = 0;
};

} // namespace tavrin
