#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "platform/GlobalShortcut.h"
#include "platform/UserDefaults.h"

namespace tavrin {

// The key combination that hands the keyboard to the cheat sheet, wherever the user works.
//
// Super+Alt+C by default: the desktops bind Super (and Super with Alt) for themselves, so
// applications leave them alone (no browser or office suite binds Super), and among the desktops'
// own defaults GNOME takes Super+Alt with S, 8, = and - and the arrows, KDE Plasma with K, L, S,
// P and the arrows, Cinnamon with S, = and -, Xfce with S. C stands for the cheat sheet.
inline const KeyCombination kDefaultCheatsheetShortcut{.super = true, .alt = true, .key = "c"};

// The preference (a persisted contract): the combination as text, "Super+Alt+C"; absent: the default.
inline constexpr const char* kCheatsheetShortcutKey = "CheatsheetShortcut";

// What works on every desktop, global shortcuts or not: the desktop's own keyboard settings run
// this command, which asks the running application for the cheat sheet.
inline constexpr const char* kFocusCommand = "tavrin shortcut focus";

// The menu entry that hands the keyboard to the cheat sheet, with its keys where they are bound:
// "Focus Cheat Sheet (Super+Alt+C)"; where the desktop binds none at all, how to get keys anyway.
// No binding (not answered yet) gives the bare title. The keys sit in the title, where every tray
// and screen reader shows them.
std::string focusCheatsheetEntry(const std::optional<GlobalShortcut::Binding>& binding);

// The line printed when the combination could not be bound: the problem, and what to do.
std::string unboundShortcutLine(const GlobalShortcut::Binding& binding);

// What `tavrin setup` says about the keys that bring the cheat sheet in this session.
std::string cheatsheetKeysAdvice(const KeyCombination& keys, bool wayland);

// The stored combination, else the default. A stored value that does not read as one gives the
// default, and `problem` says so.
KeyCombination cheatsheetShortcut(const UserDefaults& defaults, std::string* problem = nullptr);

// `tavrin shortcut [KEYS|default]`: prints the combination, or stores another one (a running
// application binds it at once). Status 2 with a line on `err` for keys that do not read as a
// combination.
int runShortcutCommand(UserDefaults& defaults, const std::optional<std::string>& keys, std::ostream& out,
                       std::ostream& err);

} // namespace tavrin
