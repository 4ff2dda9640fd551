#include "app/CatalogueCommand.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <vector>

#include "State/AppDomain.h"
#include "foundation/Text.h"
#include "database/CatalogueExports.h"
#include "app/DesktopSession.h"
#include "platform/ApplicationMenus.h"

namespace tavrin {

namespace {

bool matches(const RunningApplication& app, const std::string& wanted) {
    const std::string name = lowercased(wanted);
    return name == lowercased(app.displayName) || name == AppDomain::normalizeName(app.displayName) ||
           name == lowercased(app.instance) || name == lowercased(app.wmClass) || name == std::to_string(app.pid);
}

} // namespace

int runCatalogueHarvest(const HarvestOptions& options, std::ostream& out, std::ostream& err) {
    std::string problem;
    const auto menus = openApplicationMenus(problem);
    if (!menus) {
        err << "tavrin: " << problem << '\n';
        return 1;
    }
    return harvestApplication(options, *menus, out, err);
}

int harvestApplication(const HarvestOptions& options, const ApplicationMenus& menus, std::ostream& out,
                       std::ostream& err) {
    const auto running = menus.runningApplications();
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
    const auto walk = menus.readMenus(app->pid);
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
