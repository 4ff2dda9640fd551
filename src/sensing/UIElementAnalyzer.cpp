#include "sensing/UIElementAnalyzer.h"
#include "foundation/Text.h"

#include <algorithm>
#include <array>
#include <memory>

#include <unicode/ubrk.h>
#include <unicode/ustring.h>

namespace tavrin {

namespace {

constexpr std::array<std::string_view, 7> kAttributes = {
    "AXTitle", "AXDescription", "AXRoleDescription", "AXValue", "AXHelp", "AXIdentifier", "AXRole",
};
constexpr std::array<std::string_view, 4> kProperValueAttributes = {"AXTitle", "AXDescription", "AXValue", "AXHelp"};
constexpr std::array<std::string_view, 9> kGenericValues = {
    "button", "group", "HTML content", "text", "link", "article", "AXGroup", "AXLink", "navigation",
};

// Roles of elements that do something when clicked, as AT-SPI and the original platform name them.
constexpr std::array<std::string_view, 20> kActionRoles = {
    "push button",          "toggle button",   "radio button", "check box",        "menu item",    "check menu item",
    "radio menu item",      "page tab",        "link",         "push button menu", "AXButton",     "AXMenuItem",
    "AXCheckBox",           "AXRadioButton",   "AXLink",       "AXPopUpButton",    "AXMenuButton", "AXTab",
    "AXDisclosureTriangle", "AXToolbarButton",
};
// Roles of the parts of a control (its caption, its icon), which stand for the control around them.
constexpr std::array<std::string_view, 7> kPartRoles = {"label",        "static",  "image",  "icon",
                                                        "AXStaticText", "AXImage", "AXGroup"};
// Roles of the original platform that are no action. Other names starting "AX" are not known.
constexpr std::array<std::string_view, 12> kPlatformNonActionRoles = {
    "AXMenuBar",    "AXMenuBarItem", "AXMenu",    "AXTextArea", "AXTextField", "AXScrollBar",
    "AXScrollArea", "AXWindow",      "AXToolbar", "AXWebArea",  "AXSplitter",  "AXValueIndicator",
};

template <std::size_t N> bool among(const std::array<std::string_view, N>& list, std::string_view value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

std::optional<std::string> roleOf(const AccessibleElement& element) {
    const auto value = element.attribute("AXRole");
    if (!value || !value->text || value->text->empty())
        return std::nullopt;
    return *value->text;
}

// The length in bytes of the newline at `at`, if one starts there: LF, VT, FF, CR, NEL, LS, PS.
std::size_t newlineAt(std::string_view text, std::size_t at) {
    const auto c = static_cast<unsigned char>(text[at]);
    if (c >= 0x0A && c <= 0x0D)
        return 1;
    if (c == 0xC2 && at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) == 0x85)
        return 2;
    if (c == 0xE2 && at + 2 < text.size() && static_cast<unsigned char>(text[at + 1]) == 0x80 &&
        (static_cast<unsigned char>(text[at + 2]) == 0xA8 || static_cast<unsigned char>(text[at + 2]) == 0xA9))
        return 3;
    return 0;
}

// The length in bytes of the newline that ends at `end`, if one does.
std::size_t newlineBefore(std::string_view text, std::size_t end) {
    for (std::size_t length : {1u, 2u, 3u})
        if (end >= length && newlineAt(text, end - length) == length)
            return length;
    return 0;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return lowercased(a) == lowercased(b);
}

void collectAttributes(const AccessibleElement& element, const std::string& path, std::int64_t depth,
                       std::vector<UIElementAnalyzer::Record>& out) {
    for (const auto name : kAttributes) {
        const auto value = element.attribute(name);
        if (!value || !value->text || value->text->empty())
            continue;
        out.emplace_back(depth, path, std::string(name), UIElementAnalyzer::cleanValue(*value->text));
    }
}

} // namespace

std::string UIElementAnalyzer::cleanValue(std::string_view text) {
    std::size_t begin = 0, end = text.size();
    while (begin < end) {
        const std::size_t n = newlineAt(text, begin);
        if (!n)
            break;
        begin += n;
    }
    while (end > begin) {
        const std::size_t n = newlineBefore(text, end);
        if (!n)
            break;
        end -= n;
    }
    const std::string_view trimmed = text.substr(begin, end - begin);
    if (trimmed.size() <= maxValueLength) // fewer bytes than the limit: fewer characters too
        return std::string(trimmed);

    // Count grapheme clusters on the UTF-16 form and cut after the hundredth.
    UErrorCode status = U_ZERO_ERROR;
    int32_t length16 = 0;
    // Invalid bytes become U+FFFD, one character each.
    u_strFromUTF8WithSub(nullptr, 0, &length16, trimmed.data(), static_cast<int32_t>(trimmed.size()), 0xFFFD, nullptr,
                         &status);
    status = U_ZERO_ERROR;
    std::u16string utf16(static_cast<std::size_t>(length16), u'\0');
    u_strFromUTF8WithSub(utf16.data(), length16, nullptr, trimmed.data(), static_cast<int32_t>(trimmed.size()), 0xFFFD,
                         nullptr, &status);
    if (U_FAILURE(status))
        return std::string(trimmed);
    std::unique_ptr<UBreakIterator, decltype(&ubrk_close)> breaks(
        ubrk_open(UBRK_CHARACTER, "", utf16.data(), length16, &status), &ubrk_close);
    if (U_FAILURE(status))
        return std::string(trimmed);
    int32_t boundary = ubrk_first(breaks.get());
    for (std::size_t count = 0; count < maxValueLength && boundary != UBRK_DONE; ++count)
        boundary = ubrk_next(breaks.get());
    if (boundary == UBRK_DONE || boundary >= length16)
        return std::string(trimmed); // at most 100 characters: kept as it is

    status = U_ZERO_ERROR;
    int32_t length8 = 0;
    u_strToUTF8(nullptr, 0, &length8, utf16.data(), boundary, &status);
    status = U_ZERO_ERROR;
    std::string cut(static_cast<std::size_t>(length8), '\0');
    u_strToUTF8(cut.data(), length8, nullptr, utf16.data(), boundary, &status);
    return cut + "...";
}

std::vector<UIElementAnalyzer::Record>
UIElementAnalyzer::collectElementInfo(const AccessibleElementRef& element, std::int64_t depth, std::int64_t maxDepth,
                                      const std::string& path, const std::optional<AccessibleElementRef>& previous) {
    std::vector<Record> records;
    if (!element)
        return records;
    collectAttributes(*element, path, depth, records);
    if (depth >= maxDepth)
        return records;

    if (const auto child = element->firstChild(); child && *child) {
        const std::string childPath = path + " > Child[0]";
        collectAttributes(**child, childPath, depth + 1, records);
        auto below = collectElementInfo(*child, depth + 1, maxDepth, childPath, element);
        records.insert(records.end(), std::make_move_iterator(below.begin()), std::make_move_iterator(below.end()));
    }

    const auto parent = element->parent();
    if (!parent || !*parent || *parent == element || (previous && *parent == *previous))
        return records;
    const std::string parentPath = path + " > Parent";
    collectAttributes(**parent, parentPath, depth + 1, records);
    auto above = collectElementInfo(*parent, depth + 1, maxDepth, parentPath, element);
    records.insert(records.end(), std::make_move_iterator(above.begin()), std::make_move_iterator(above.end()));
    return records;
}

std::optional<UIElementAnalyzer::Record> UIElementAnalyzer::findProperValue(const std::vector<Record>& records) {
    std::vector<Record> sorted = records;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Record& a, const Record& b) {
        if (std::get<0>(a) != std::get<0>(b))
            return std::get<0>(a) < std::get<0>(b);
        return std::get<1>(a) < std::get<1>(b);
    });
    for (const auto& record : sorted) {
        const auto& attribute = std::get<2>(record);
        if (std::find(kProperValueAttributes.begin(), kProperValueAttributes.end(), attribute) ==
            kProperValueAttributes.end())
            continue;
        const auto& value = std::get<3>(record);
        const bool generic = std::any_of(kGenericValues.begin(), kGenericValues.end(),
                                         [&](std::string_view g) { return equalsIgnoringCase(value, g); });
        if (!generic)
            return record;
    }
    return std::nullopt;
}

} // namespace tavrin

namespace tavrin {

UIElementAnalyzer::ClickTarget UIElementAnalyzer::clickTarget(const AccessibleElementRef& element) {
    using Kind = ClickTarget::Kind;
    if (!element)
        return {Kind::notAction};
    const auto role = roleOf(*element);
    if (!role)
        return {Kind::notKnown};
    // An action, unless its place says otherwise: an item of a menu bar is the title of a menu (as
    // Qt shows menu titles), a button on a tab closes the tab.
    auto action = [](const AccessibleElementRef& candidate, const std::string& candidateRole, int levelsUp) {
        const auto parent = candidate->parent();
        const auto parentRole = parent && *parent ? roleOf(**parent) : std::nullopt;
        if (parentRole) {
            const bool menuTitle = (candidateRole == "menu item" && *parentRole == "menu bar") ||
                                   (candidateRole == "AXMenuItem" && *parentRole == "AXMenuBar");
            const bool tabCloser = (candidateRole == "push button" && *parentRole == "page tab");
            if (menuTitle || tabCloser)
                return ClickTarget{Kind::notAction};
        }
        return ClickTarget{Kind::action, levelsUp};
    };
    if (among(kActionRoles, *role))
        return action(element, *role, 0);
    if (among(kPartRoles, *role)) {
        AccessibleElementRef current = element;
        for (int up = 1; up <= 2; ++up) {
            const auto parent = current->parent();
            if (!parent || !*parent || *parent == current)
                break;
            current = *parent;
            const auto parentRole = roleOf(*current);
            if (!parentRole)
                return {Kind::notKnown};
            if (among(kActionRoles, *parentRole))
                return action(current, *parentRole, up);
            if (!among(kPartRoles, *parentRole))
                break;
        }
        return {Kind::notAction};
    }
    if (role->starts_with("AX") && !among(kPlatformNonActionRoles, *role))
        return {Kind::notKnown};
    return {Kind::notAction};
}

std::optional<UIElementAnalyzer::Record> UIElementAnalyzer::properValueOfClick(const AccessibleElementRef& element,
                                                                               const ClickTarget& target) {
    if (target.kind == ClickTarget::Kind::notAction)
        return std::nullopt;
    auto records = collectElementInfo(element, 0, maxDepth, "Root", std::nullopt);
    if (target.kind == ClickTarget::Kind::action) {
        // Inside the action: at most `levelsUp` parent steps, all of them before any child step.
        std::erase_if(records, [&](const Record& record) {
            const std::string& path = std::get<1>(record);
            int parents = 0;
            bool child = false;
            for (std::size_t at = path.find(" > "); at != std::string::npos; at = path.find(" > ", at + 3)) {
                if (path.compare(at + 3, 6, "Parent") == 0) {
                    if (child)
                        return true;
                    ++parents;
                } else {
                    child = true;
                }
            }
            return parents > target.levelsUp;
        });
    }
    return findProperValue(records);
}

} // namespace tavrin
