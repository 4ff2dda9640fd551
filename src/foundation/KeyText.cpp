#include "foundation/KeyText.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <vector>

#include "foundation/Text.h"

namespace tavrin::KeyText {

namespace {

std::optional<std::string_view> modifierName(std::string_view name) {
    static const std::map<std::string, std::string_view> names = {
        {"primary", "control"}, {"control", "control"}, {"ctrl", "control"},   {"ctl", "control"},
        {"strg", "control"},    {"alt", "option"},      {"mod1", "option"},    {"option", "option"},
        {"shift", "shift"},     {"super", "command"},   {"meta", "command"},   {"mod4", "command"},
        {"hyper", "command"},   {"cmd", "command"},     {"command", "command"}};
    const auto it = names.find(lowercased(name));
    if (it == names.end())
        return std::nullopt;
    return it->second;
}

// A key as the key monitor reports it: (its text, whether shift is needed to type the named
// character on a US keyboard).
struct Key {
    std::string text;
    bool shifted = false;
};

std::optional<Key> keyName(std::string_view raw) {
    static const std::map<std::string, Key> named = {
        // Characters typed with shift, by keysym name and by character.
        {"plus", {"=", true}},
        {"+", {"=", true}},
        {"underscore", {"-", true}},
        {"_", {"-", true}},
        {"question", {"/", true}},
        {"?", {"/", true}},
        {"bar", {"\\", true}},
        {"|", {"\\", true}},
        {"colon", {";", true}},
        {":", {";", true}},
        {"quotedbl", {"'", true}},
        {"\"", {"'", true}},
        {"braceleft", {"[", true}},
        {"{", {"[", true}},
        {"braceright", {"]", true}},
        {"}", {"]", true}},
        {"asciitilde", {"`", true}},
        {"~", {"`", true}},
        {"exclam", {"1", true}},
        {"!", {"1", true}},
        {"at", {"2", true}},
        {"@", {"2", true}},
        {"numbersign", {"3", true}},
        {"#", {"3", true}},
        {"dollar", {"4", true}},
        {"$", {"4", true}},
        {"percent", {"5", true}},
        {"%", {"5", true}},
        {"asciicircum", {"6", true}},
        {"^", {"6", true}},
        {"ampersand", {"7", true}},
        {"&", {"7", true}},
        {"asterisk", {"8", true}},
        {"*", {"8", true}},
        {"parenleft", {"9", true}},
        {"(", {"9", true}},
        {"parenright", {"0", true}},
        {")", {"0", true}},
        {"less", {",", true}},
        {"<", {",", true}},
        {"greater", {".", true}},
        {">", {".", true}},
        // Characters typed without.
        {"equal", {"="}},
        {"minus", {"-"}},
        {"comma", {","}},
        {"period", {"."}},
        {"slash", {"/"}},
        {"backslash", {"\\"}},
        {"semicolon", {";"}},
        {"apostrophe", {"'"}},
        {"bracketleft", {"["}},
        {"bracketright", {"]"}},
        {"grave", {"`"}},
        // Named keys by their X keysym names, and the names menus show for them.
        {"page_up", {"prior"}},
        {"pgup", {"prior"}},
        {"pageup", {"prior"}},
        {"page_down", {"next"}},
        {"pgdown", {"next"}},
        {"pgdn", {"next"}},
        {"pagedown", {"next"}},
        {"del", {"delete"}},
        {"esc", {"escape"}},
        {"ins", {"insert"}},
        {"enter", {"return"}},
        {"ret", {"return"}},
        {"bksp", {"backspace"}},
        {"back", {"backspace"}},
        {"kp_plus", {"kp_add"}},
        {"kp_minus", {"kp_subtract"}},
        {"arrowleft", {"left"}},
        {"arrowright", {"right"}},
        {"arrowup", {"up"}},
        {"arrowdown", {"down"}},
        {"space", {"space"}},
        {" ", {"space"}}};
    std::string lower = lowercased(trimmed(raw));
    if (lower.empty() && !raw.empty() && raw.find(' ') != std::string_view::npos)
        lower = " ";
    if (lower.empty())
        return std::nullopt;
    if (const auto it = named.find(lower); it != named.end())
        return it->second;
    if (lower.size() == 1) {
        const auto c = static_cast<unsigned char>(lower[0]);
        if (std::isalnum(c) || std::ispunct(c))
            return Key{lower};
        return std::nullopt;
    }
    // A keysym name: letters, digits and underscores ("f11", "return", "kp_add", "backspace").
    const bool name = std::all_of(lower.begin(), lower.end(),
                                  [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; });
    if (!name)
        return std::nullopt;
    return Key{lower};
}

bool setModifier(Modifiers& modifiers, std::string_view name) {
    const auto canonicalName = modifierName(name);
    if (!canonicalName)
        return false;
    modifiers[*modifierSlot(*canonicalName)] = true;
    return true;
}

bool isFunctionKey(std::string_view key) {
    return key.size() >= 2 && key.size() <= 3 && key[0] == 'f' &&
           std::all_of(key.begin() + 1, key.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); });
}

std::vector<std::string> pieces(std::string_view keys) {
    std::vector<std::string> out;
    std::size_t start = 0;
    for (std::size_t at; (at = keys.find(" + ", start)) != std::string_view::npos; start = at + 3)
        out.emplace_back(keys.substr(start, at - start));
    out.emplace_back(keys.substr(start));
    return out;
}

} // namespace

std::optional<std::size_t> modifierSlot(std::string_view name) {
    const auto it = std::find(kModifierOrder.begin(), kModifierOrder.end(), name);
    if (it == kModifierOrder.end())
        return std::nullopt;
    return static_cast<std::size_t>(it - kModifierOrder.begin());
}

std::string join(const Modifiers& modifiers, const std::vector<std::string>& others) {
    std::string out;
    const auto append = [&](std::string_view name) { out += (out.empty() ? "" : " + ") + std::string(name); };
    for (std::size_t i = 0; i < kModifierOrder.size(); ++i)
        if (modifiers[i])
            append(kModifierOrder[i]);
    for (const auto& other : others)
        append(other);
    return out;
}

std::optional<std::string> canonical(std::string_view input) {
    std::string text = trimmed(input);
    if (text.size() >= 2 && text.front() == '(' && text.back() == ')')
        text = trimmed(std::string_view(text).substr(1, text.size() - 2));
    if (text.empty())
        return std::nullopt;
    Modifiers modifiers{};
    std::string key;
    if (text.front() == '<') {
        // GTK accelerator: <Primary><Shift>s
        std::size_t at = 0;
        while (at < text.size() && text[at] == '<') {
            const auto end = text.find('>', at);
            if (end == std::string::npos)
                return std::nullopt;
            if (!setModifier(modifiers, std::string_view(text).substr(at + 1, end - at - 1)))
                return std::nullopt;
            at = end + 1;
        }
        key = text.substr(at);
    } else {
        // Menu text: Ctrl+Shift+S, Ctrl++, Shift+Ctrl+N
        std::vector<std::string> parts;
        std::string rest = text;
        if (rest.size() >= 2 && rest.compare(rest.size() - 2, 2, "++") == 0) {
            rest.resize(rest.size() - 2);
            key = "+";
        }
        std::size_t start = 0;
        for (std::size_t at; (at = rest.find('+', start)) != std::string::npos; start = at + 1)
            parts.push_back(rest.substr(start, at - start));
        parts.push_back(rest.substr(start));
        if (key.empty()) {
            key = parts.back();
            parts.pop_back();
        } else if (parts.size() == 1 && trimmed(parts[0]).empty()) {
            parts.clear(); // "++" alone
        }
        for (const auto& part : parts)
            if (!setModifier(modifiers, trimmed(part)))
                return std::nullopt;
    }
    const auto named = keyName(key);
    if (!named)
        return std::nullopt;
    if (named->shifted)
        modifiers[*modifierSlot("shift")] = true;
    return join(modifiers, {named->text});
}

bool isLearnable(std::string_view canonicalKeys) {
    const auto parts = pieces(canonicalKeys);
    const std::string& key = parts.back();
    bool command = false, control = false, option = false, shift = false;
    for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
        command |= parts[i] == "command";
        control |= parts[i] == "control";
        option |= parts[i] == "option";
        shift |= parts[i] == "shift";
    }
    const bool character = codePoints(key).size() == 1;
    if (isFunctionKey(key))
        return true;
    if (command || control)
        return true;
    if (option)
        return !character; // Alt with a character alone opens a menu by its mnemonic
    return shift && !character;
}

std::optional<std::string> fromKeyBinding(std::string_view binding) {
    if (const auto at = binding.rfind(';'); at != std::string_view::npos)
        binding = binding.substr(at + 1);
    const auto keys = canonical(binding);
    if (!keys || !isLearnable(*keys))
        return std::nullopt;
    return keys;
}

std::optional<NamedShortcut> splitName(std::string_view input) {
    const std::string name = trimmed(input);
    auto accept = [](std::string_view rest, std::string_view shortcut) -> std::optional<NamedShortcut> {
        const std::string left = trimmed(rest);
        const auto keys = canonical(shortcut);
        if (left.empty() || !keys || !isLearnable(*keys))
            return std::nullopt;
        return NamedShortcut{left, *keys};
    };
    // "Open a new tab (Ctrl+T)"
    if (!name.empty() && name.back() == ')')
        if (const auto open = name.rfind('('); open != std::string::npos && open > 0)
            if (auto found = accept(name.substr(0, open), name.substr(open)))
                return found;
    // "New tab Ctrl+T": the last word, when it is written as a shortcut.
    const auto blank = name.rfind(' ');
    if (blank == std::string::npos)
        return std::nullopt;
    const std::string last = name.substr(blank + 1);
    const bool looksLikeKeys =
        last.find('+') != std::string::npos ||
        (last.size() >= 2 && last.size() <= 3 && last[0] == 'F' && std::isdigit(static_cast<unsigned char>(last[1])));
    if (!looksLikeKeys)
        return std::nullopt;
    return accept(name.substr(0, blank), last);
}

} // namespace tavrin::KeyText
