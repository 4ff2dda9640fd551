#include "app/CheatsheetShortcut.h"

#include <ostream>

namespace tavrin {

std::string focusCheatsheetEntry(const std::optional<GlobalShortcut::Binding>& binding) {
    if (binding && binding->bound)
        return "Focus Cheat Sheet (" + binding->trigger + ")";
    if (binding && !binding->otherKeysMayWork)
        return std::string("Focus Cheat Sheet (for keys, bind \"") + kFocusCommand + "\" in your keyboard settings)";
    return "Focus Cheat Sheet";
}

std::string unboundShortcutLine(const GlobalShortcut::Binding& binding) {
    return "The cheat sheet has no shortcut: " + binding.problem + "." +
           (binding.otherKeysMayWork ? " Choose others with `tavrin shortcut KEYS`."
                                     : std::string(" Bind `") + kFocusCommand +
                                           "` to keys in your desktop's keyboard settings instead: it does the same.");
}

std::string cheatsheetKeysAdvice(const KeyCombination& keys, bool wayland) {
    const std::string combination = keyCombinationText(keys);
    if (!wayland)
        return combination + " hands the keyboard to the cheat sheet (`tavrin shortcut KEYS` changes it).";
    return combination +
           " hands the keyboard to the cheat sheet where the desktop offers global shortcuts through "
           "its portal (KDE Plasma, which may ask you to confirm them). GNOME and sway offer none: "
           "there bind `" +
           std::string(kFocusCommand) + "` to keys in the desktop's keyboard settings, which works on any desktop.";
}

KeyCombination cheatsheetShortcut(const UserDefaults& defaults, std::string* problem) {
    const auto stored = defaults.object(kCheatsheetShortcutKey);
    if (!stored)
        return kDefaultCheatsheetShortcut;
    if (stored->is_string())
        if (auto combination = parseKeyCombination(stored->get<std::string>()))
            return *combination;
    if (problem)
        *problem = "The cheat sheet's shortcut " + stored->dump() + " in the preferences is not a key combination; " +
                   keyCombinationText(kDefaultCheatsheetShortcut) + " stands in for it.";
    return kDefaultCheatsheetShortcut;
}

int runShortcutCommand(UserDefaults& defaults, const std::optional<std::string>& keys, std::ostream& out,
                       std::ostream& err) {
    if (!keys) {
        std::string problem;
        const KeyCombination combination = cheatsheetShortcut(defaults, &problem);
        if (!problem.empty())
            err << "tavrin: " << problem << '\n';
        out << "The cheat sheet takes the keyboard with " << keyCombinationText(combination)
            << (combination == kDefaultCheatsheetShortcut ? " (the default)" : "") << ".\n";
        return 0;
    }
    if (*keys == "default") {
        defaults.setObject(std::nullopt, kCheatsheetShortcutKey);
        out << "The cheat sheet takes the keyboard with " << keyCombinationText(kDefaultCheatsheetShortcut)
            << " again (the default).\n";
        return 0;
    }
    const auto combination = parseKeyCombination(*keys);
    if (!combination) {
        err << "tavrin: not a key combination: " << *keys
            << " (modifiers Ctrl, Super, Alt, Shift and one key, joined by +: Super+Alt+C)\n";
        return 2;
    }
    if (!combination->control && !combination->super && !combination->alt) {
        err << "tavrin: " << keyCombinationText(*combination)
            << " would take a key from every application: add Ctrl, Super or Alt\n";
        return 2;
    }
    defaults.setObject(nlohmann::json(keyCombinationText(*combination)), kCheatsheetShortcutKey);
    out << "The cheat sheet takes the keyboard with " << keyCombinationText(*combination)
        << " (a running Tavrin follows at once).\n";
    return 0;
}

} // namespace tavrin
