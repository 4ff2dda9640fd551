#pragma once

#include <optional>
#include <string>

#include "platform/wayland/AccessibilityBusEvents.h"

namespace tavrin {

// The window in front as the accessibility bus's window events tell it: the last one activated,
// until it is deactivated or destroyed; its title follows its name changes. Events of other
// windows change nothing (a deactivation often arrives after the next window's activation).
class ActiveWindow {
public:
    struct Window {
        std::string bus, path, title, application;
        std::optional<int> pid;
        bool operator==(const Window&) const = default;
    };

    // True when the window in front or its title changed.
    bool apply(const WindowEvent& event);
    const std::optional<Window>& current() const { return current_; }

private:
    std::optional<Window> current_;
};

} // namespace tavrin
