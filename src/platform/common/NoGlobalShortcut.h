#pragma once

#include <string>
#include <utility>

#include "platform/GlobalShortcut.h"

namespace tavrin {

// Where the desktop offers no global shortcut: every binding is refused at once, with the reason
// given at construction ("the display refuses it: …").
class NoGlobalShortcut final : public GlobalShortcut {
public:
    explicit NoGlobalShortcut(std::string reason) : reason_(std::move(reason)) {}
    void bind(const KeyCombination&, std::function<void(const Binding&)> done,
              std::function<void(const Activation&)>) override {
        if (done)
            done({.bound = false, .trigger = {}, .problem = reason_, .otherKeysMayWork = false});
    }
    void unbind() override {}

private:
    std::string reason_;
};

} // namespace tavrin
