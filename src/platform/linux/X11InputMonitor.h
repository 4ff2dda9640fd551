#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "platform/InputMonitor.h"
#include "platform/MainQueue.h"

namespace tavrin {

// Global mouse-downs and keys on X11 through XInput2 raw events on the root window: they reach us
// whichever application has the focus, without a grab. A thread of its own reads its own display
// connection and hands each event to the main queue.
class X11InputMonitor final : public InputMonitor {
public:
    // `displayName` empty means $DISPLAY. Throws std::runtime_error when the display cannot be
    // opened or has no XInput 2.
    X11InputMonitor(MainQueue& mainQueue, const std::string& displayName = {});
    ~X11InputMonitor() override;

    std::optional<Token> addMouseDownMonitor(std::function<void(const MouseDown&)> handler) override;
    std::optional<Token> addKeyMonitor(std::function<void(const KeyEvent&)> handler) override;
    void removeMonitor(Token token) override;

private:
    struct Connection;
    void run();
    void deliverMouse(const MouseDown& down);
    void deliverKey(const KeyEvent& event);

    MainQueue& mainQueue_;
    std::unique_ptr<Connection> connection_;
    std::thread thread_;
    std::atomic<bool> stopping_{false};
    int wakeFds_[2] = {-1, -1};

    // Touched on the main thread only.
    std::map<Token, std::function<void(const MouseDown&)>> mouseHandlers_;
    std::map<Token, std::function<void(const KeyEvent&)>> keyHandlers_;
    Token nextToken_ = 1;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
