#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/ApplicationMenus.h"

namespace tavrin {

class AtspiAccessibility;

// Walks the application of process `pid` over AT-SPI, on the accessibility worker in short slices,
// so a click's lookup waits at most one slice behind it. No value when it is not on the accessibility bus.
// Called from any thread but the worker's.
std::optional<MenuWalk> readApplicationMenus(const AtspiAccessibility& accessibility, int pid,
                                             const MenuWalkLimits& limits = {});

// Reads again the menu items of the application of process `pid` that a walk found
// (MenuNode::place), as the walk reads them: ApplicationMenus::readMenuItems. Called from any
// thread but the worker's.
std::vector<std::optional<MenuNode>> readApplicationMenuItems(const AtspiAccessibility& accessibility, int pid,
                                                              const std::vector<MenuNode>& items);

// The toolkit of the application of process `pid` with its version ("gtk 3.24.38"). No value when
// it is not on the accessibility bus. Called from any thread but the worker's.
std::optional<std::string> readApplicationToolkit(const AtspiAccessibility& accessibility, int pid);

} // namespace tavrin
