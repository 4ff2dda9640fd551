#pragma once

#include <map>
#include <memory>

#include "platform/InputMonitor.h"
#include "platform/MainQueue.h"
#include "platform/linux/X11Keys.h"
#include "platform/wayland/AccessibilityBusEvents.h"

namespace tavrin {

// The key monitor's events from what accessible applications forward to the accessibility bus
// (ForwardedKey), in the order they came. Keysyms give the key names as on X11 (level-0 text, or
// the lower-cased keysym name), the X modifier mask the catalogue's flags; a modifier key's own
// press or release gives a modifier change. Repeats are presses of a key already held.
class ForwardedKeyTranslator {
public:
    std::vector<KeyEvent> translate(const ForwardedKey& key);

private:
    KeyEventTranslator translator_;
};

// Keys and clicks in a Wayland session. No Wayland interface gives a client other applications'
// input: keys come from the applications that forward them to the accessibility bus (GTK, Qt),
// clicks only from X11 applications under XWayland, read as on X11 by `xwaylandClicks` when there
// is one. capabilities() says so.
class WaylandInputMonitor final : public InputMonitor {
public:
    // `xwaylandClicks` may be null (no XWayland); its key monitor is never used, so an XWayland
    // application's key is not counted twice.
    WaylandInputMonitor(MainQueue& mainQueue, std::unique_ptr<InputMonitor> xwaylandClicks);
    ~WaylandInputMonitor() override;

    // A key from the accessibility bus. Any thread; handed to the key handlers on the main thread.
    void forwardedKey(const ForwardedKey& key);

    std::optional<Token> addMouseDownMonitor(std::function<void(const MouseDown&)> handler) override;
    std::optional<Token> addKeyMonitor(std::function<void(const KeyEvent&)> handler) override;
    void removeMonitor(Token token) override;
    InputCapabilities capabilities() const override;
    // What the monitor sees with or without XWayland's clicks.
    static InputCapabilities capabilitiesWith(bool xwayland);

private:
    MainQueue& mainQueue_;
    std::unique_ptr<InputMonitor> xwayland_;
    // Main thread only.
    ForwardedKeyTranslator translator_;
    std::map<Token, std::function<void(const KeyEvent&)>> keyHandlers_;
    std::map<Token, Token> xwaylandTokens_; // ours to the XWayland monitor's
    Token nextToken_ = 1;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
