#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/Geometry.h"
#include "platform/AccessibleElement.h"

namespace tavrin {

// How a click's element was found: under the pointer (the hit test); or from what the application
// said about the click, where nothing tells where the pointer is (a Wayland session) or the menu
// it chose from has closed: the menu item its menu selected when it closed, a toggle that changed,
// a page tab selected, or the control that took the focus.
enum class ElementFinding { hitTest, menuSelection, toggle, tab, focus };

// The raw values, as "Click Analysis" and the replay format carry them (a contract).
inline constexpr std::array<std::string_view, 5> kElementFindingNames = {"hit test", "menu selection", "toggle", "tab",
                                                                         "focus"};
inline std::string_view rawValue(ElementFinding finding) {
    return kElementFindingNames[static_cast<std::size_t>(finding)];
}
inline std::optional<ElementFinding> elementFindingFromRaw(std::string_view raw) {
    for (std::size_t i = 0; i < kElementFindingNames.size(); ++i)
        if (kElementFindingNames[i] == raw)
            return static_cast<ElementFinding>(i);
    return std::nullopt;
}

// What the element lookup at a point found.
struct ElementAtPoint {
    enum class Outcome { found, noElement, error };
    Outcome outcome = Outcome::noElement;
    AccessibleElementRef element;
    std::string error; // for `error`: a short reason
    ElementFinding foundBy = ElementFinding::hitTest;
};

// The accessibility element under a point of the screen.
class ElementLookup {
public:
    virtual ~ElementLookup() = default;

    // The element at `point`. Any thread; may block on the application under the point, bounded by
    // the platform layer's time-outs (about a second at most). A failure is the `error` outcome
    // with its reason; nothing under the point is `noElement`.
    virtual ElementAtPoint elementAt(TopLeftPoint point) const = 0;
    // Whether a running application owns this process. Any thread; false for a process that is
    // gone or cannot be asked about.
    virtual bool isRunningApplication(int processId) const = 0;
};

} // namespace tavrin
