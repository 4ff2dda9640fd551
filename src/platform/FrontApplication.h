#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tavrin {

// An on-screen window: the display name of the application that owns it and its title, with the
// application's own title suffix removed ("Inbox - Gmail", not "Inbox - Gmail - Chromium").
struct WindowInfo {
    std::optional<std::string> owner;
    std::optional<std::string> name;
    bool operator==(const WindowInfo&) const = default;
};

// The application in front and the windows on screen. Called on the main thread; each call returns
// quickly (it reads what the window manager keeps, and asks no application).
class FrontApplication {
public:
    virtual ~FrontApplication() = default;

    // The display name of the application in front ("Firefox ESR"). No value when no window is in
    // front or its owner cannot be named.
    virtual std::optional<std::string> frontApplicationName() const = 0;
    // The on-screen windows, front to back. No value when the list cannot be read.
    virtual std::optional<std::vector<WindowInfo>> onScreenWindows() const = 0;
    // Calls `handler` on the main thread whenever another application comes to the front, for as
    // long as the implementation lives. Never fails; without notifications the handler is not called.
    virtual void observeActivation(std::function<void()> handler) = 0;
    // The session's name for the user ("X11", "Wayland (sway)") and whether onScreenWindows()
    // lists every window or only the one in front (a Wayland compositor without a window list).
    // A capability, not an error. Any thread.
    virtual std::string sessionName() const { return "X11"; }
    virtual bool listsEveryWindow() const { return true; }
};

} // namespace tavrin
