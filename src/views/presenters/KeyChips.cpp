#include "views/presenters/KeyChips.h"

#include <array>
#include <utility>

#include <unicode/ustring.h>

#include "foundation/Text.h"

namespace tavrin {

namespace {

using Entry = std::pair<std::string_view, std::string_view>;

constexpr std::array kImageTable{
    Entry{"command", "command"},       Entry{"capslock", "capslock"},     Entry{"esc", "escape"},
    Entry{"space", "space"},           Entry{"left", "arrow.left"},       Entry{"right", "arrow.right"},
    Entry{"up", "arrow.up"},           Entry{"down", "arrow.down"},       Entry{"up_arrow", "arrow.up"},
    Entry{"down_arrow", "arrow.down"}, Entry{"left_arrow", "arrow.left"}, Entry{"right_arrow", "arrow.right"},
};

constexpr std::array kTextTable{
    Entry{"control", "Ctrl"},    Entry{"option", "Opt"},   Entry{"tab", "Tab"},       Entry{"return", "Retn"},
    Entry{"delete", "Del"},      Entry{"shift", "Shft"},   Entry{"slash", "/"},       Entry{"backslash", "\\"},
    Entry{"plus", "+"},          Entry{"minus", "-"},      Entry{"equal", "="},       Entry{"period", "."},
    Entry{"comma", ","},         Entry{"semicolon", ";"},  Entry{"colon", ":"},       Entry{"open_bracket", "["},
    Entry{"close_bracket", "]"}, Entry{"brace_left", "{"}, Entry{"brace_right", "}"},
};

template <std::size_t N> std::string_view find(const std::array<Entry, N>& table, std::string_view key) {
    for (const auto& [name, value] : table)
        if (name == key)
            return value;
    return {};
}

} // namespace

std::string uppercased(std::string_view text) {
    const std::u16string source = toUtf16(text);
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = u_strToUpper(nullptr, 0, source.data(), static_cast<int32_t>(source.size()), "", &status);
    std::u16string out(static_cast<std::size_t>(length), u'\0');
    status = U_ZERO_ERROR;
    u_strToUpper(out.data(), length, source.data(), static_cast<int32_t>(source.size()), "", &status);
    return U_SUCCESS(status) ? toUtf8(out) : std::string(text);
}

KeyChip keyChip(std::string_view keyName, const PlatformProfile& profile) {
    const std::string key = lowercased(keyName);
    // The catalogue's canonical names stay macOS's; other keyboards print other words on these keys.
    if (profile.osNamespaceName != PlatformProfile::macOS().osNamespaceName) {
        if (key == "command")
            return {{}, profile.commandKeyLabel};
        if (key == "option")
            return {{}, profile.optionKeyLabel};
    }
    if (auto image = find(kImageTable, key); !image.empty())
        return {std::string(image), key};
    if (auto text = find(kTextTable, key); !text.empty())
        return {{}, std::string(text)};
    return {{}, uppercased(keyName)};
}

std::vector<KeyChip> keyChips(std::string_view shortcutKeys, const PlatformProfile& profile) {
    std::vector<KeyChip> chips;
    if (shortcutKeys.empty())
        return chips;
    constexpr std::string_view separator = " + ";
    std::size_t start = 0;
    while (true) {
        const std::size_t at = shortcutKeys.find(separator, start);
        chips.push_back(keyChip(shortcutKeys.substr(start, at == std::string_view::npos ? at : at - start), profile));
        if (at == std::string_view::npos)
            break;
        start = at + separator.size();
    }
    return chips;
}

} // namespace tavrin
