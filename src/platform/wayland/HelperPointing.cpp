#include "platform/wayland/HelperPointing.h"

#include <cmath>

#include "platform/Log.h"

namespace tavrin {

namespace {

// How long a reported press stays the answer for a lookup at its point: the lookup follows the
// press within milliseconds, a second is generous for a busy machine.
constexpr std::chrono::seconds kPressKept{2};

const Logger logger("tavrin.tavrin.app", "DesktopHelper");

bool samePoint(TopLeftPoint a, TopLeftPoint b) {
    return std::abs(a.x - b.x) < 1.5 && std::abs(a.y - b.y) < 1.5;
}

WindowEvent activation(const HelperWindow& window) {
    return {WindowEvent::Kind::activate,
            "desktop-helper",
            window.appId + "/" + std::to_string(window.pid),
            window.title,
            window.pid,
            window.appId};
}

} // namespace

HelperPointing::HelperPointing(MainQueue& mainQueue, std::unique_ptr<InputMonitor> inner,
                               const AtspiAccessibility& atspi, const Screens& screens,
                               std::unique_ptr<HelperLink> link, std::function<void(const WindowEvent&)> focusChanged)
    : mainQueue_(mainQueue), inner_(std::move(inner)), atspi_(atspi), screens_(screens), link_(std::move(link)) {
    link_->onButtonPressed([this](int button, const HelperPointer& pointer) { pressed(button, pointer); });
    if (!focusChanged)
        return;
    // The accessibility bus tells only of later activations: the window in front now comes from the
    // helper (a short wait at start, and only when the helper is slow).
    if (const auto now = link_->pointer(); now && now->window.pid > 0)
        focusChanged(activation(now->window));
    link_->onFocusChanged([focusChanged](const HelperWindow& window) {
        if (window.pid > 0)
            focusChanged(activation(window));
    });
}

HelperPointing::~HelperPointing() {
    link_->onButtonPressed({});
    link_->onFocusChanged({});
    *alive_ = false;
}

void HelperPointing::pressed(int button, const HelperPointer& pointer) {
    if (button != 1 && button != 3)
        return;
    const HelperPress press{{pointer.surface.x + pointer.local.x, pointer.surface.y + pointer.local.y}, pointer};
    {
        std::lock_guard lock(mutex_);
        lastPress_ = press;
        lastPressTime_ = std::chrono::steady_clock::now();
    }
    // A click's point counts from the bottom of the screen, as the inspector turns it back.
    const auto screen = screens_.mainScreenFrame();
    const BottomLeftPoint point =
        screen ? flipped(press.screen, screen->height) : BottomLeftPoint{press.screen.x, press.screen.y};
    logger.info("Press " + std::to_string(button) + " at " + std::to_string(int(press.screen.x)) + "," +
                std::to_string(int(press.screen.y)) + " in " + pointer.window.appId + " (process " +
                std::to_string(pointer.window.pid) + ")");
    const MouseButton which = button == 1 ? MouseButton::left : MouseButton::right;
    std::weak_ptr<bool> alive = alive_;
    mainQueue_.post([this, alive, which, point] {
        if (!alive.lock())
            return;
        for (const auto& [token, handler] : std::map(clickHandlers_))
            handler(MouseDown{which, point, false});
    });
}

std::optional<InputMonitor::Token> HelperPointing::addMouseDownMonitor(std::function<void(const MouseDown&)> handler) {
    const Token token = nextToken_++;
    if (inner_)
        if (const auto inner = inner_->addMouseDownMonitor(handler))
            innerTokens_[token] = *inner;
    if (link_->reportsPresses())
        clickHandlers_[token] = std::move(handler);
    else if (!innerTokens_.count(token))
        return std::nullopt;
    return token;
}

std::optional<InputMonitor::Token>
HelperPointing::addClickedElementMonitor(std::function<void(const ClickedElement&)> handler) {
    if (!inner_ || link_->reportsPresses())
        return std::nullopt;
    const auto inner = inner_->addClickedElementMonitor(std::move(handler));
    if (!inner)
        return std::nullopt;
    const Token token = nextToken_++;
    innerTokens_[token] = *inner;
    return token;
}

std::optional<InputMonitor::Token> HelperPointing::addKeyMonitor(std::function<void(const KeyEvent&)> handler) {
    if (!inner_)
        return std::nullopt;
    const auto inner = inner_->addKeyMonitor(std::move(handler));
    if (!inner)
        return std::nullopt;
    const Token token = nextToken_++;
    innerTokens_[token] = *inner;
    return token;
}

void HelperPointing::removeMonitor(Token token) {
    clickHandlers_.erase(token);
    if (const auto it = innerTokens_.find(token); it != innerTokens_.end()) {
        inner_->removeMonitor(it->second);
        innerTokens_.erase(it);
    }
}

InputCapabilities HelperPointing::capabilities() const {
    InputCapabilities capabilities = inner_ ? inner_->capabilities() : InputCapabilities{};
    if (link_->reportsPresses())
        capabilities.clicks = InputCapabilities::Clicks::everyApplication;
    return capabilities;
}

ElementAtPoint HelperPointing::elementAt(TopLeftPoint point) const {
    std::optional<HelperPointer> pointer;
    {
        std::lock_guard lock(mutex_);
        if (lastPress_ && samePoint(lastPress_->screen, point) &&
            std::chrono::steady_clock::now() - lastPressTime_ < kPressKept)
            pointer = lastPress_->pointer;
    }
    if (!pointer) {
        // Not a press the helper told of: an X11 application's under XWayland, found the X11 way,
        // or a point asked for, in the window in front.
        if (inner_ && inner_->capabilities().xwayland)
            if (auto x11 = atspi_.elementAt(point); x11.outcome == ElementAtPoint::Outcome::found)
                return x11;
        pointer = link_->pointer();
        if (!pointer)
            return atspi_.elementAt(point);
        pointer->local = {point.x - pointer->surface.x, point.y - pointer->surface.y};
    }
    if (pointer->window.pid <= 0)
        return {ElementAtPoint::Outcome::noElement, {}, {}};
    auto found = atspi_.elementInWindow(pointer->window.pid, pointer->window.title, pointer->local);
    logger.info(
        "Element at " + std::to_string(int(pointer->local.x)) + "," + std::to_string(int(pointer->local.y)) +
        " in its window: " + (found.outcome == ElementAtPoint::Outcome::found ? "found" : "none " + found.error));
    return found;
}

bool HelperPointing::isRunningApplication(int processId) const {
    return atspi_.isRunningApplication(processId);
}

} // namespace tavrin
