#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/Clock.h"
#include "platform/InputMonitor.h"

namespace tavrin {

// Tracks which keys are held across all applications and reports, per event, the held set and,
// for a key pressed with command, the combination "command + <key>". The key names are the
// catalogue's: "command", "shift", "control", "option", and other keys by their lower-cased text.
// Main thread only.
class GlobalKeyMonitor {
public:
    using KeySet = std::set<std::string>;

    GlobalKeyMonitor(InputMonitor& input, const Clock& clock) : input_(input), clock_(clock) {}
    ~GlobalKeyMonitor() { stop(); }

    // Receives each reported set. Set before start().
    std::function<void(const KeySet&)> keyEventHandler;

    void start();
    void stop();

    void handleEvent(const KeyEvent& event);
    void handleFlagsChanged(std::uint64_t flags);

    const KeySet& pressedKeys() const { return pressedKeys_; }

    // A key held longer than this without a key-up is forgotten at the next event.
    static constexpr double keyTimeout = 3.0;

private:
    // Seconds since 1970, finer than a millisecond: the 3.0 s limit is exact.
    double secondsNow() const;
    void report(const KeySet& keys) const {
        if (keyEventHandler)
            keyEventHandler(keys);
    }

    InputMonitor& input_;
    const Clock& clock_;
    std::optional<InputMonitor::Token> monitor_;
    KeySet pressedKeys_;
    std::map<std::string, double> lastKeyDownTime_;
};

} // namespace tavrin
