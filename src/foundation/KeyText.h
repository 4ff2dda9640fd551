#pragma once

#include <optional>
#include <string>
#include <string_view>

// Shortcut texts as applications show them, turned into the catalogue's key text: "<Primary>s",
// "Ctrl+S" and "(Ctrl+S)" all give "control + s". Modifiers follow the Linux profile (Super and
// Meta are "command", Ctrl "control", Alt "option", Shift "shift"); the key is named as the key
// monitor names it, by the character at level 0 of a US keyboard ("<Primary>plus" is
// "control + shift + =") or by its X keysym name in lower case ("prior", "return", "f11").
namespace tavrin::KeyText {

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
