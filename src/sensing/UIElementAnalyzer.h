#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "platform/AccessibleElement.h"

namespace tavrin {

// Picks the one string that says what was clicked (the proper value) from the clicked element
// and its close neighbours: its first child and its parent, two levels out. The value is only a
// key into the catalogue's mapping table; it is never stored or sent.
class UIElementAnalyzer {
public:
    // (depth, path, attribute, value): depth 0 is the clicked element; the path reads like
    // "Root > Parent > Child[0]".
    using Record = std::tuple<std::int64_t, std::string, std::string, std::string>;

    static constexpr std::int64_t maxDepth = 2;
    static constexpr std::size_t maxValueLength = 100; // user-perceived characters

    // The walk. The pipeline calls it with (clicked, 0, maxDepth, "Root", no previous). Blocks on
    // the other application; call it off the main thread.
    static std::vector<Record> collectElementInfo(const AccessibleElementRef& element, std::int64_t depth,
                                                  std::int64_t maxDepth, const std::string& path,
                                                  const std::optional<AccessibleElementRef>& previous);

    // The first record, nearest first, of a title, description, value or help text that is not a
    // generic word ("button", "group", ...).
    static std::optional<Record> findProperValue(const std::vector<Record>& records);

    // Trims newlines at both ends and cuts after maxValueLength grapheme clusters, adding "...".
    static std::string cleanValue(std::string_view text);

    // What a click on the element stands for, told by its role and place rather than its name:
    // an action (a button, a menu item, a tab, a link; or a label or an image inside one, up to
    // two levels), no action (a menu title or a menu that opens a submenu, text, a scroll bar, an
    // empty spot of a bar or a window, a tab's close button), or, for an element that names no
    // role the analysis knows, not known (the walk alone decides, as it always did).
    struct ClickTarget {
        enum class Kind { action, notAction, notKnown };
        Kind kind = Kind::notKnown;
        int levelsUp = 0; // for an action: how far above the clicked element it is
        bool operator==(const ClickTarget&) const = default;
    };
    // Reads the role of the element and of up to two ancestors. Blocks on the other application.
    static ClickTarget clickTarget(const AccessibleElementRef& element);

    // The proper value of a click: nothing for a click that is no action; for an action, the
    // first proper value found inside the action's own element and its children, never a
    // neighbour's (a sibling button, the window's text); for a click not known, the walk's.
    static std::optional<Record> properValueOfClick(const AccessibleElementRef& element, const ClickTarget& target);
};

} // namespace tavrin
