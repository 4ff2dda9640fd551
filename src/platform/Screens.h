#pragma once

#include <optional>

#include "foundation/Geometry.h"

namespace tavrin {

// The pointer and the main screen. Any thread; each call returns quickly.
class Screens {
public:
    virtual ~Screens() = default;

    // Where the pointer is now; the top-left corner of the screen when it cannot be read.
    virtual BottomLeftPoint mouseLocation() const = 0;
    // The main screen's frame. No value without a screen.
    virtual std::optional<BottomLeftRect> mainScreenFrame() const = 0;
    // The part of the main screen that panels leave free; the whole frame when the desktop does not
    // say. No value without a screen.
    virtual std::optional<BottomLeftRect> mainScreenVisibleFrame() const = 0;
};

} // namespace tavrin
