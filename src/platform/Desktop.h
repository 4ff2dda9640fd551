#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Geometry.h"
#include "platform/AccessibleElement.h"

namespace tavrin {

// An on-screen window: the display name of the application that owns it and its title, with the
// application's own title suffix removed ("Inbox - Gmail", not "Inbox - Gmail - Chromium").
struct WindowInfo {
    std::optional<std::string> owner;
    std::optional<std::string> name;
    bool operator==(const WindowInfo&) const = default;
};

// What the element lookup at a point found.
struct ElementAtPoint {
    enum class Outcome { found, noElement, error };
    Outcome outcome = Outcome::noElement;
    AccessibleElementRef element;
    std::string error; // for `error`: a short reason
};

// The desktop session as the product sees it. Unless noted, calls are made on the main thread and
// return quickly; a failure reads as "no value".
class Desktop {
public:
    virtual ~Desktop() = default;

    // The display name of the application in front ("Firefox ESR"); no value when none is known.
    virtual std::optional<std::string> frontApplicationName() const = 0;
    // The on-screen windows, front to back; no value when the list cannot be read.
    virtual std::optional<std::vector<WindowInfo>> onScreenWindows() const = 0;
    // Calls `handler` on the main thread whenever another application comes to the front.
    virtual void observeActivation(std::function<void()> handler) = 0;

    // Whether this program may read other applications' accessibility trees.
    virtual bool isAccessibilityTrusted() const = 0;
    // Asks for that trust (turning the accessibility bus on, with a message to the user).
    virtual void promptForAccessibilityTrust() = 0;

    // The accessibility element at a point in top-left-origin screen coordinates. May block on
    // the application under the point (bounded by the platform layer's time-outs).
    virtual ElementAtPoint elementAt(TopLeftPoint point) const = 0;
    // Whether a running application owns this process.
    virtual bool isRunningApplication(int processId) const = 0;

    // The pointer position, origin at the bottom left of the main screen, y growing upwards.
    virtual BottomLeftPoint mouseLocation() const = 0;
    // The main screen's frame and the part of it not taken by panels; no value without a screen.
    virtual std::optional<BottomLeftRect> mainScreenFrame() const = 0;
    virtual std::optional<BottomLeftRect> mainScreenVisibleFrame() const = 0;

    virtual bool openUrl(const std::string& url) = 0;
    // Starts the program with the session, or stops doing so. False when that could not be set.
    virtual bool setLoginItemEnabled(bool enabled) = 0;
};

} // namespace tavrin
