#pragma once

#include "platform/ScreenCapture.h"

namespace tavrin {

// The screen of a Wayland session without XWayland: other programs may not read it (the desktop
// portal would ask the user; not built). No permission, and every capture fails.
class UnreadableScreen final : public ScreenCapture {
public:
    bool hasPermission() const override { return false; }
    ShareableContent shareableContent() override {
        throw ScreenAccessError("the screen of a Wayland session is not readable by other programs");
    }
    Image capture(PixelRect, PixelSize) override {
        throw std::runtime_error("the screen of a Wayland session is not readable by other programs");
    }
};

} // namespace tavrin
