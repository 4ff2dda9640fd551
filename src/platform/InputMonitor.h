#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "foundation/Geometry.h"
#include "platform/ElementLookup.h"

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

// A click whose element the platform found itself, without a point: in a Wayland session, from
// what the application said right after the press (or, where no press can be seen, from that
// alone).
struct ClickedElement {
    AccessibleElementRef element;
    ElementFinding foundBy = ElementFinding::focus;
};

// What a monitor sees in this session: a capability, not an error. On X11 it sees every key and
// every click; on Wayland less, and `keySource` says where the keys come from.
struct InputCapabilities {
    enum class Keys { everyApplication, accessibleApplications, none };
    enum class Clicks { everyApplication, none };
    // The input devices (/dev/input), read in a Wayland session for every key and the moment of
    // each press where the user may read them: the `input` group, which lets every program of the
    // user read every key. `absent`: the machine has none to read.
    enum class Devices { notNeeded, read, unreadable, absent };
    Keys keys = Keys::everyApplication;
    Clicks clicks = Clicks::everyApplication;
    Devices devices = Devices::notNeeded;
    bool xwayland = false; // X11 applications under XWayland: their clicks by the point, as on X11
    std::string keySource = "the X server";
    bool operator==(const InputCapabilities&) const = default;
};

// The one command that lets the user's programs read the input devices (then a new login). Tavrin
// never runs it: it only says it.
inline constexpr const char* kEnableInputDevices = "sudo usermod -aG input $USER";

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
    // Clicks whose element the platform found itself. No value where it never does (X11: every
    // click has its point, and goes to the mouse-down monitor).
    virtual std::optional<Token> addClickedElementMonitor(std::function<void(const ClickedElement&)> handler) {
        (void)handler;
        return std::nullopt;
    }
    virtual void removeMonitor(Token token) = 0;
    // What this session lets the monitor see. Any thread.
    virtual InputCapabilities capabilities() const { return {}; }
};

} // namespace tavrin
