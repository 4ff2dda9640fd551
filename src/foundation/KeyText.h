#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Shortcut texts as applications show them, turned into the catalogue's key text: "<Primary>s",
// "Ctrl+S" and "(Ctrl+S)" all give "control + s". Modifiers follow the Linux profile (Super and
// Meta are "command", Ctrl "control", Alt "option", Shift "shift"); the key is named as the key
// monitor names it, by the character at level 0 of a US keyboard ("<Primary>plus" is
// "control + shift + =") or by its X keysym name in lower case ("prior", "return", "f11").
namespace tavrin::KeyText {

// The canonical key text's one rule: lower-case key names joined by " + ", the modifiers first and
// in this order, each once, then the other keys as they came.
inline constexpr std::array<std::string_view, 4> kModifierOrder = {"command", "control", "option", "shift"};
// Which modifiers a key text has, by their place in kModifierOrder.
using Modifiers = std::array<bool, 4>;
// The place of a modifier name in kModifierOrder (compared exactly); no value for another name.
std::optional<std::size_t> modifierSlot(std::string_view name);
// The key text of these modifiers and other keys, by the rule above; empty when both are.
std::string join(const Modifiers& modifiers, const std::vector<std::string>& others);

// The canonical key text of a GTK accelerator ("<Primary><Shift>z"), a Qt or menu text
// ("Ctrl+Shift+Z", "Shift+Ctrl+N", "Ctrl++", "Alt+F4") or either in parentheses. No value for a
// text that is no shortcut: an unknown modifier, no key, a key name with other characters.
std::optional<std::string> canonical(std::string_view text);

// Whether a canonical key text is a shortcut worth teaching: one with command, control or option
// (but not option with a character alone, which is a menu mnemonic), a function key, or shift
// with a named key ("shift + delete").
bool isLearnable(std::string_view canonicalKeys);

// The accelerator in an accessibility key binding: GTK gives "mnemonic;mnemonic path;accelerator"
// ("s;<Alt>f:s;<Primary>s"), Qt the shortcut itself. No value when it holds no learnable one
// (GTK buttons and Qt items without a shortcut give their mnemonic, "<Alt>s", "Alt+R").
std::optional<std::string> fromKeyBinding(std::string_view binding);

// A name that carries its shortcut at the end: "Open a new tab (Ctrl+T)", "New tab Ctrl+T",
// "Delete browsing data… Ctrl+Shift+Del". The name without it, and the learnable keys.
struct NamedShortcut {
    std::string name;
    std::string keys;
    bool operator==(const NamedShortcut&) const = default;
};
std::optional<NamedShortcut> splitName(std::string_view name);

} // namespace tavrin::KeyText
