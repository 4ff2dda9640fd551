#include "app/CheatsheetShortcut.h"

#include <ostream>

namespace tavrin {

std::string focusCheatsheetEntry(const std::string& keys) {
    return keys.empty() ? "Focus Cheat Sheet" : "Focus Cheat Sheet (" + keys + ")";
}

std::string unboundShortcutLine(const GlobalShortcut::Binding& binding) {
    return "The cheat sheet has no shortcut: " + binding.problem + "." +
           (binding.otherKeysMayWork ? " Choose others with `tavrin shortcut KEYS`." : "");
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
