#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

namespace tavrin {

class ApplicationMenus;

struct HarvestOptions {
    std::string app;           // a display name, namespace name, window class or process id
    std::filesystem::path out; // empty: print only
    std::string namespaceId;   // empty: "app|" and the normalised display name
    bool hasDomain = false;    // the namespace is a browser's
};

// `tavrin catalogue harvest`: reads the shortcuts a running application shows in its menus,
// toolbars and header bars, prints them, and with an output folder merges them into the three
// catalogue exports there. Exit status 0 on success, 1 when the application cannot be read.
int runCatalogueHarvest(const HarvestOptions& options, std::ostream& out, std::ostream& err);
// The same with the running applications and their menus given.
int harvestApplication(const HarvestOptions& options, const ApplicationMenus& menus, std::ostream& out,
                       std::ostream& err);

} // namespace tavrin
