#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/MainQueue.h"
#include "platform/ScreenCapture.h"
#include "vision/ImageClassifier.h"
#include "vision/ScreenshotManaging.h"

namespace tavrin {

// The rectangle of `size` centred on `point`, intersected with a display of `display` pixels.
// The point counts from the display's bottom left, y upwards; the rectangle from its top left.
// Near an edge the rectangle is smaller; no value when nothing of it lies on the display.
std::optional<PixelRect> captureRect(BottomLeftPoint point, PixelSize size, PixelSize display);

// Takes the picture around a point, hands it to the store and to the classifier, and reports how
// it went; also owns the screen-recording permission request. Lives on the main thread; the
// capture and the classification run on the executor.
//
// A newer capture cancels the older one, which then reports its failure; every capture reports
// its outcome exactly once: the picture, or the first of time-out, cancellation and error.
class ScreenshotManager final : public ScreenshotManaging {
public:
    struct Configuration {
        ScreenCapture* capture = nullptr;
        // Made on first use, on the main thread.
        std::function<ImageClassifier&()> classifier;
        MainQueue* mainQueue = nullptr;
        Executor* executor = nullptr;
    };

    static constexpr PixelSize captureSize{224, 224};
    static constexpr double captureTimeout = 1.0; // seconds
    static constexpr const char* errorDomain = "ScreenshotManager";

    // The capture and the executor must outlive the work this starts on the executor.
    explicit ScreenshotManager(Configuration configuration);
    ~ScreenshotManager() override;

    void captureAndClassify(BottomLeftPoint point, Uuid uuid) override { captureAndClassifyScreenshot(point, uuid); }
    void requestPermission(std::function<void(bool)> completion) override {
        requestScreenRecordingPermission(std::move(completion));
    }
    void setStore(ScreenshotStore* store) override { store_ = store; }
    void cancelCapture() override;

    // Starts a capture at `point` (bottom-left origin) for the click `uuid`; returns at once.
    void captureAndClassifyScreenshot(BottomLeftPoint point, Uuid uuid);
    // Whether the screen may be read; never asks.
    bool checkScreenRecordingPermission() const;
    // Asks for the permission where the system guards the screen; `completion` gets the answer on
    // the main thread.
    void requestScreenRecordingPermission(std::function<void(bool)> completion);

private:
    struct CaptureTask;
    struct Failure {
        ScreenshotError error;
        std::string printed; // how the log line shows the error
    };
    // Any error but the capture's own kinds: reported as `unknown`.
    static Failure unknownFailure(std::string description, std::string printed);

    // The capture with the permission check and the time-out; settles `task`.
    void captureScreenshot(const std::shared_ptr<CaptureTask>& task, BottomLeftPoint point, PixelSize size,
                           Duration timeout);
    // The capture proper. Executor; throws.
    static Image captureImage(ScreenCapture& capture, BottomLeftPoint point, PixelSize size);
    // Ends `task` with its outcome unless it has ended already.
    void settle(const std::shared_ptr<CaptureTask>& task, ImageRef image, std::optional<Failure> failure);
    void reportCaptureError(const Uuid& uuid, const Failure& failure);
    void classifyScreenshot(const ImageRef& image, const Uuid& uuid);

    Configuration config_;
    ScreenshotStore* store_ = nullptr;
    std::shared_ptr<CaptureTask> captureTask_;
    // Work that comes back to the main thread after destruction does nothing.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
