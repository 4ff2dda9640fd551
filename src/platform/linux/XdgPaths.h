#pragma once

#include "platform/Paths.h"

namespace tavrin {

// The XDG base directories: the database under $XDG_DATA_HOME (~/.local/share), the defaults
// under $XDG_CONFIG_HOME (~/.config).
class XdgPaths final : public Paths {
public:
    std::optional<std::filesystem::path> applicationSupportDirectory() const override;
    std::filesystem::path userDefaultsFile() const override;
    std::filesystem::path resourcesDirectory() const override;
};

// The shipped resources: the "resources" folder beside the executable in a build tree, else
// "<prefix>/share/tavrin" of an installed program.
std::filesystem::path defaultResourcesDirectory();

} // namespace tavrin
