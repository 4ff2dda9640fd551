#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <X11/X.h>

#include "platform/InputMonitor.h"

namespace tavrin {

// The catalogue's modifier for a modifier key's symbol (Super is "command", Alt and AltGr are
// "option"), or 0 for any other key.
std::uint64_t modifierFlag(KeySym sym);

// The key's text ignoring modifiers: the level-0 symbol's character, or its name lower-cased for
// keys without one ("return", "f5", "left"). None for NoSymbol.
std::optional<std::string> keyText(KeySym sym);

// Which of the eight X modifier bits stand for each catalogue modifier in the current keymap.
struct ModifierMasks {
    unsigned command = 0;
    unsigned control = 0;
    unsigned option = 0;
    unsigned shift = 0;
};

// The catalogue's flags for an X modifier state.
std::uint64_t modifierFlags(unsigned state, const ModifierMasks& masks);

// Turns what the X server reports into the key monitor's events. With XKB the modifier flags are
// the keyboard's own state, from its state events, which arrive in order with the key events: a
// modifier held before the start counts, and one whose release the key events never showed (a VT
// switch, a grab) is gone as soon as the keyboard says so, instead of turning every later key
// into a combination. Without XKB they are counted from the modifier keys' presses and releases.
// Repeats are presses of a key already held.
class KeyEventTranslator {
public:
    // The keyboard's modifiers as XKB holds them now (read at the start, then from each state
    // event). A modifier change when they differ from the last reported; nothing otherwise.
    std::vector<KeyEvent> keyboardModifiers(std::uint64_t flags);
    // A raw press or release. Following XKB, modifier keys give nothing here (the state does);
    // without it, their change, except for a release that changes nothing (some setups send
    // them twice).
    std::vector<KeyEvent> key(bool press, int keycode, KeySym sym);

private:
    bool followsKeyboard_ = false;
    std::set<int> heldKeys_;
    std::set<std::pair<int, std::uint64_t>> heldModifiers_; // keycode, flag; without XKB
    std::uint64_t flags_ = 0;                               // the modifiers last reported
};

} // namespace tavrin
