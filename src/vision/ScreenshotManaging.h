#pragma once

#include <functional>
#include <string>
#include <utility>

#include "foundation/Geometry.h"
#include "foundation/Image.h"
#include "foundation/Uuid.h"
#include "vision/ScreenshotError.h"

namespace tavrin {

// The store as the picture path sees it: the outcomes it reports (each becomes the action of the
// same name) and the place it reads. Main thread.
class ScreenshotStore {
public:
    virtual ~ScreenshotStore() = default;
    virtual void screenshotCaptured(const Uuid& uuid, ImageRef image) = 0;
    virtual void screenshotCaptureFailed(const Uuid& uuid, const ScreenshotError& error) = 0;
    virtual void screenshotClassified(const Uuid& uuid, const std::string& subType, float confidence) = 0;
    virtual void screenshotClassificationFailed(const Uuid& uuid, const ErrorValue& error) = 0;
    // The first-run flow's `screenRecordingPermissionDenied`.
    virtual void screenRecordingPermissionDenied(const ErrorValue& error) = 0;
    // `activeNamespace.app` and `activeNamespace.domain` as the state holds them now.
    virtual std::pair<std::string, std::string> activeApplication() const = 0;
};

// The picture path as the core sees it: a capture around a point for a click, whose outcome
// comes back as actions, and the screen-recording permission.
class ScreenshotManaging {
public:
    virtual ~ScreenshotManaging() = default;
    // Main thread.
    virtual void captureAndClassify(BottomLeftPoint point, Uuid uuid) = 0;
    // Calls `completion` with true once the permission is held.
    virtual void requestPermission(std::function<void(bool)> completion) = 0;
    // Where outcomes go from now on; null detaches. Main thread. A manager without outcomes to
    // report ignores it.
    virtual void setStore(ScreenshotStore*) {}
    // Cancels the running capture, which then reports its failure. Main thread.
    virtual void cancelCapture() {}
};

} // namespace tavrin
