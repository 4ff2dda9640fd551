#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "foundation/Geometry.h"

namespace tavrin {

// Modifier flags of a key event, with the bit values the key monitor is written against.
struct ModifierFlags {
    static constexpr std::uint64_t command = 0x100000;
    static constexpr std::uint64_t shift = 0x20000;
    static constexpr std::uint64_t control = 0x40000;
    static constexpr std::uint64_t option = 0x80000;
};

struct KeyEvent {
    enum class Type { keyDown, keyUp, flagsChanged, other };
    Type type = Type::other;
    // The key's text ignoring modifiers ("c", "5"), or a named key ("return", "f5"); absent when
    // the key gives none.
    std::optional<std::string> characters;
    bool isRepeat = false;
    std::uint64_t modifierFlags = 0;
    bool operator==(const KeyEvent&) const = default;
};

// The left and right buttons, and every other (middle, side buttons) as one.
enum class MouseButton { left, right, other };

// A mouse button going down, anywhere on the display.
struct MouseDown {
    MouseButton button = MouseButton::left;
    BottomLeftPoint position; // the pointer's (origin at the bottom left of the main screen, y upwards)
    // Made by a program rather than a pointing device (the X server's test device: on-screen
    // keyboards, dwell and voice clickers, automation).
    bool synthetic = false;
    bool operator==(const MouseDown&) const = default;
};

// What a monitor sees in this session: a capability, not an error. On X11 it sees every key and
// every click; on Wayland less, and `keySource` says where the keys come from.
struct InputCapabilities {
    enum class Keys { everyApplication, accessibleApplications, none };
    enum class Clicks { everyApplication, x11Applications, none };
    Keys keys = Keys::everyApplication;
    Clicks clicks = Clicks::everyApplication;
    std::string keySource = "the X server";
    bool operator==(const InputCapabilities&) const = default;
};

// Global mouse-down and key events across all applications. Handlers are called on the main
// thread, in the order the events happened.
class InputMonitor {
public:
    using Token = std::uint64_t;
    virtual ~InputMonitor() = default;
    // Mouse-downs of every button but the scroll wheel's, with the pointer position at that moment.
    // No value when the system refuses.
    virtual std::optional<Token> addMouseDownMonitor(std::function<void(const MouseDown&)> handler) = 0;
    // Key down, key up and modifier changes. No value when the system refuses the monitor.
    virtual std::optional<Token> addKeyMonitor(std::function<void(const KeyEvent&)> handler) = 0;
    virtual void removeMonitor(Token token) = 0;
    // What this session lets the monitor see. Any thread.
    virtual InputCapabilities capabilities() const { return {}; }
};

} // namespace tavrin
