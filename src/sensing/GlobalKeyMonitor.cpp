#include "sensing/GlobalKeyMonitor.h"
#include "foundation/Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace tavrin {

namespace {

constexpr std::array<std::pair<std::uint64_t, const char*>, 4> kModifiers = {{
    {ModifierFlags::command, "command"},
    {ModifierFlags::shift, "shift"},
    {ModifierFlags::control, "control"},
    {ModifierFlags::option, "option"},
}};

} // namespace

double GlobalKeyMonitor::secondsNow() const {
    return clock_.secondsSinceEpoch();
}

void GlobalKeyMonitor::start() {
    if (monitor_)
        return;
    // The input layer reports every application's keys, ours included, so one monitor does.
    monitor_ = input_.addKeyMonitor([this](const KeyEvent& event) { handleEvent(event); });
}

void GlobalKeyMonitor::stop() {
    if (monitor_) {
        input_.removeMonitor(*monitor_);
        monitor_.reset();
    }
}

void GlobalKeyMonitor::handleEvent(const KeyEvent& event) {
    const double now = secondsNow();
    switch (event.type) {
    case KeyEvent::Type::flagsChanged:
        handleFlagsChanged(event.modifierFlags);
        break;
    case KeyEvent::Type::keyUp:
        if (event.characters) {
            const auto key = lowercased(*event.characters);
            pressedKeys_.erase(key);
            lastKeyDownTime_.erase(key);
        }
        break;
    case KeyEvent::Type::keyDown:
        if (event.characters && !event.isRepeat) {
            const auto key = lowercased(*event.characters);
            pressedKeys_.insert(key);
            lastKeyDownTime_[key] = now;
            if (event.modifierFlags & ModifierFlags::command)
                report({"command + " + key});
        }
        break;
    case KeyEvent::Type::other:
        break;
    }
    // Expiry is lazy: a key whose key-up was missed goes at the first event 3 s after its key-down.
    for (auto it = pressedKeys_.begin(); it != pressedKeys_.end();) {
        const auto time = lastKeyDownTime_.find(*it);
        if (time != lastKeyDownTime_.end() && now - time->second > keyTimeout) {
            lastKeyDownTime_.erase(time);
            it = pressedKeys_.erase(it);
        } else {
            ++it;
        }
    }
    report(pressedKeys_);
}

void GlobalKeyMonitor::handleFlagsChanged(std::uint64_t flags) {
    const double now = secondsNow();
    for (const auto& [mask, name] : kModifiers) {
        if (flags & mask) {
            pressedKeys_.insert(name);
            lastKeyDownTime_[name] = now;
        } else {
            pressedKeys_.erase(name);
            lastKeyDownTime_.erase(name);
        }
    }
}

} // namespace tavrin
