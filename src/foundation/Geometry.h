#pragma once

namespace tavrin {

// Where screen coordinates count from. X11 and the accessibility bus count from the top left of the
// display, y growing downwards; the pointer, the clicks and the screen frames the product works with
// count from the bottom left of the main screen, y growing upwards. The origin is part of the type,
// so a point of one convention passed where the other is expected does not compile: `flipped`
// is the one way across.
enum class Origin { topLeft, bottomLeft };

constexpr Origin opposite(Origin origin) {
    return origin == Origin::topLeft ? Origin::bottomLeft : Origin::topLeft;
}

template <Origin O> struct PointIn {
    double x = 0;
    double y = 0;
    bool operator==(const PointIn&) const = default;
};

// `x` and `y` are the corner nearest the origin.
template <Origin O> struct RectIn {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const RectIn&) const = default;

    bool contains(PointIn<O> point) const {
        return point.x >= x && point.y >= y && point.x < x + width && point.y < y + height;
    }
};

using TopLeftPoint = PointIn<Origin::topLeft>;
using BottomLeftPoint = PointIn<Origin::bottomLeft>;
using TopLeftRect = RectIn<Origin::topLeft>;
using BottomLeftRect = RectIn<Origin::bottomLeft>;

// The same point counted from the other origin, on a screen `screenHeight` tall.
template <Origin O> constexpr PointIn<opposite(O)> flipped(PointIn<O> point, double screenHeight) {
    return {point.x, screenHeight - point.y};
}

// The same rectangle counted from the other origin, on a screen `screenHeight` tall.
template <Origin O> constexpr RectIn<opposite(O)> flipped(RectIn<O> rect, double screenHeight) {
    return {rect.x, screenHeight - rect.y - rect.height, rect.width, rect.height};
}

} // namespace tavrin
