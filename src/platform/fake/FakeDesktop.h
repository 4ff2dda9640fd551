#pragma once

#include <functional>
#include <map>
#include <set>
#include <vector>

#include "platform/AccessibilityTrust.h"
#include "platform/DesktopNotifications.h"
#include "platform/ElementLookup.h"
#include "platform/FrontApplication.h"
#include "platform/InputMonitor.h"
#include "platform/LoginItem.h"
#include "platform/Screens.h"
#include "platform/UrlOpener.h"

namespace tavrin {

// A desktop session in memory, for tests and replays: the front application, its windows, the
// accessibility trust, what the element lookup at a point finds, and mouse and key events that
// the caller plays. Everything happens on the calling thread.
class FakeDesktop final : public FrontApplication,
                          public AccessibilityTrust,
                          public ElementLookup,
                          public Screens,
                          public UrlOpener,
                          public LoginItem,
                          public InputMonitor,
                          public DesktopNotifications {
public:
    // The session as the caller sets it.
    std::optional<std::string> frontApp;
    std::optional<std::vector<WindowInfo>> windows = std::vector<WindowInfo>{};
    bool trusted = false;
    int trustPrompts = 0;
    ElementAtPoint elementAtPoint;
    std::set<int> runningProcesses;
    std::map<int, std::string> applications; // the display name of each process's application
    BottomLeftPoint pointer;
    std::optional<BottomLeftRect> screen = BottomLeftRect{0, 0, 1280, 800};
    std::vector<std::string> openedUrls;
    std::optional<bool> loginItem;
    bool loginItemWritable = true;     // false: setting the login item fails
    std::vector<TopLeftPoint> lookups; // every point the element lookup was asked for
    // The notifications shown, in order; the answer of the last one, until it is given or withdrawn.
    std::vector<Notification> notifications;
    Answer notificationAnswer;

    // Brings `app` to the front with these windows and sends the activation notification.
    void activate(std::string app, std::vector<WindowInfo> newWindows);
    void click(MouseButton button, BottomLeftPoint at, bool synthetic = false);
    // A click whose element the platform found itself (as a Wayland session finds it).
    void clickFound(const ClickedElement& click);
    void key(const KeyEvent& event);
    // The user answers the notification shown (a button's key; empty: closed it). False when none waits.
    bool answerNotification(const std::string& key);

    // The platform interfaces
    std::optional<std::string> frontApplicationName() const override { return frontApp; }
    std::optional<std::vector<WindowInfo>> onScreenWindows() const override { return windows; }
    void observeActivation(std::function<void()> handler) override {
        activationObservers_.push_back(std::move(handler));
    }
    bool isTrusted() const override { return trusted; }
    void promptForTrust() override { ++trustPrompts; }
    ElementAtPoint elementAt(TopLeftPoint point) const override;
    bool isRunningApplication(int processId) const override { return runningProcesses.count(processId) > 0; }
    std::optional<std::string> applicationOfProcess(int processId) const {
        const auto it = applications.find(processId);
        return it == applications.end() ? std::nullopt : std::optional(it->second);
    }
    BottomLeftPoint mouseLocation() const override { return pointer; }
    std::optional<BottomLeftRect> mainScreenFrame() const override { return screen; }
    std::optional<BottomLeftRect> mainScreenVisibleFrame() const override { return screen; }
    bool openUrl(const std::string& url) override;
    bool setLoginItemEnabled(bool enabled) override;
    void show(const Notification& notification, Answer answer) override {
        notifications.push_back(notification);
        notificationAnswer = std::move(answer);
    }
    void withdraw() override { notificationAnswer = nullptr; }

    // InputMonitor
    std::optional<Token> addMouseDownMonitor(std::function<void(const MouseDown&)> handler) override;
    std::optional<Token> addKeyMonitor(std::function<void(const KeyEvent&)> handler) override;
    std::optional<Token> addClickedElementMonitor(std::function<void(const ClickedElement&)> handler) override;
    void removeMonitor(Token token) override;

    std::size_t activationObserverCount() const { return activationObservers_.size(); }

private:
    std::vector<std::function<void()>> activationObservers_;
    std::map<Token, std::function<void(const MouseDown&)>> mouseMonitors_;
    std::map<Token, std::function<void(const KeyEvent&)>> keyMonitors_;
    std::map<Token, std::function<void(const ClickedElement&)>> foundClickMonitors_;
    Token nextToken_ = 1;
};

} // namespace tavrin
