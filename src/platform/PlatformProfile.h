#pragma once

#include <set>
#include <string>
#include <vector>

namespace tavrin {

// The constants that belong to the desktop platform rather than to the product. The core's
// tests run with the macOS profile; the Linux application runs with the Linux one.
struct PlatformProfile {
    // level_name of the operating-system namespace.
    std::string osNamespaceName;
    std::string unsupportedAppSubtitle;
    std::string unsupportedAppTooltip;
    // Lower-case fragments of an application name that mark a browser (front-app tracking).
    std::vector<std::string> browserNameFragments;
    // Normalised application names treated as browsers by namespace tracking.
    std::set<std::string> browserNamespaces;
    // The key set practised in the first-run flow, and its copy.
    std::set<std::string> practiceKeySet;
    std::string practiceKeysCopy;
    std::string practiceTabKeysCopy;
    // Chip labels of the canonical modifier names "command" and "option".
    std::string commandKeyLabel;
    std::string optionKeyLabel;
    std::string osVersionLabel;
    std::string modelLabel;

    static const PlatformProfile& macOS();
    static const PlatformProfile& linuxDesktop();
};

} // namespace tavrin
