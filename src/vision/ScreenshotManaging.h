#pragma once

#include <functional>

#include "State/Uuid.h"
#include "platform/AccessibleElement.h"

namespace tavrin {

// The picture path as the core sees it: a capture around a point for a click, whose outcome
// comes back as actions, and the screen-recording permission.
class ScreenshotManaging {
public:
    virtual ~ScreenshotManaging() = default;
    // Main thread.
    virtual void captureAndClassify(Point point, Uuid uuid) = 0;
    // Calls `completion` with true once the permission is held.
    virtual void requestPermission(std::function<void(bool)> completion) = 0;
};

} // namespace tavrin
