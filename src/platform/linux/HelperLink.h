#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "foundation/Geometry.h"
#include "platform/linux/DesktopHelpers.h"

namespace tavrin {

// The window in front as a desktop helper describes it. `appId` is the Wayland application id (the
// desktop-file id) or an X11 window's class.
struct HelperWindow {
    std::string appId;
    std::string title;
    int pid = 0;
    TopLeftRect frame; // on the screen
    bool operator==(const HelperWindow&) const = default;
};

// Where the pointer is, from a desktop helper.
struct HelperPointer {
    bool inside = false; // within the window's frame
    // In the window's surface: where its accessible coordinates start (its own drawing, shadows
    // included, not the desktop's frame around it).
    TopLeftPoint local;
    TopLeftRect surface; // on the screen
    HelperWindow window; // empty when no window has the focus
};

// Tavrin's end of a desktop helper: owns Tavrin's name on the session bus, which the helpers answer
// alone, then asks the GNOME Shell extension, or serves the KWin script (which can only call out:
// it asks for the next question and answers it). Runs on a connection and a thread of its own.
// Only the desktop's own process is listened to.
class HelperLink {
public:
    // Starts the link for `desktop` (not `none`). Null with `problem` set when the session bus is
    // missing or another process holds Tavrin's name. On KWin it loads a fresh copy of
    // `kwinScript` (the one the user switched on, if any: enabledKWinScript), which then finds this
    // process; a copy that ran before asked a Tavrin that was not there and fell silent.
    static std::unique_ptr<HelperLink> start(HelperDesktop desktop, std::string& problem,
                                             const std::filesystem::path& kwinScript = {});
    ~HelperLink();
    HelperLink(const HelperLink&) = delete;
    HelperLink& operator=(const HelperLink&) = delete;

    // The pointer and the window in front now. No value when no helper answers within `timeout`.
    // Any thread.
    std::optional<HelperPointer> pointer(std::chrono::milliseconds timeout = std::chrono::milliseconds(200));
    // Whether the helper is heard from: it has answered or called since the link started.
    bool heard() const;
    // Whether the helper tells of button presses (the GNOME Shell extension does; KWin scripts are
    // told of none).
    bool reportsPresses() const;
    // Handlers, called on the link's thread: a new window in front, and a press on a window with the
    // pointer where it was at that moment (button 1 left, 3 right). Set them before the events
    // matter; they replace earlier ones.
    void onFocusChanged(std::function<void(const HelperWindow&)> handler);
    void onButtonPressed(std::function<void(int button, const HelperPointer&)> handler);

    struct State;

private:
    explicit HelperLink(std::shared_ptr<State> state);
    std::shared_ptr<State> state_;
};

} // namespace tavrin
