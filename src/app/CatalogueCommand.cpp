#include "app/CatalogueCommand.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <ostream>
#include <vector>

#include "State/AppDomain.h"
#include "foundation/Text.h"
#include "database/CatalogueExports.h"
#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/AtspiMenuReader.h"
#include "platform/linux/DesktopEntries.h"

namespace tavrin {

namespace {

// An application with a window on the display, named as the front-application tracker names it.
struct RunningApplication {
    std::string displayName;
    std::string instance, wmClass;
    int pid = 0;
};

std::vector<RunningApplication> runningApplications(const AtspiAccessibility& accessibility) {
    std::vector<RunningApplication> found;
    Display* display = XOpenDisplay(nullptr);
    if (!display)
        return found;
    const Atom clientList = XInternAtom(display, "_NET_CLIENT_LIST", False);
    const Atom wmPid = XInternAtom(display, "_NET_WM_PID", False);
    Atom type = 0;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    std::vector<Window> windows;
    if (XGetWindowProperty(display, DefaultRootWindow(display), clientList, 0, 4096, False, XA_WINDOW, &type, &format,
                           &count, &after, &data) == Success &&
        data) {
        if (format == 32)
            windows.assign(reinterpret_cast<Window*>(data), reinterpret_cast<Window*>(data) + count);
        XFree(data);
    }
    const auto entries = DesktopEntryIndex::load(xdgApplicationFolders());
    for (const Window window : windows) {
        RunningApplication app;
        XClassHint hint{};
        if (XGetClassHint(display, window, &hint)) {
            app.instance = hint.res_name ? hint.res_name : "";
            app.wmClass = hint.res_class ? hint.res_class : "";
            XFree(hint.res_name);
            XFree(hint.res_class);
        }
        data = nullptr;
        if (XGetWindowProperty(display, window, wmPid, 0, 1, False, XA_CARDINAL, &type, &format, &count, &after,
                               &data) == Success &&
            data) {
            if (format == 32 && count == 1)
                app.pid = static_cast<int>(*reinterpret_cast<long*>(data));
            XFree(data);
        }
        if (!app.pid)
            continue;
        // As the tracker names it: the desktop entry, else the accessibility bus, else the class.
        if (auto name = entries.displayNameFor(app.instance, app.wmClass))
            app.displayName = *name;
        else if (auto bus = accessibility.applicationName(app.pid); bus && !bus->empty())
            app.displayName = *bus;
        else
            app.displayName = app.wmClass.empty() ? app.instance : app.wmClass;
        const bool seen =
            std::any_of(found.begin(), found.end(), [&](const auto& other) { return other.pid == app.pid; });
        if (!seen)
            found.push_back(std::move(app));
    }
    XCloseDisplay(display);
    return found;
}

bool matches(const RunningApplication& app, const std::string& wanted) {
    const std::string name = lowercased(wanted);
    return name == lowercased(app.displayName) || name == AppDomain::normalizeName(app.displayName) ||
           name == lowercased(app.instance) || name == lowercased(app.wmClass) || name == std::to_string(app.pid);
}

} // namespace

int runCatalogueHarvest(const HarvestOptions& options, std::ostream& out, std::ostream& err) {
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display) {
        err << "tavrin: no X11 display: DISPLAY is not set.\n";
        return 1;
    }
    if (!AtspiAccessibility::busIsAvailable()) {
        err << "tavrin: the accessibility bus does not answer. Install at-spi2-core and log in again.\n";
        return 1;
    }
    AtspiAccessibility accessibility;
    const auto running = runningApplications(accessibility);
    const auto app =
        std::find_if(running.begin(), running.end(), [&](const auto& a) { return matches(a, options.app); });
    if (app == running.end()) {
        err << "tavrin: no application named \"" << options.app << "\" has a window here.";
        if (!running.empty()) {
            err << " Running:";
            for (std::size_t i = 0; i < running.size(); ++i)
                err << (i ? ", " : " ") << running[i].displayName;
        }
        err << '\n';
        return 1;
    }
    const std::string levelName = AppDomain::normalizeName(app->displayName);
    const std::string namespaceId = options.namespaceId.empty() ? "app|" + levelName : options.namespaceId;
    const auto walk = readApplicationMenus(accessibility, app->pid);
    if (!walk) {
        err << "tavrin: " << app->displayName << " (process " << app->pid
            << ") is not on the accessibility bus. Restart it once accessibility is on.\n";
        return 1;
    }
    const auto items = harvestItems(walk->items);
    out << app->displayName << " (" << namespaceId << ", " << walk->applicationName << ", " << walk->toolkit
        << "): " << walk->nodesSeen << " elements, " << walk->itemsSeen << " menu items and buttons, " << items.size()
        << " shortcuts, in " << walk->took.count() << " ms" << (walk->complete ? "" : " (cut short)") << '\n';
    for (const auto& item : items)
        out << "  " << std::left << std::setw(28) << item.keys << item.name
            << (item.value != item.name ? "  [" + item.column + " \"" + item.value + "\"]" : std::string())
            << (item.menu.empty() ? "" : "  (" + item.menu + ")") << '\n';
    if (options.out.empty())
        return 0;
    std::string problem;
    auto exports = CatalogueExports::read(options.out, problem);
    if (!exports) {
        err << "tavrin: " << problem << '\n';
        return 1;
    }
    const auto merged = exports->merge(namespaceId, levelName, items, options.hasDomain);
    if (!exports->write(options.out, problem)) {
        err << "tavrin: " << problem << '\n';
        return 1;
    }
    out << "Wrote " << options.out.string() << ": " << (merged.namespaceAdded ? "new namespace, " : "")
        << merged.actionsAdded << " actions added, " << merged.mappingsAdded << " mappings added, "
        << merged.alreadyKnown << " already known\n";
    return 0;
}

} // namespace tavrin
