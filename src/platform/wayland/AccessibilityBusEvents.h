#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tavrin {

// A window's activation, deactivation, end or new name, as the accessibility bus tells it.
struct WindowEvent {
    enum class Kind { activate, deactivate, destroy, nameChanged };
    Kind kind = Kind::activate;
    std::string bus;         // the application's connection on the accessibility bus
    std::string path;        // the window's object
    std::string name;        // the window's accessible name (its title); for nameChanged the new one
    std::optional<int> pid;  // activate only: the application's process
    std::string application; // activate only: the application's accessible name ("mousepad")
    bool operator==(const WindowEvent&) const = default;
};

// A key press or release that an accessible application forwarded to the accessibility bus.
struct ForwardedKey {
    bool press = true;
    std::uint32_t keysym = 0;
    std::uint32_t modifiers = 0; // the X modifier mask before the key: Shift 1, Control 4, Alt 8, Super 64
    bool operator==(const ForwardedKey&) const = default;
};

// The accessibility bus's window events and its key listener, read with GDBus on a connection and
// a thread of its own (libatspi's connection belongs to the element lookups' thread, and its
// events would only be read between lookups). Works on every compositor: this is how a Wayland
// session tells Tavrin which window is in front and which keys were pressed, for the applications
// that are accessible.
//
// The handlers run on this object's thread; they must return quickly. When the bus goes away a
// line goes to the log, and the connection is tried again every few seconds.
class AccessibilityBusEvents {
public:
    struct Handlers {
        std::function<void(const WindowEvent&)> window;
        std::function<void(const ForwardedKey&)> key; // empty: no key listener is registered
    };
    explicit AccessibilityBusEvents(Handlers handlers);
    // Stops the thread; no handler runs after it returns.
    ~AccessibilityBusEvents();

    // Whether the bus is connected and the key listener (when asked for) registered.
    bool connected() const;

    struct Bus; // the thread and what only it touches

private:
    std::unique_ptr<Bus> bus_;
};

} // namespace tavrin
