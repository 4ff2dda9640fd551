#include "vision/ScreenshotManager.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "platform/Log.h"

namespace tavrin {

struct ScreenshotManager::CaptureTask {
    Uuid uuid;
    // Set on the main thread when the outcome is decided; the capture skips its read once set.
    std::atomic<bool> settled{false};
    std::optional<MainQueue::TimerId> timer;
};

std::optional<PixelRect> captureRect(BottomLeftPoint point, PixelSize size, PixelSize display) {
    if (!std::isfinite(point.x) || !std::isfinite(point.y))
        return std::nullopt;
    const TopLeftPoint centre = flipped(point, display.height);
    const double left = centre.x - size.width / 2.0;
    const double top = centre.y - size.height / 2.0;
    const double x0 = std::max(left, 0.0), y0 = std::max(top, 0.0);
    const double x1 = std::min(left + size.width, static_cast<double>(display.width));
    const double y1 = std::min(top + size.height, static_cast<double>(display.height));
    if (x1 <= x0 || y1 <= y0)
        return std::nullopt;
    const long px0 = std::lround(x0), py0 = std::lround(y0), px1 = std::lround(x1), py1 = std::lround(y1);
    if (px1 <= px0 || py1 <= py0)
        return std::nullopt;
    return PixelRect{static_cast<int>(px0), static_cast<int>(py0), static_cast<int>(px1 - px0),
                     static_cast<int>(py1 - py0)};
}

ScreenshotManager::Failure ScreenshotManager::unknownFailure(std::string description, std::string printed) {
    Failure failure;
    failure.error.kind = ScreenshotError::Kind::unknown;
    failure.error.underlying.description = std::move(description);
    failure.printed = std::move(printed);
    return failure;
}

ScreenshotManager::ScreenshotManager(Configuration configuration) : config_(std::move(configuration)) {}

ScreenshotManager::~ScreenshotManager() {
    *alive_ = false;
    if (captureTask_ && captureTask_->timer)
        config_.mainQueue->cancelTimer(*captureTask_->timer);
}

void ScreenshotManager::captureAndClassifyScreenshot(BottomLeftPoint point, Uuid uuid) {
    // A newer click always wins over an older capture.
    cancelCapture();
    auto task = std::make_shared<CaptureTask>();
    task->uuid = uuid;
    captureTask_ = task;
    std::weak_ptr<bool> alive = alive_;
    config_.mainQueue->post([this, alive, task, point] {
        if (alive.lock() && !task->settled)
            captureScreenshot(task, point, captureSize, Duration(captureTimeout));
    });
}

void ScreenshotManager::cancelCapture() {
    const auto task = captureTask_;
    if (!task || task->settled.exchange(true))
        return;
    if (task->timer)
        config_.mainQueue->cancelTimer(*task->timer);
    task->timer.reset();
    // The cancelled capture reports like any failed one, a main-queue turn later.
    std::weak_ptr<bool> alive = alive_;
    config_.mainQueue->post([this, alive, uuid = task->uuid] {
        if (!alive.lock())
            return;
        const char* text = "The capture was cancelled";
        printLine(std::string("Failed to capture screenshot: ") + text);
        reportCaptureError(uuid, unknownFailure(text, text));
    });
}

bool ScreenshotManager::checkScreenRecordingPermission() const {
    return config_.capture->hasPermission();
}

void ScreenshotManager::captureScreenshot(const std::shared_ptr<CaptureTask>& task, BottomLeftPoint point,
                                          PixelSize size, Duration timeout) {
    if (!checkScreenRecordingPermission()) {
        settle(task, nullptr, Failure{{ScreenshotError::Kind::noPermission}, "noPermission"});
        return;
    }
    std::weak_ptr<bool> alive = alive_;
    MainQueue* queue = config_.mainQueue;
    task->timer = queue->postAfter(timeout, [this, alive, task] {
        if (!alive.lock())
            return;
        task->timer.reset();
        settle(task, nullptr, Failure{{ScreenshotError::Kind::timeout}, "timeout"});
    });
    ScreenCapture* capture = config_.capture;
    config_.executor->execute([this, alive, task, capture, queue, point, size] {
        if (task->settled)
            return;
        ImageRef image;
        std::optional<Failure> failure;
        try {
            image = std::make_shared<const Image>(captureImage(*capture, point, size));
        } catch (const std::exception& error) {
            failure = unknownFailure(localizedDescription(error), error.what());
        }
        queue->post([this, alive, task, image = std::move(image), failure = std::move(failure)] {
            if (alive.lock())
                settle(task, image, failure);
        });
    });
}

Image ScreenshotManager::captureImage(ScreenCapture& capture, BottomLeftPoint point, PixelSize size) {
    const ShareableContent content = capture.shareableContent();
    if (content.displays.empty())
        throw CodedError(errorDomain, 1, "No display found");
    const PixelSize display = content.displays.front();
    const auto area = captureRect(point, size, display);
    if (!area)
        throw std::runtime_error("Nothing of the " + std::to_string(size.width) + " by " + std::to_string(size.height) +
                                 " area around the point lies on the " + std::to_string(display.width) + " by " +
                                 std::to_string(display.height) + " display");
    return capture.capture(*area, size);
}

void ScreenshotManager::settle(const std::shared_ptr<CaptureTask>& task, ImageRef image,
                               std::optional<Failure> failure) {
    if (task->settled.exchange(true))
        return;
    if (task->timer)
        config_.mainQueue->cancelTimer(*task->timer);
    task->timer.reset();
    if (failure) {
        printLine("Failed to capture screenshot: " + failure->printed);
        reportCaptureError(task->uuid, *failure);
        return;
    }
    if (store_)
        store_->screenshotCaptured(task->uuid, image);
    else
        printLine("Store is nil");
    classifyScreenshot(image, task->uuid);
}

void ScreenshotManager::reportCaptureError(const Uuid& uuid, const Failure& failure) {
    if (!store_) {
        printLine("Store is nil, cannot send error");
        return;
    }
    store_->screenshotCaptureFailed(uuid, failure.error);
    if (failure.error.kind == ScreenshotError::Kind::unknown)
        printLine("Unknown error occurred: " + failure.error.localizedDescription());
}

void ScreenshotManager::classifyScreenshot(const ImageRef& image, const Uuid& uuid) {
    if (!store_) {
        printLine("Store is nil");
        return;
    }
    auto [app, domain] = store_->activeApplication();
    ImageClassifier* classifier = &config_.classifier();
    std::weak_ptr<bool> alive = alive_;
    MainQueue* queue = config_.mainQueue;
    config_.executor->execute(
        [this, alive, queue, classifier, image, uuid, app = std::move(app), domain = std::move(domain)] {
            try {
                auto [label, confidence] = classifier->classify(image, app, domain);
                queue->post([this, alive, uuid, label = std::move(label), confidence] {
                    if (alive.lock() && store_)
                        store_->screenshotClassified(uuid, label, confidence);
                });
            } catch (const std::exception& error) {
                queue->post([this, alive, uuid, printed = std::string(error.what()),
                             description = localizedDescription(error)] {
                    if (!alive.lock())
                        return;
                    printLine("Classification failed: " + printed);
                    if (store_)
                        store_->screenshotClassificationFailed(uuid, ErrorValue{description});
                });
            }
        });
}

void ScreenshotManager::requestScreenRecordingPermission(std::function<void(bool)> completion) {
    std::weak_ptr<bool> alive = alive_;
    ScreenCapture* capture = config_.capture;
    MainQueue* queue = config_.mainQueue;
    config_.executor->execute([this, alive, capture, queue, completion = std::move(completion)] {
        std::optional<ShareableContent> content;
        std::optional<int> code; // set when the capture service refused
        std::string description;
        try {
            content = capture->shareableContent();
        } catch (const ScreenAccessError& error) {
            code = error.code;
            description = error.what();
        } catch (const std::exception& error) {
            description = error.what();
        }
        queue->post([this, alive, completion, content, code, description] {
            if (!alive.lock()) {
                completion(false);
                return;
            }
            if (content) {
                printLine("Screen capture permission granted");
                printLine("Available displays: " + std::to_string(content->displays.size()));
                printLine("Available windows: " + std::to_string(content->windowCount));
                completion(true);
                return;
            }
            if (!code) {
                printLine("Unexpected error: " + description);
                completion(false);
                return;
            }
            switch (*code) {
            case ScreenAccessError::userDeclined:
                printLine("Screen capture permission denied by user");
                break;
            case ScreenAccessError::failedToStart:
                printLine("Failed to start screen capture");
                break;
            case ScreenAccessError::missingEntitlements:
                printLine("App is missing required entitlements for screen capture");
                break;
            default:
                printLine("Unknown screen capture error: " + description);
            }
            if (store_)
                store_->screenRecordingPermissionDenied(ErrorValue{description});
            completion(false);
        });
    });
}

} // namespace tavrin
