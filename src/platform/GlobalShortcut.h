#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

// A key combination as a person writes it: modifiers and one key ("Super+Alt+C").
struct KeyCombination {
    bool control = false;
    bool super = false;
    bool alt = false;
    bool shift = false;
    // The key by its name on the keyboard, lower case for a letter: "c", "f5", "space", "slash".
    std::string key;
    bool operator==(const KeyCombination&) const = default;
};

// Reads "Super+Alt+C", "ctrl + shift + F5", "Meta+Alt+c": modifiers Ctrl (Control), Super (Meta,
// Logo, Win), Alt and Shift in any order and case, then one key that is not a modifier, joined by
// "+". No value for anything else: no key, two keys, a modifier twice, an empty part.
std::optional<KeyCombination> parseKeyCombination(std::string_view text);
// As people read it, modifiers first in the order Ctrl, Super, Alt, Shift: "Super+Alt+C", "Ctrl+F5".
std::string keyCombinationText(const KeyCombination& combination);
// The trigger text of the desktop portal's shortcuts: "LOGO+ALT+c".
std::string portalTrigger(const KeyCombination& combination);

// A shortcut the desktop hands to the application wherever the keyboard focus is, for the
// application's own use (it never sees the user's other keys). Main thread.
class GlobalShortcut {
public:
    struct Activation {
        // The window system's time of the key press (an X11 server time), 0 when unknown.
        std::uint32_t timestamp = 0;
        // What a desktop portal hands over for activating a window (Wayland's activation token).
        std::string activationToken;
    };
    struct Binding {
        bool bound = false;
        // The combination as the desktop shows it (it may differ from the one asked for: portals
        // let the user choose); empty when not bound.
        std::string trigger;
        // Why the combination is not bound: "Super+Alt+C is taken by another application".
        std::string problem;
        // False where no combination can be bound (the desktop offers no global shortcuts).
        bool otherKeysMayWork = true;
    };

    virtual ~GlobalShortcut() = default;
    // Binds `combination` in place of any earlier binding. `done` is called on the main thread with
    // the outcome, and again whenever the desktop changes the binding later (the user chose other
    // keys in the desktop's settings); `activated` each time the user presses the shortcut, for as
    // long as it is bound.
    virtual void bind(const KeyCombination& combination, std::function<void(const Binding&)> done,
                      std::function<void(const Activation&)> activated) = 0;
    // Gives the combination back to the desktop. Idempotent.
    virtual void unbind() = 0;
};

} // namespace tavrin
