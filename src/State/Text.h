#pragma once

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

namespace tavrin {

// ASCII lower case: names, key texts and class names are compared this way throughout.
inline std::string lowercased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

// `text` without the characters of `set` at both ends (by default blanks, tabs and line breaks).
inline std::string trimmed(std::string_view text, std::string_view set = " \t\n\r\v\f") {
    const auto first = text.find_first_not_of(set);
    if (first == std::string_view::npos)
        return {};
    return std::string(text.substr(first, text.find_last_not_of(set) - first + 1));
}

} // namespace tavrin
