#pragma once

#include <map>
#include <memory>

#include "platform/InputMonitor.h"
#include "platform/MainQueue.h"
#include "platform/linux/X11Keys.h"
#include "platform/wayland/AccessibilityBusEvents.h"
#include "platform/wayland/InputDevices.h"

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
// input: keys come from the input devices where the user may read them (every key, named with the
// compositor's keymap), otherwise from the applications that forward them to the accessibility bus
// (GTK, Qt); clicks only from X11 applications under XWayland, read as on X11 by `xwaylandClicks`
// when there is one. capabilities() says so.
class WaylandInputMonitor final : public InputMonitor {
public:
    // `xwaylandClicks` may be null (no XWayland); its key monitor is never used, so an XWayland
    // application's key is not counted twice.
    WaylandInputMonitor(MainQueue& mainQueue, std::unique_ptr<InputMonitor> xwaylandClicks);
    ~WaylandInputMonitor() override;

    // A key from the accessibility bus. Any thread; handed to the key handlers on the main thread.
    // Ignored once the devices' keys are read.
    void forwardedKey(const ForwardedKey& key);
    // From now on the keys come from the input devices, named by `keys`; `devices` is what the
    // session allows (reported by capabilities()). Main thread, before any key.
    void readDeviceKeys(std::unique_ptr<DeviceKeyTranslator> keys);
    void setDevices(InputCapabilities::Devices devices) { devices_ = devices; }
    // A key from the input devices (evdev code and value). Any thread; as forwardedKey.
    void deviceKey(unsigned code, int value);

    std::optional<Token> addMouseDownMonitor(std::function<void(const MouseDown&)> handler) override;
    std::optional<Token> addKeyMonitor(std::function<void(const KeyEvent&)> handler) override;
    void removeMonitor(Token token) override;
    InputCapabilities capabilities() const override;
    // What the monitor sees with or without XWayland's clicks, and with the input devices as they
    // are (their keys are read when they are readable).
    static InputCapabilities capabilitiesWith(bool xwayland, InputCapabilities::Devices devices);

private:
    MainQueue& mainQueue_;
    std::unique_ptr<InputMonitor> xwayland_;
    // Main thread only.
    ForwardedKeyTranslator translator_;
    std::unique_ptr<DeviceKeyTranslator> deviceKeys_;
    InputCapabilities::Devices devices_ = InputCapabilities::Devices::absent;
    void deliver(const std::vector<KeyEvent>& events);
    std::map<Token, std::function<void(const KeyEvent&)>> keyHandlers_;
    std::map<Token, Token> xwaylandTokens_; // ours to the XWayland monitor's
    Token nextToken_ = 1;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
