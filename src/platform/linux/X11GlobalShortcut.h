#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/GlobalShortcut.h"
#include "platform/MainQueue.h"

struct xcb_connection_t;

namespace tavrin {

// A global shortcut on X11: a passive grab of the key combination on the root window, so the X
// server hands its presses to Tavrin wherever the focus is, and to no other application. One
// combination at a time; the grab is made with and without Caps Lock and Num Lock. A thread of its
// own reads its own connection and hands each press to the main queue. A combination another
// application grabbed already is refused (`Binding::problem` says so), and the grab follows a new
// keyboard layout.
class X11GlobalShortcut final : public GlobalShortcut {
public:
    // `displayName` empty means $DISPLAY. Throws std::runtime_error when the display cannot be opened.
    X11GlobalShortcut(MainQueue& mainQueue, const std::string& displayName = {});
    ~X11GlobalShortcut() override;

    void bind(const KeyCombination& combination, std::function<void(const Binding&)> done,
              std::function<void(const Activation&)> activated) override;
    void unbind() override;

private:
    struct Grab {
        std::uint8_t keycode = 0;
        std::uint16_t modifiers = 0;
        std::uint16_t relevant = 0; // the modifier bits a press is matched on
    };
    // Grabs the combination; the grab made, or why not.
    std::optional<Grab> grab(const KeyCombination& combination, std::string& problem);
    void ungrab();
    void run();

    MainQueue& mainQueue_;
    xcb_connection_t* connection_ = nullptr;
    std::uint32_t root_ = 0;
    std::thread thread_;
    int wakeFds_[2] = {-1, -1};

    std::mutex mutex_;         // guards grab_ between the main thread and the reader
    std::optional<Grab> grab_; // the grab in force
    std::vector<std::uint16_t> lockVariants_;

    // Main thread.
    std::optional<KeyCombination> combination_;
    std::function<void(const Binding&)> done_;
    std::function<void(const Activation&)> activated_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
