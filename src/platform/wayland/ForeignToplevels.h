#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tavrin {

// The compositor's list of windows through the wlroots foreign-toplevel protocol (sway, Hyprland,
// labwc, Wayfire, ...): each window's application id (the desktop-file id, or the X11 class of an
// XWayland window), its title, and which one is activated. Names the window in front also for
// applications that are not accessible. GNOME and KDE offer no such list.
//
// One thread of its own reads the compositor. When the compositor goes away a line goes to the
// log and the list is empty from then on.
class ForeignToplevels {
public:
    struct Toplevel {
        std::string appId;
        std::string title;
        bool activated = false;
        bool operator==(const Toplevel&) const = default;
    };

    // Connects to $WAYLAND_DISPLAY. No object, and `problem` saying why, without a compositor or
    // when it does not offer the protocol. `changed` runs on this object's thread after each batch
    // of changes; it must return quickly and may not call back into this object's destructor.
    static std::unique_ptr<ForeignToplevels> connect(std::function<void()> changed, std::string& problem);
    ~ForeignToplevels();

    // The windows, the most recently activated first. Any thread.
    std::vector<Toplevel> toplevels() const;
    // The first output's size in pixels, when the compositor said. Any thread.
    std::optional<std::pair<int, int>> outputSize() const;
    // False once the compositor has gone away. Any thread.
    bool connected() const;

    struct Connection;

private:
    explicit ForeignToplevels(std::unique_ptr<Connection> connection);
    std::unique_ptr<Connection> connection_;
};

} // namespace tavrin
