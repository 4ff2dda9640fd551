#include "platform/linux/XdgPaths.h"

#include <cstdlib>

#include "foundation/Folders.h"

namespace tavrin {

namespace {

// An XDG variable counts only when it holds an absolute path.
std::optional<std::filesystem::path> xdg(const char* variable, const char* fallbackBelowHome) {
    if (const char* value = std::getenv(variable); value && *value == '/')
        return std::filesystem::path(value);
    if (auto base = homeFolder())
        return *base / fallbackBelowHome;
    return std::nullopt;
}

} // namespace

std::optional<std::filesystem::path> XdgPaths::applicationSupportDirectory() const {
    return xdg("XDG_DATA_HOME", ".local/share");
}

std::filesystem::path XdgPaths::userDefaultsFile() const {
    const auto config = xdg("XDG_CONFIG_HOME", ".config");
    return (config ? *config : std::filesystem::temp_directory_path()) / "tavrin" / "defaults.json";
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
