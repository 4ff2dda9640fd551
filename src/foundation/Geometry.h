#pragma once

namespace tavrin {

// A point on the screen, in the platform's global coordinates.
struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const Rect&) const = default;
};

} // namespace tavrin
