#include "platform/linux/LinuxApplicationMenus.h"
#include "platform/linux/X11Windows.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <algorithm>
#include <filesystem>
#include <sys/stat.h>
#include <memory>

#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/AtspiMenuReader.h"

namespace tavrin {

namespace {

struct CloseDisplay {
    void operator()(Display* display) const { XCloseDisplay(display); }
};
using DisplayConnection = std::unique_ptr<Display, CloseDisplay>;

// The first `limit` 32-bit values of a window property of type `type`.
std::vector<unsigned long> property(Display* display, Window window, const char* name, Atom type, long limit) {
    Atom actual = 0;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    std::vector<unsigned long> values;
    if (XGetWindowProperty(display, window, XInternAtom(display, name, False), 0, limit, False, type, &actual, &format,
                           &count, &after, &data) == Success &&
        data) {
        if (format == 32)
            values.assign(reinterpret_cast<unsigned long*>(data), reinterpret_cast<unsigned long*>(data) + count);
        XFree(data);
    }
    return values;
}

} // namespace

LinuxApplicationMenus::LinuxApplicationMenus(const AtspiAccessibility& accessibility, std::string displayName)
    : accessibility_(accessibility), displayName_(std::move(displayName)),
      entries_(DesktopEntryIndex::load(xdgApplicationFolders())) {}

LinuxApplicationMenus::LinuxApplicationMenus(std::unique_ptr<AtspiAccessibility> accessibility)
    : owned_(std::move(accessibility)), accessibility_(*owned_),
      entries_(DesktopEntryIndex::load(xdgApplicationFolders())) {}

LinuxApplicationMenus::~LinuxApplicationMenus() = default;

std::vector<RunningApplication> LinuxApplicationMenus::runningApplications() const {
    std::vector<RunningApplication> found;
    const DisplayConnection display(openDisplay(displayName_));
    if (!display)
        return found;
    for (const auto window :
         property(display.get(), DefaultRootWindow(display.get()), "_NET_CLIENT_LIST", XA_WINDOW, 4096)) {
        RunningApplication app;
        XClassHint hint{};
        if (XGetClassHint(display.get(), window, &hint)) {
            app.instance = hint.res_name ? hint.res_name : "";
            app.wmClass = hint.res_class ? hint.res_class : "";
            XFree(hint.res_name);
            XFree(hint.res_class);
        }
        if (const auto pid = property(display.get(), window, "_NET_WM_PID", XA_CARDINAL, 1); pid.size() == 1)
            app.pid = static_cast<int>(pid.front());
        if (!app.pid)
            continue;
        // As the front application is named: the desktop entry, else the accessibility bus, else the class.
        if (auto name = entries_.displayNameFor(app.instance, app.wmClass))
            app.displayName = *name;
        else if (auto bus = accessibility_.applicationName(app.pid); bus && !bus->empty())
            app.displayName = *bus;
        else
            app.displayName = app.wmClass.empty() ? app.instance : app.wmClass;
        const bool seen =
            std::any_of(found.begin(), found.end(), [&](const auto& other) { return other.pid == app.pid; });
        if (!seen)
            found.push_back(std::move(app));
    }
    return found;
}

std::optional<int> LinuxApplicationMenus::frontProcess() const {
    const DisplayConnection display(openDisplay(displayName_));
    if (!display)
        return std::nullopt;
    const auto active = property(display.get(), DefaultRootWindow(display.get()), "_NET_ACTIVE_WINDOW", XA_WINDOW, 1);
    if (active.size() != 1 || !active.front())
        return std::nullopt;
    const auto pid = property(display.get(), static_cast<Window>(active.front()), "_NET_WM_PID", XA_CARDINAL, 1);
    if (pid.size() != 1)
        return std::nullopt;
    return static_cast<int>(pid.front());
}

std::optional<std::string> LinuxApplicationMenus::applicationVersion(int pid) const {
    std::string version = readApplicationToolkit(accessibility_, pid).value_or("");
    // The process's program, as long as it runs the file it started from (a replaced file shows
    // as "(deleted)" and cannot be read).
    std::error_code ec;
    const auto program = std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/exe", ec);
    struct stat about {};
    if (!ec && ::stat(program.c_str(), &about) == 0)
        version += (version.empty() ? "" : ", ") + program.string() + " " + std::to_string(about.st_size) + " " +
                   std::to_string(about.st_mtim.tv_sec);
    if (version.empty())
        return std::nullopt;
    return version;
}

std::optional<MenuWalk> LinuxApplicationMenus::readMenus(int pid, const MenuWalkLimits& limits) const {
    return readApplicationMenus(accessibility_, pid, limits);
}

std::vector<std::optional<MenuNode>> LinuxApplicationMenus::readMenuItems(int pid,
                                                                          const std::vector<MenuNode>& items) const {
    return readApplicationMenuItems(accessibility_, pid, items);
}

} // namespace tavrin
