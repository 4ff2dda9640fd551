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
};

} // namespace tavrin
