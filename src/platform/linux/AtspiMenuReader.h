#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "foundation/MenuHarvest.h"

namespace tavrin {

class AtspiAccessibility;

// A walk of one application's menus, toolbars and header bars over AT-SPI. Menus are read as the
// application lists them; none is opened, so the application is left as it was (toolkits that
// fill their menus only when they open show nothing of them). The walk runs on the accessibility
// worker in short slices, so a click's lookup waits at most one slice behind it.
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

// Walks the application of process `pid`. No value when it is not on the accessibility bus.
// Called from any thread but the worker's.
std::optional<MenuWalk> readApplicationMenus(const AtspiAccessibility& accessibility, int pid,
                                             const MenuWalkLimits& limits = {});

} // namespace tavrin
