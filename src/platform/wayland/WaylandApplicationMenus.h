#pragma once

#include <algorithm>

#include "platform/ApplicationMenus.h"
#include "platform/linux/LinuxApplicationMenus.h"
#include "platform/wayland/WaylandDesktop.h"

namespace tavrin {

// The running applications and their menus in a Wayland session: the accessible applications
// whose windows the accessibility bus has shown activated (with their processes), and the X11
// applications under XWayland as on X11. The menus are read from the accessibility bus as on X11.
class WaylandApplicationMenus final : public ApplicationMenus {
public:
    // Both must outlive this object.
    WaylandApplicationMenus(const WaylandDesktop& desktop, const LinuxApplicationMenus& xwayland)
        : desktop_(desktop), xwayland_(xwayland) {}

    std::vector<RunningApplication> runningApplications() const override {
        auto found = desktop_.accessibleApplications();
        for (auto& app : xwayland_.runningApplications()) {
            const bool seen = std::any_of(found.begin(), found.end(), [&](const auto& o) { return o.pid == app.pid; });
            if (!seen)
                found.push_back(std::move(app));
        }
        return found;
    }
    std::optional<int> frontProcess() const override {
        if (const auto pid = desktop_.frontProcess())
            return pid;
        return xwayland_.frontProcess();
    }
    std::optional<std::string> applicationVersion(int pid) const override { return xwayland_.applicationVersion(pid); }
    std::optional<MenuWalk> readMenus(int pid, const MenuWalkLimits& limits = {}) const override {
        return xwayland_.readMenus(pid, limits);
    }
    std::vector<std::optional<MenuNode>> readMenuItems(int pid, const std::vector<MenuNode>& items) const override {
        return xwayland_.readMenuItems(pid, items);
    }

private:
    const WaylandDesktop& desktop_;
    const LinuxApplicationMenus& xwayland_;
};

} // namespace tavrin
