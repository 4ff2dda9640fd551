#include <gtest/gtest.h>

#include <X11/keysym.h>

#include "platform/linux/X11Keys.h"

namespace tavrin {

void PrintTo(const KeyEvent& e, std::ostream* out) {
    *out << "{type " << static_cast<int>(e.type) << ", " << e.characters.value_or("-") << ", repeat " << e.isRepeat
         << ", flags 0x" << std::hex << e.modifierFlags << "}";
}

namespace {

constexpr int kSuper = 133, kShiftL = 50, kShiftR = 62, kC = 54, kT = 28;
constexpr std::uint64_t command = ModifierFlags::command, shift = ModifierFlags::shift;

KeyEvent flagsChanged(std::uint64_t flags) {
    return {KeyEvent::Type::flagsChanged, std::nullopt, false, flags};
}
KeyEvent down(const char* key, std::uint64_t flags, bool repeat = false) {
    return {KeyEvent::Type::keyDown, key, repeat, flags};
}
KeyEvent up(const char* key, std::uint64_t flags) {
    return {KeyEvent::Type::keyUp, key, false, flags};
}

using Events = std::vector<KeyEvent>;

TEST(X11KeysTest, ModifierBitsOfTheKeymapGiveTheCatalogueFlags) {
    const ModifierMasks masks{
        .command = Mod4Mask, .control = ControlMask, .option = Mod1Mask | Mod5Mask, .shift = ShiftMask};
    EXPECT_EQ(modifierFlags(Mod4Mask | ShiftMask, masks), command | shift);
    EXPECT_EQ(modifierFlags(Mod5Mask, masks), ModifierFlags::option) << "AltGr is option";
    EXPECT_EQ(modifierFlags(LockMask | Mod2Mask, masks), 0u) << "Caps Lock and Num Lock are no modifiers here";
    EXPECT_EQ(modifierFlag(XK_Super_L), command);
    EXPECT_EQ(keyText(XK_C), "c");
    EXPECT_EQ(keyText(XK_Return), "return");
    EXPECT_EQ(keyText(XK_space), "space") << "as the catalogue writes it: a blank would never match";
    EXPECT_EQ(keyText(XK_eacute), "\u00e9");
    EXPECT_EQ(keyText(XK_Cyrillic_ve), "\u0432") << "beyond Latin-1, the character too";
    EXPECT_EQ(keyText(XK_KP_Add), "kp_add") << "the keypad by its name, not its character";
}

TEST(X11KeysTest, ALostReleaseLeavesNoModifierBehind) {
    KeyEventTranslator keys;
    EXPECT_EQ(keys.keyboardModifiers(0), Events{}) << "nothing held at the start";
    EXPECT_EQ(keys.key(true, kSuper, XK_Super_L), Events{}) << "the keyboard's state tells the change";
    EXPECT_EQ(keys.keyboardModifiers(command), (Events{flagsChanged(command)}));
    EXPECT_EQ(keys.key(true, kC, XK_c), (Events{down("c", command)}));
    EXPECT_EQ(keys.key(false, kC, XK_c), (Events{up("c", command)}));
    // The key events never show Super's release (a VT switch, a grab); the keyboard does.
    EXPECT_EQ(keys.keyboardModifiers(0), (Events{flagsChanged(0)}));
    EXPECT_EQ(keys.key(true, kT, XK_t), (Events{down("t", 0)})) << "no combination";
    EXPECT_EQ(keys.keyboardModifiers(0), Events{}) << "a change of other modifiers (Caps Lock) says nothing";
}

TEST(X11KeysTest, AModifierHeldBeforeTheStartCounts) {
    KeyEventTranslator keys;
    EXPECT_EQ(keys.keyboardModifiers(command | shift), (Events{flagsChanged(command | shift)}));
    EXPECT_EQ(keys.key(true, kC, XK_c), (Events{down("c", command | shift)}));
    EXPECT_EQ(keys.key(true, kC, XK_c), (Events{down("c", command | shift, true)})) << "a repeat";
    EXPECT_EQ(keys.key(false, kShiftL, XK_Shift_L), Events{});
    EXPECT_EQ(keys.keyboardModifiers(command), (Events{flagsChanged(command)}));
}

TEST(X11KeysTest, WithoutXkbTheFlagsComeFromPressesAndReleases) {
    KeyEventTranslator keys;
    EXPECT_EQ(keys.key(true, kSuper, XK_Super_L), (Events{flagsChanged(command)}));
    EXPECT_EQ(keys.key(true, kShiftL, XK_Shift_L), (Events{flagsChanged(command | shift)}));
    EXPECT_EQ(keys.key(true, kShiftR, XK_Shift_R), (Events{flagsChanged(command | shift)}));
    EXPECT_EQ(keys.key(false, kShiftL, XK_Shift_L), (Events{flagsChanged(command | shift)}))
        << "the other Shift still holds";
    EXPECT_EQ(keys.key(true, kC, XK_c), (Events{down("c", command | shift)}));
    EXPECT_EQ(keys.key(false, kShiftR, XK_Shift_R), (Events{flagsChanged(command)}));
    EXPECT_EQ(keys.key(false, kSuper, XK_Super_L), (Events{flagsChanged(0)}));
    EXPECT_EQ(keys.key(false, kSuper, XK_Super_L), Events{}) << "the same release again";
    EXPECT_EQ(keys.key(false, kC, XK_c), (Events{up("c", 0)}));
}

} // namespace
} // namespace tavrin
