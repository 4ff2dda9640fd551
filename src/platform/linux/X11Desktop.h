#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/FrontApplication.h"
#include "platform/LoginItem.h"
#include "platform/MainQueue.h"
#include "platform/Screens.h"
#include "platform/UrlOpener.h"
#include "platform/WindowFocus.h"
#include "platform/linux/AccessibleApplications.h"
#include "platform/linux/DesktopEntries.h"

namespace tavrin {

// The front application, its windows, the pointer and the screens of an X11 session (also X11
// applications under XWayland), through the EWMH properties the window manager keeps; also the
// URLs and the login item of the session. Names of applications and the applications to restart
// come with help from the accessibility bus (AccessibleApplications); without it, windows are named
// by their desktop entries and class alone. Tavrin's own window is never the application in
// front: while it has the keyboard, the application before it stays in front.
class X11Desktop final : public FrontApplication,
                         public Screens,
                         public UrlOpener,
                         public LoginItem,
                         public WindowFocus {
public:
    // Throws std::runtime_error when the display cannot be opened.
    X11Desktop(MainQueue& mainQueue, const std::string& displayName = {});
    ~X11Desktop() override;

    void setAccessibleApplications(const AccessibleApplications* applications) { accessibility_ = applications; }
    // Where the login item is written and what it starts.
    void setAutostart(std::filesystem::path folder, std::filesystem::path executable);

    std::optional<std::string> frontApplicationName() const override;
    std::optional<std::vector<WindowInfo>> onScreenWindows() const override;
    void observeActivation(std::function<void()> handler) override;
    BottomLeftPoint mouseLocation() const override;
    std::optional<BottomLeftRect> mainScreenFrame() const override;
    std::optional<BottomLeftRect> mainScreenVisibleFrame() const override;
    bool openUrl(const std::string& url) override;
    bool setLoginItemEnabled(bool enabled) override;
    std::optional<WindowId> activeWindow() const override;
    // Sends _NET_ACTIVE_WINDOW as a pager does (source 2): the window managers honour it as the
    // user's own request.
    bool activateWindow(WindowId window, std::uint32_t timestamp) override;

    // The applications with a window that are not on the accessibility bus, by display name.
    std::vector<std::string> applicationsToRestart() const;

    // The display name for a window's WM_CLASS by the desktop entries, else the accessibility
    // bus's name for its process, else the class itself.
    std::string displayName(const std::string& instance, const std::string& wmClass, std::optional<int> pid) const;
    // A window title without its application's own suffix: "Inbox - Gmail - Chromium" gives
    // "Inbox - Gmail" when the app is Chromium.
    static std::string stripApplicationSuffix(const std::string& title, const std::vector<std::string>& appNames);

private:
    struct X;
    void watchActivation();

    MainQueue& mainQueue_;
    std::unique_ptr<X> x_;
    DesktopEntryIndex entries_;
    const AccessibleApplications* accessibility_ = nullptr;
    std::vector<std::function<void()>> activationHandlers_;
    mutable std::optional<std::string> lastFront_; // the front application before Tavrin's window
    std::thread watcher_;
    int wakeFds_[2] = {-1, -1};
    std::filesystem::path autostartFolder_;
    std::filesystem::path executable_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
