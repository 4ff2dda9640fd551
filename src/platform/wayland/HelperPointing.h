#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/ElementLookup.h"
#include "platform/InputMonitor.h"
#include "platform/MainQueue.h"
#include "platform/Screens.h"
#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/HelperLink.h"
#include "platform/wayland/AccessibilityBusEvents.h"

namespace tavrin {

// Where a press went, in the window a desktop helper named.
struct HelperPress {
    TopLeftPoint screen; // the surface's origin plus the point in it
    HelperPointer pointer;
};

// Clicks and the element under them in a Wayland session with a desktop helper: the helper says
// where the pointer is in the window under it, and the element is found there as on X11, level by
// level in the window's coordinates. Presses come from the helper where it reports them (GNOME
// Shell), and from `inner` (X11 applications under XWayland, read the X11 way); keys from `inner`.
// Without an answer from the helper the lookup is the accessibility bus's own.
class HelperPointing final : public InputMonitor, public ElementLookup {
public:
    // `focusChanged` is told of the window in front as the helper names it, now and at every change,
    // as an activation (on the link's thread): so the application in front is known from the start
    // and for applications the accessibility bus does not know.
    HelperPointing(MainQueue& mainQueue, std::unique_ptr<InputMonitor> inner, const AtspiAccessibility& atspi,
                   const Screens& screens, std::unique_ptr<HelperLink> link,
                   std::function<void(const WindowEvent&)> focusChanged = {});
    ~HelperPointing() override;

    std::optional<Token> addMouseDownMonitor(std::function<void(const MouseDown&)> handler) override;
    // The inner monitor's, where the helper tells of no presses: with them, every click has its point.
    std::optional<Token> addClickedElementMonitor(std::function<void(const ClickedElement&)> handler) override;
    std::optional<Token> addKeyMonitor(std::function<void(const KeyEvent&)> handler) override;
    void removeMonitor(Token token) override;
    InputCapabilities capabilities() const override;

    ElementAtPoint elementAt(TopLeftPoint point) const override;
    bool isRunningApplication(int processId) const override;

    HelperLink& link() { return *link_; }

private:
    void pressed(int button, const HelperPointer& pointer); // the link's thread

    MainQueue& mainQueue_;
    std::unique_ptr<InputMonitor> inner_;
    const AtspiAccessibility& atspi_;
    const Screens& screens_;
    std::unique_ptr<HelperLink> link_;
    mutable std::mutex mutex_; // guards the last press
    std::optional<HelperPress> lastPress_;
    std::chrono::steady_clock::time_point lastPressTime_;
    // Main thread only.
    std::map<Token, std::function<void(const MouseDown&)>> clickHandlers_;
    std::map<Token, Token> innerTokens_; // ours to the inner monitor's
    Token nextToken_ = 1;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
