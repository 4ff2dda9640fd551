#include "platform/linux/XdgPaths.h"

#include <glib.h>

namespace tavrin {

std::optional<std::filesystem::path> XdgPaths::applicationSupportDirectory() const {
    return std::filesystem::path(g_get_user_data_dir());
}

std::filesystem::path XdgPaths::userDefaultsFile() const {
    return std::filesystem::path(g_get_user_config_dir()) / "tavrin" / "defaults.json";
}

std::filesystem::path XdgPaths::resourcesDirectory() const {
    return defaultResourcesDirectory();
}

std::filesystem::path defaultResourcesDirectory() {
    std::error_code ec;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        const auto beside = executable.parent_path() / "resources";
        if (std::filesystem::is_directory(beside, ec))
            return beside;
        const auto installed = executable.parent_path().parent_path() / "share" / "tavrin";
        if (std::filesystem::is_directory(installed, ec))
            return installed;
        return beside;
    }
    return "resources";
}

} // namespace tavrin
