#include <algorithm>
#include <cctype>

#include "platform/GlobalShortcut.h"

namespace tavrin {

namespace {

std::string lower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

std::string trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    const auto last = text.find_last_not_of(" \t");
    return std::string(text.substr(first, last - first + 1));
}

} // namespace

std::optional<KeyCombination> parseKeyCombination(std::string_view text) {
    KeyCombination combination;
    bool last = false;
    std::size_t start = 0;
    while (!last) {
        auto end = text.find('+', start);
        // "Ctrl++" names the plus key: a '+' that ends the text right after a separator is the key.
        const bool plusKey = end == start && end + 1 == text.size();
        last = plusKey || end == std::string_view::npos;
        const std::string part =
            plusKey ? "+" : trimmed(text.substr(start, last ? std::string_view::npos : end - start));
        start = end + 1;
        if (part.empty())
            return std::nullopt;
        const std::string name = lower(part);
        bool* modifier = nullptr;
        if (name == "ctrl" || name == "control")
            modifier = &combination.control;
        else if (name == "super" || name == "meta" || name == "logo" || name == "win")
            modifier = &combination.super;
        else if (name == "alt")
            modifier = &combination.alt;
        else if (name == "shift")
            modifier = &combination.shift;
        if (modifier) {
            if (*modifier || last)
                return std::nullopt; // twice, or a modifier alone
            *modifier = true;
            continue;
        }
        if (!last)
            return std::nullopt; // the key comes last
        combination.key = name == "+" ? "plus" : name;
    }
    return combination;
}

std::string keyCombinationText(const KeyCombination& combination) {
    std::string text;
    for (const auto& [on, name] : {std::pair{combination.control, "Ctrl"},
                                   {combination.super, "Super"},
                                   {combination.alt, "Alt"},
                                   {combination.shift, "Shift"}})
        if (on)
            text += std::string(name) + "+";
    std::string key = combination.key;
    if (!key.empty())
        key[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(key[0])));
    return text + key;
}

std::string portalTrigger(const KeyCombination& combination) {
    std::string text;
    for (const auto& [on, name] : {std::pair{combination.control, "CTRL"},
                                   {combination.super, "LOGO"},
                                   {combination.alt, "ALT"},
                                   {combination.shift, "SHIFT"}})
        if (on)
            text += std::string(name) + "+";
    return text + combination.key;
}

} // namespace tavrin
