#include "platform/wayland/WaylandInputMonitor.h"

#include <xkbcommon/xkbcommon.h>

namespace tavrin {

namespace {

// The X modifier bits the accessibility bus reports: Shift, Control, Mod1 (Alt) and Mod4 (Super).
constexpr ModifierMasks kBusMasks{.command = 0x40, .control = 0x4, .option = 0x8, .shift = 0x1};

} // namespace

std::vector<KeyEvent> ForwardedKeyTranslator::translate(const ForwardedKey& key) {
    // Shift may give the upper-case symbol; the key's own text ignores modifiers.
    const auto sym = static_cast<KeySym>(xkb_keysym_to_lower(key.keysym));
    const std::uint64_t before = modifierFlags(key.modifiers, kBusMasks);
    if (const auto flag = modifierFlag(sym)) {
        // The mask is the state before this key: the modifier's own change comes from the key.
        return translator_.keyboardModifiers(key.press ? before | flag : before & ~flag);
    }
    auto events = translator_.keyboardModifiers(before);
    const auto keyEvents = translator_.key(key.press, static_cast<int>(sym), sym);
    events.insert(events.end(), keyEvents.begin(), keyEvents.end());
    return events;
}

WaylandInputMonitor::WaylandInputMonitor(MainQueue& mainQueue, std::unique_ptr<InputMonitor> xwaylandClicks)
    : mainQueue_(mainQueue), xwayland_(std::move(xwaylandClicks)) {}

WaylandInputMonitor::~WaylandInputMonitor() {
    *alive_ = false;
}

void WaylandInputMonitor::deliver(const std::vector<KeyEvent>& events) {
    for (const auto& event : events)
        for (const auto& [token, handler] : std::map(keyHandlers_))
            handler(event);
}

void WaylandInputMonitor::forwardedKey(const ForwardedKey& key) {
    std::weak_ptr<bool> alive = alive_;
    mainQueue_.post([this, alive, key] {
        if (alive.lock() && !deviceKeys_)
            deliver(translator_.translate(key));
    });
}

void WaylandInputMonitor::readDeviceKeys(std::unique_ptr<DeviceKeyTranslator> keys) {
    deviceKeys_ = std::move(keys);
}

void WaylandInputMonitor::deviceKey(unsigned code, int value) {
    std::weak_ptr<bool> alive = alive_;
    mainQueue_.post([this, alive, code, value] {
        if (alive.lock() && deviceKeys_)
            deliver(deviceKeys_->translate(code, value));
    });
}

std::optional<InputMonitor::Token>
WaylandInputMonitor::addMouseDownMonitor(std::function<void(const MouseDown&)> handler) {
    if (!xwayland_)
        return std::nullopt;
    const auto inner = xwayland_->addMouseDownMonitor(std::move(handler));
    if (!inner)
        return std::nullopt;
    const Token token = nextToken_++;
    xwaylandTokens_[token] = *inner;
    return token;
}

std::optional<InputMonitor::Token> WaylandInputMonitor::addKeyMonitor(std::function<void(const KeyEvent&)> handler) {
    const Token token = nextToken_++;
    keyHandlers_[token] = std::move(handler);
    return token;
}

void WaylandInputMonitor::removeMonitor(Token token) {
    keyHandlers_.erase(token);
    if (const auto it = xwaylandTokens_.find(token); it != xwaylandTokens_.end()) {
        xwayland_->removeMonitor(it->second);
        xwaylandTokens_.erase(it);
    }
}

InputCapabilities WaylandInputMonitor::capabilities() const {
    auto capabilities = capabilitiesWith(xwayland_ != nullptr, devices_);
    if (devices_ == InputCapabilities::Devices::read && !deviceKeys_) {
        // Readable, but no keymap to name their keys with: the listener's keys, and the reason.
        capabilities.keys = InputCapabilities::Keys::accessibleApplications;
        capabilities.keySource = "the accessibility bus's key listener (no keymap for the input devices' keys)";
    }
    return capabilities;
}

InputCapabilities WaylandInputMonitor::capabilitiesWith(bool xwayland, InputCapabilities::Devices devices) {
    const bool readable = devices == InputCapabilities::Devices::read;
    return {.keys =
                readable ? InputCapabilities::Keys::everyApplication : InputCapabilities::Keys::accessibleApplications,
            .clicks = InputCapabilities::Clicks::none,
            .devices = devices,
            .xwayland = xwayland,
            .keySource = readable ? "the input devices, named with the compositor's keymap"
                                  : "the accessibility bus's key listener"};
}

} // namespace tavrin
