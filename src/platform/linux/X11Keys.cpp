#include "platform/linux/X11Keys.h"

#include <X11/Xlib.h>
#include <X11/keysym.h>
#include <xkbcommon/xkbcommon.h>

#include "foundation/Text.h"

namespace tavrin {

std::uint64_t modifierFlag(KeySym sym) {
    switch (sym) {
    case XK_Super_L:
    case XK_Super_R:
    case XK_Meta_L:
    case XK_Meta_R:
        return ModifierFlags::command;
    case XK_Control_L:
    case XK_Control_R:
        return ModifierFlags::control;
    case XK_Alt_L:
    case XK_Alt_R:
    case XK_ISO_Level3_Shift:
        return ModifierFlags::option;
    case XK_Shift_L:
    case XK_Shift_R:
        return ModifierFlags::shift;
    default:
        return 0;
    }
}

std::optional<std::string> keyText(KeySym sym) {
    if (sym == NoSymbol)
        return std::nullopt;
    if (sym == XK_space) // a catalogue row holds no blank key
        return std::string("space");
    // A key that types a character gives that character ("c", "é", "ж"); the keypad, function and
    // editing keys (0xff00 to 0xffff), and dead keys, give their keysym names ("kp_add", "return").
    if (sym < 0xff00 || sym > 0xffff) {
        char utf8[8] = {};
        const int size = xkb_keysym_to_utf8(static_cast<xkb_keysym_t>(sym), utf8, sizeof utf8);
        if (size > 1 && static_cast<unsigned char>(utf8[0]) >= 0x20 && utf8[0] != 0x7f)
            return lowercased(std::string(utf8, static_cast<std::size_t>(size - 1)));
    }
    const char* name = XKeysymToString(sym);
    if (!name)
        return std::nullopt;
    return lowercased(name);
}

std::uint64_t modifierFlags(unsigned state, const ModifierMasks& masks) {
    std::uint64_t flags = 0;
    if (state & masks.command)
        flags |= ModifierFlags::command;
    if (state & masks.control)
        flags |= ModifierFlags::control;
    if (state & masks.option)
        flags |= ModifierFlags::option;
    if (state & masks.shift)
        flags |= ModifierFlags::shift;
    return flags;
}

std::vector<KeyEvent> KeyEventTranslator::keyboardModifiers(std::uint64_t flags) {
    followsKeyboard_ = true;
    if (flags == flags_)
        return {};
    flags_ = flags;
    return {KeyEvent{KeyEvent::Type::flagsChanged, std::nullopt, false, flags}};
}

std::vector<KeyEvent> KeyEventTranslator::key(bool press, int keycode, KeySym sym) {
    if (const auto flag = modifierFlag(sym)) {
        if (followsKeyboard_)
            return {};
        const bool wasHeld = heldModifiers_.erase({keycode, flag}) > 0;
        if (press)
            heldModifiers_.insert({keycode, flag});
        else if (!wasHeld)
            return {}; // a second release of the same key
        flags_ = 0;
        for (const auto& [code, held] : heldModifiers_)
            flags_ |= held;
        return {KeyEvent{KeyEvent::Type::flagsChanged, std::nullopt, false, flags_}};
    }
    KeyEvent event;
    event.characters = keyText(sym);
    event.modifierFlags = flags_;
    if (press) {
        event.type = KeyEvent::Type::keyDown;
        event.isRepeat = !heldKeys_.insert(keycode).second;
    } else {
        event.type = KeyEvent::Type::keyUp;
        heldKeys_.erase(keycode);
    }
    return {event};
}

} // namespace tavrin
