#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/ScreenCapture.h"

namespace tavrin {

// The screen of a Wayland session through the desktop portal's Screenshot (xdg-desktop-portal):
// each picture is a whole-screen screenshot the portal writes to a file, read, cropped and scaled
// here, then deleted. Non-interactive: where the desktop guards the screen (GNOME) the first
// screenshot asks the user once and the portal remembers the answer; wlroots desktops
// (xdg-desktop-portal-wlr) never ask. Without the portal the pictures come from `fallback`
// (XWayland's X11 applications, read the X11 way), else none can be read.
class PortalScreenCapture final : public ScreenCapture {
public:
    explicit PortalScreenCapture(std::unique_ptr<ScreenCapture> fallback = nullptr);

    // False once the user refused the portal's screenshot, until Tavrin starts again.
    bool hasPermission() const override;
    // Takes one screenshot through the portal: the moment the desktop asks the user. A refusal is
    // ScreenAccessError::userDeclined.
    ShareableContent shareableContent() override;
    Image capture(PixelRect area, PixelSize size) override;

private:
    bool offered() const; // whether the portal offers Screenshot (asked once)
    // A screenshot's file, or a ScreenAccessError.
    std::string screenshot(std::chrono::seconds timeout);

    std::unique_ptr<ScreenCapture> fallback_;
    mutable std::mutex mutex_; // one screenshot at a time
    mutable std::optional<bool> offered_;
    std::atomic<bool> refused_ = false;
};

} // namespace tavrin
