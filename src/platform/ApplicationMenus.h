#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "foundation/MenuHarvest.h"

namespace tavrin {

// A walk of one application's menus, toolbars and header bars. Menus are read as the application
// lists them; none is opened, so the application is left as it was (toolkits that fill their menus
// only when they open show nothing of them).
struct MenuWalk {
    std::string applicationName; // as the accessibility bus names it
    std::string toolkit;         // "GTK 3.24.38"
    int nodesSeen = 0;
    int itemsSeen = 0; // menu items and buttons
    std::vector<MenuNode> items;
    std::chrono::milliseconds took{0};
    bool complete = false; // false when the limits cut it short or the application stopped answering
};

struct MenuWalkLimits {
    int maxNodes = 20000;
    std::chrono::milliseconds maxTime{10000};
    int nodesPerSlice = 64;
};

// An application with a window on the display, named as FrontApplication names it.
struct RunningApplication {
    std::string displayName;
    std::string instance, wmClass; // the window's class, as the window system gives it
    int pid = 0;
};

// The running applications and their menus, for learning the shortcuts an application shows.
// Any thread but the platform's own workers; each call is bounded by the platform's time-outs, and
// a walk by its limits.
class ApplicationMenus {
public:
    virtual ~ApplicationMenus() = default;

    // The applications with a window, one entry per process, in the window list's order. Empty
    // when the window list cannot be read.
    virtual std::vector<RunningApplication> runningApplications() const = 0;
    // The process of the window in front. No value when no window is in front or it names none.
    virtual std::optional<int> frontProcess() const = 0;
    // What tells one release of the application of process `pid` from another, so that its menus
    // are read again after an update: its toolkit with its version, and its program file's size and
    // time (a package installs each release's file with that release's time). No value when
    // neither can be read.
    virtual std::optional<std::string> applicationVersion(int pid) const = 0;
    // The display name of the application of process `pid`, as FrontApplication names it. No value
    // when the process shows no window.
    virtual std::optional<std::string> applicationName(int pid) const {
        for (const auto& app : runningApplications())
            if (app.pid == pid)
                return app.displayName;
        return std::nullopt;
    }
    // Walks the menus of process `pid`. No value when the application is not on the accessibility bus.
    virtual std::optional<MenuWalk> readMenus(int pid, const MenuWalkLimits& limits = {}) const = 0;
    // Reads again, as a walk reads them, menu items that a walk of the same application found,
    // at the places it found them (MenuNode::place): a few calls per item, cheap enough for a
    // click's lookup to wait for. One entry per item, in order: no value when that place no longer
    // holds a node of the item's role, name and menus (the application changed its windows), or
    // the application does not answer.
    virtual std::vector<std::optional<MenuNode>> readMenuItems(int pid, const std::vector<MenuNode>& items) const = 0;
};

} // namespace tavrin
