#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "platform/ScreenCapture.h"

namespace tavrin {

// The screen of an X11 display, read over a connection of its own. The picture comes through one
// shared-memory segment kept for the object's life (a copy in the X server's memory, tens of
// microseconds for 224 by 224); where shared memory is not available (a remote display), through
// plain image requests. Reading the screen needs no permission on X11. Any thread; calls are
// serialised.
class X11ScreenCapture final : public ScreenCapture {
public:
    enum class Transfer { sharedMemoryWherePossible, plainRequests };

    // Connects to `display` (empty: $DISPLAY). Throws std::runtime_error when it cannot.
    explicit X11ScreenCapture(const std::string& display = {}, Transfer transfer = Transfer::sharedMemoryWherePossible);
    ~X11ScreenCapture() override;

    bool hasPermission() const override { return true; }
    // One display, the X screen; the windows are the window manager's client list (or the root
    // window's children without a window manager).
    ShareableContent shareableContent() override;
    Image capture(PixelRect area, PixelSize size) override;

    // Whether pictures come through shared memory (after the first capture has set it up).
    bool usesSharedMemory() const;

private:
    struct Connection;
    std::unique_ptr<Connection> x_;
    mutable std::mutex mutex_;
};

} // namespace tavrin
