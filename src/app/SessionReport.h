#pragma once

#include <string>
#include <vector>

#include "platform/InputMonitor.h"

namespace tavrin {

// What a desktop session lets Tavrin see: a capability, not an error.
struct SessionCapabilities {
    std::string session;     // "X11", "Wayland (sway)"; empty: no desktop session
    bool everyWindow = true; // the titles of every window, or of the one in front only
    InputCapabilities input;
    bool operator==(const SessionCapabilities&) const = default;
};

// The lines `tavrin setup`, `watch` and `status --coverage` print about the session: the
// application in front, the keys and the clicks, each with what it misses.
std::vector<std::string> describeSession(const SessionCapabilities& capabilities);

} // namespace tavrin
