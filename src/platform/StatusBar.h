#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tavrin {

// One entry of the status item's menu. An entry without a title is a separator.
struct MenuItem {
    std::string title;
    std::function<void()> action; // main thread
    std::optional<bool> state;    // a checkmark, on or off, for entries that carry one
    bool isSeparator() const { return title.empty(); }
};

// The application's item in the session's tray (the menu-bar item of other platforms).
// Main thread.
class StatusItem {
public:
    virtual ~StatusItem() = default;
    // Whether the item shows on screen with an image and opens its menu.
    virtual bool hasButton() const = 0;
    // Shows the shipped image `name` at this size in points; false when there is no such image.
    virtual bool setImage(const std::string& name, double width, double height) = 0;
    // Replaces the menu; its actions are called on the main thread.
    virtual void setMenu(std::vector<MenuItem> items) = 0;
    // Sets the checkmark of the entry at `index` (in the order given to setMenu).
    virtual void setItemState(std::size_t index, bool on) = 0;
};

class StatusBar {
public:
    virtual ~StatusBar() = default;
    // A new item; null when the session has no room for one.
    virtual std::unique_ptr<StatusItem> statusItem() = 0;
};

} // namespace tavrin
