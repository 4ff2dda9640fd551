#include "views/presenters/Icons.h"

#include <algorithm>
#include <array>

namespace tavrin {

namespace {

// Sorted by name: symbolImagePath() searches it by halves.
constexpr std::array kImages{
    SymbolImage{"AppIcon", ""},
    SymbolImage{"arrow.clockwise", "arrow-clockwise.svg"},
    SymbolImage{"arrow.down", "arrow-down.svg"},
    SymbolImage{"arrow.down.right.and.arrow.up.left", "arrows-angle-contract.svg"},
    SymbolImage{"arrow.left", "arrow-left.svg"},
    SymbolImage{"arrow.right", "arrow-right.svg"},
    SymbolImage{"arrow.up", "arrow-up.svg"},
    SymbolImage{"arrow.up.left.and.arrow.down.right", "arrows-angle-expand.svg"},
    SymbolImage{"bookmark", "bookmark.svg"},
    SymbolImage{"bookmark.fill", "bookmark-fill.svg"},
    SymbolImage{"calendar", "calendar.svg"},
    SymbolImage{"capslock", "capslock.svg"},
    SymbolImage{"checkmark", "check-lg.svg"},
    SymbolImage{"checkmark.circle", "check-circle.svg"},
    SymbolImage{"checkmark.circle.fill", "check-circle-fill.svg"},
    SymbolImage{"chevron.left", "chevron-left.svg"},
    SymbolImage{"chevron.right", "chevron-right.svg"},
    SymbolImage{"clock", "clock.svg"},
    SymbolImage{"command", "command.svg"},
    SymbolImage{"display", "display.svg"},
    SymbolImage{"escape", "escape.svg"},
    SymbolImage{"flag", "flag.svg"},
    SymbolImage{"hourglass", "hourglass-split.svg"},
    SymbolImage{"info.circle", "info-circle.svg"},
    SymbolImage{"keyboard", "keyboard.svg"},
    SymbolImage{"lightbulb", "lightbulb.svg"},
    SymbolImage{"lightbulb.fill", "lightbulb-fill.svg"},
    SymbolImage{"pin", "pin-angle.svg"},
    SymbolImage{"pin.fill", "pin-angle-fill.svg"},
    SymbolImage{"rectangle.on.rectangle", "window-stack.svg"},
    SymbolImage{"space", ""},
    SymbolImage{"wand.and.stars", "magic.svg"},
    SymbolImage{"xmark.circle", "x-circle.svg"},
};

constexpr bool byName(const SymbolImage& a, const SymbolImage& b) {
    return a.name < b.name;
}
static_assert(std::is_sorted(kImages.begin(), kImages.end(), byName), "keep kImages sorted by name");

} // namespace

std::span<const SymbolImage> symbolImages() {
    return kImages;
}

std::string symbolImagePath(std::string_view name) {
    auto it = std::lower_bound(kImages.begin(), kImages.end(), SymbolImage{name, ""}, byName);
    if (it == kImages.end() || it->name != name)
        return {};
    return "icons/" + std::string(name) + ".svg";
}

} // namespace tavrin
