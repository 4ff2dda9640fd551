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

void WaylandInputMonitor::forwardedKey(const ForwardedKey& key) {
    std::weak_ptr<bool> alive = alive_;
    mainQueue_.post([this, alive, key] {
        if (!alive.lock())
            return;
        for (const auto& event : translator_.translate(key))
            for (const auto& [token, handler] : std::map(keyHandlers_))
                handler(event);
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
    return capabilitiesWith(xwayland_ != nullptr);
}

InputCapabilities WaylandInputMonitor::capabilitiesWith(bool xwayland) {
    return {.keys = InputCapabilities::Keys::accessibleApplications,
            .clicks = xwayland ? InputCapabilities::Clicks::x11Applications : InputCapabilities::Clicks::none,
            .keySource = "the accessibility bus's key listener"};
}

} // namespace tavrin
