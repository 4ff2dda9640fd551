#pragma once

#include "vision/ScreenshotManaging.h"

namespace tavrin {

// The picture path in headless runs: captures do nothing and the permission is held, as on X11,
// where reading the screen needs none.
class NoScreenCapture final : public ScreenshotManaging {
public:
    void captureAndClassify(BottomLeftPoint, Uuid) override {}
    void requestPermission(std::function<void(bool)> completion) override { completion(true); }
};

} // namespace tavrin
