#include "platform/fake/FakeDesktop.h"

#include <utility>

namespace tavrin {

void FakeDesktop::activate(std::string app, std::vector<WindowInfo> newWindows) {
    frontApp = std::move(app);
    windows = std::move(newWindows);
    for (const auto& observer : std::vector(activationObservers_))
        observer();
}

void FakeDesktop::click(MouseButton button, BottomLeftPoint at, bool synthetic) {
    pointer = at;
    for (const auto& [token, handler] : std::map(mouseMonitors_))
        handler({button, pointer, synthetic});
}

void FakeDesktop::clickFound(const ClickedElement& click) {
    for (const auto& [token, handler] : std::map(foundClickMonitors_))
        handler(click);
}

void FakeDesktop::key(const KeyEvent& event) {
    for (const auto& [token, handler] : std::map(keyMonitors_))
        handler(event);
}

ElementAtPoint FakeDesktop::elementAt(TopLeftPoint point) const {
    const_cast<FakeDesktop*>(this)->lookups.push_back(point);
    return elementAtPoint;
}

bool FakeDesktop::openUrl(const std::string& url) {
    openedUrls.push_back(url);
    return true;
}

bool FakeDesktop::setLoginItemEnabled(bool enabled) {
    if (!loginItemWritable)
        return false;
    loginItem = enabled;
    return true;
}

std::optional<InputMonitor::Token> FakeDesktop::addMouseDownMonitor(std::function<void(const MouseDown&)> handler) {
    mouseMonitors_[nextToken_] = std::move(handler);
    return nextToken_++;
}

std::optional<InputMonitor::Token> FakeDesktop::addKeyMonitor(std::function<void(const KeyEvent&)> handler) {
    keyMonitors_[nextToken_] = std::move(handler);
    return nextToken_++;
}

std::optional<InputMonitor::Token>
FakeDesktop::addClickedElementMonitor(std::function<void(const ClickedElement&)> handler) {
    foundClickMonitors_[nextToken_] = std::move(handler);
    return nextToken_++;
}

void FakeDesktop::removeMonitor(Token token) {
    mouseMonitors_.erase(token);
    keyMonitors_.erase(token);
    foundClickMonitors_.erase(token);
}

bool FakeDesktop::answerNotification(const std::string& key) {
    if (!notificationAnswer)
        return false;
    auto answer = std::exchange(notificationAnswer, nullptr);
    answer(key);
    return true;
}

} // namespace tavrin
