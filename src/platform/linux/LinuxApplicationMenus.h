#pragma once

#include <memory>
#include <string>

#include "platform/ApplicationMenus.h"
#include "platform/linux/DesktopEntries.h"

namespace tavrin {

class AtspiAccessibility;

// The applications with a window on an X11 display, from the window manager's properties, named by
// their desktop entries, else the accessibility bus, else their class; their menus over AT-SPI.
// Each call opens its own connection to the display, so any thread may call.
class LinuxApplicationMenus final : public ApplicationMenus {
public:
    // `displayName` empty means $DISPLAY. `accessibility` must outlive this object.
    explicit LinuxApplicationMenus(const AtspiAccessibility& accessibility, std::string displayName = {});
    // With an accessibility connection of its own, for the tools that read menus without a session.
    explicit LinuxApplicationMenus(std::unique_ptr<AtspiAccessibility> accessibility);
    ~LinuxApplicationMenus() override;

    std::vector<RunningApplication> runningApplications() const override;
    std::optional<int> frontProcess() const override;
    std::optional<std::string> applicationVersion(int pid) const override;
    std::optional<MenuWalk> readMenus(int pid, const MenuWalkLimits& limits = {}) const override;
    std::vector<std::optional<MenuNode>> readMenuItems(int pid, const std::vector<MenuNode>& items) const override;

private:
    std::unique_ptr<AtspiAccessibility> owned_;
    const AtspiAccessibility& accessibility_;
    std::string displayName_;
    DesktopEntryIndex entries_;
};

} // namespace tavrin
