#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/Desktop.h"
#include "platform/MainQueue.h"
#include "platform/linux/DesktopEntries.h"

namespace tavrin {

// The front application, its windows, the pointer and the screens of an X11 session (also X11
// applications under XWayland), through the EWMH properties the window manager keeps. Element
// lookups and the accessibility trust come from an AccessibilityBackend; without one, no element
// is found and trust is never given.
class X11Desktop : public Desktop {
public:
    // What the accessibility layer answers. Implemented over AT-SPI.
    class AccessibilityBackend {
    public:
        virtual ~AccessibilityBackend() = default;
        virtual bool isTrusted() const = 0;
        virtual void promptForTrust() = 0;
        virtual ElementAtPoint elementAt(TopLeftPoint point) const = 0;
        // The application name the accessibility bus gives for a process, if any.
        virtual std::optional<std::string> applicationName(int processId) const = 0;
        // Whether the element found at a point lies inside its window. An application started
        // before accessibility was switched on lists its windows and nothing in them.
        virtual bool readsInsideWindowAt(TopLeftPoint point) const = 0;
    };

    // Throws std::runtime_error when the display cannot be opened.
    X11Desktop(MainQueue& mainQueue, const std::string& displayName = {});
    ~X11Desktop() override;

    void setAccessibilityBackend(AccessibilityBackend* backend) { accessibility_ = backend; }
    // Where the login item is written and what it starts.
    void setAutostart(std::filesystem::path folder, std::filesystem::path executable);

    std::optional<std::string> frontApplicationName() const override;
    std::optional<std::vector<WindowInfo>> onScreenWindows() const override;
    void observeActivation(std::function<void()> handler) override;
    bool isAccessibilityTrusted() const override;
    void promptForAccessibilityTrust() override;
    ElementAtPoint elementAt(TopLeftPoint point) const override;
    bool isRunningApplication(int processId) const override;
    BottomLeftPoint mouseLocation() const override;
    std::optional<BottomLeftRect> mainScreenFrame() const override;
    std::optional<BottomLeftRect> mainScreenVisibleFrame() const override;
    bool openUrl(const std::string& url) override;
    bool setLoginItemEnabled(bool enabled) override;

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
    AccessibilityBackend* accessibility_ = nullptr;
    std::vector<std::function<void()>> activationHandlers_;
    std::thread watcher_;
    int wakeFds_[2] = {-1, -1};
    std::filesystem::path autostartFolder_;
    std::filesystem::path executable_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
