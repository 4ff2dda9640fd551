#pragma once

#include <cstdint>
#include <optional>

namespace tavrin {

// Which top-level window has the keyboard, and handing it to another, by the window system's
// ids (X11 window ids). Main thread; each call returns at once.
class WindowFocus {
public:
    using WindowId = std::uint64_t;
    virtual ~WindowFocus() = default;
    // The window the window manager has made active; none when none is or it cannot be read.
    virtual std::optional<WindowId> activeWindow() const = 0;
    // Asks the window manager to activate `window` (raise it and give it the keyboard) on the
    // user's behalf, for a request the user made at `timestamp` (0: now). False when the request
    // could not be sent; the window manager may still refuse it.
    virtual bool activateWindow(WindowId window, std::uint32_t timestamp) = 0;
};

} // namespace tavrin
