#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/ApplicationMenus.h"
#include "platform/FrontApplication.h"
#include "platform/LoginItem.h"
#include "platform/MainQueue.h"
#include "platform/Screens.h"
#include "platform/UrlOpener.h"
#include "platform/linux/DesktopEntries.h"
#include "platform/wayland/ActiveWindow.h"
#include "platform/wayland/ForeignToplevels.h"

namespace tavrin {

// The application in front and its windows in a Wayland session. Two sources: the accessibility
// bus's window events (every compositor; accessible applications), given through windowEvent(),
// and on wlroots compositors the foreign-toplevel window list (every window, accessible or not),
// which is preferred when it is there. Applications are named by their desktop entries as on X11:
// the Wayland application id is the desktop-file id. No compositor tells a client where the pointer
// is: mouseLocation() is the screen's top-left corner.
class WaylandDesktop final : public FrontApplication, public Screens, public UrlOpener, public LoginItem {
public:
    // Connects to the compositor's window list where it offers one. `compositor` is the session's
    // name for the user ("sway", "GNOME").
    WaylandDesktop(MainQueue& mainQueue, std::string compositor);
    ~WaylandDesktop() override;

    // A window event from the accessibility bus. Any thread.
    void windowEvent(const WindowEvent& event);
    // Whether the compositor's window list is read.
    bool readsWindowList() const;
    void setAutostart(std::filesystem::path folder, std::filesystem::path executable);

    std::optional<std::string> frontApplicationName() const override;
    std::optional<std::vector<WindowInfo>> onScreenWindows() const override;
    void observeActivation(std::function<void()> handler) override;
    std::string sessionName() const override;
    bool listsEveryWindow() const override;
    BottomLeftPoint mouseLocation() const override;
    std::optional<BottomLeftRect> mainScreenFrame() const override;
    std::optional<BottomLeftRect> mainScreenVisibleFrame() const override;
    bool openUrl(const std::string& url) override;
    bool setLoginItemEnabled(bool enabled) override;

    // The accessible applications whose windows have been activated and whose process still runs,
    // named as the front application is; the process of the window in front. Any thread.
    std::vector<RunningApplication> accessibleApplications() const;
    std::optional<int> frontProcess() const;

    // The display name of a Wayland application id or an accessible application: its desktop
    // entry's name, else that of its program, else the id or name itself.
    std::string displayName(const std::string& idOrName, std::optional<int> pid) const;

private:
    void notifyActivation();

    MainQueue& mainQueue_;
    std::string compositor_;
    DesktopEntryIndex entries_;
    std::unique_ptr<ForeignToplevels> toplevels_;
    mutable std::mutex mutex_; // guards the active window
    ActiveWindow active_;
    std::map<int, std::string> applications_;               // process to accessible name, from the activations
    std::vector<std::function<void()>> activationHandlers_; // main thread
    std::filesystem::path autostartFolder_;
    std::filesystem::path executable_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
