#include "platform/linux/DesktopEntries.h"
#include "foundation/Text.h"

#include <algorithm>
#include <fstream>
#include <glib.h>
#include <iomanip>
#include <memory>
#include <set>
#include <sstream>

namespace tavrin {

namespace {

// The program of an Exec line: its first word, without quotes or folders ("/usr/bin/foo %U" → "foo").
std::string execProgram(const std::string& exec) {
    std::string word;
    std::istringstream in(exec);
    in >> std::quoted(word);
    if (word == "env") { // "env VAR=1 program"
        while (in >> std::quoted(word) && word.find('=') != std::string::npos) {
        }
    }
    return std::filesystem::path(word).filename().string();
}

// One argument of an Exec line, quoted: inside the quotes '"', '`', '$' and '\\' take a backslash,
// '%' is doubled, and the value's own backslashes are doubled again as in every string value.
std::string execArgument(const std::string& argument) {
    std::string quoted = "\"";
    for (const char c : argument) {
        if (c == '"' || c == '`' || c == '$')
            quoted += std::string("\\\\") + c;
        else if (c == '\\')
            quoted += "\\\\\\\\";
        else if (c == '%')
            quoted += "%%";
        else
            quoted += c;
    }
    return quoted + "\"";
}

} // namespace

std::optional<DesktopEntry> DesktopEntryIndex::parse(const std::filesystem::path& file, std::string id) {
    std::unique_ptr<GKeyFile, decltype(&g_key_file_free)> keys(g_key_file_new(), g_key_file_free);
    if (!g_key_file_load_from_file(keys.get(), file.c_str(), G_KEY_FILE_NONE, nullptr))
        return std::nullopt;
    constexpr const char* group = G_KEY_FILE_DESKTOP_GROUP;
    // A string value with its escapes undone; the untranslated Name, which the catalogue knows.
    const auto text = [&](const char* key) -> std::optional<std::string> {
        gchar* value = g_key_file_get_string(keys.get(), group, key, nullptr);
        if (!value)
            return std::nullopt;
        std::string out = trimmed(value);
        g_free(value);
        return out;
    };
    const bool hidden = g_key_file_get_boolean(keys.get(), group, G_KEY_FILE_DESKTOP_KEY_HIDDEN, nullptr);
    if (text(G_KEY_FILE_DESKTOP_KEY_TYPE) != G_KEY_FILE_DESKTOP_TYPE_APPLICATION || hidden)
        return std::nullopt;
    DesktopEntry entry;
    entry.id = std::move(id);
    entry.name = text(G_KEY_FILE_DESKTOP_KEY_NAME).value_or("");
    entry.startupWMClass = text(G_KEY_FILE_DESKTOP_KEY_STARTUP_WM_CLASS);
    entry.exec = text(G_KEY_FILE_DESKTOP_KEY_EXEC);
    if (entry.name.empty())
        return std::nullopt;
    return entry;
}

DesktopEntryIndex DesktopEntryIndex::load(const std::vector<std::filesystem::path>& applicationFolders) {
    DesktopEntryIndex index;
    std::set<std::string> seen;
    for (const auto& folder : applicationFolders) {
        std::error_code ec;
        std::filesystem::recursive_directory_iterator it(
            folder, std::filesystem::directory_options::skip_permission_denied, ec);
        if (ec)
            continue;
        for (; it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
            if (ec)
                break;
            const auto& path = it->path();
            if (path.extension() != ".desktop" || !it->is_regular_file(ec))
                continue;
            auto relative = std::filesystem::relative(path, folder, ec).replace_extension().string();
            std::replace(relative.begin(), relative.end(), '/', '-');
            if (!seen.insert(relative).second)
                continue;
            if (auto entry = parse(path, relative))
                index.entries_.push_back(std::move(*entry));
        }
    }
    return index;
}

std::optional<std::string> DesktopEntryIndex::displayNameFor(const std::string& instance,
                                                             const std::string& wmClass) const {
    const auto a = lowercased(instance), b = lowercased(wmClass);
    const auto matches = [&](const std::string& text) {
        const auto lower = lowercased(text);
        return !lower.empty() && (lower == a || lower == b);
    };
    for (const auto& entry : entries_)
        if (entry.startupWMClass && matches(*entry.startupWMClass))
            return entry.name;
    for (const auto& entry : entries_) {
        const auto dot = entry.id.rfind('.');
        if (matches(entry.id) || (dot != std::string::npos && matches(entry.id.substr(dot + 1))))
            return entry.name;
    }
    for (const auto& entry : entries_)
        if (entry.exec && matches(execProgram(*entry.exec)))
            return entry.name;
    return std::nullopt;
}

std::vector<std::filesystem::path> xdgApplicationFolders() {
    std::vector<std::filesystem::path> folders{std::filesystem::path(g_get_user_data_dir()) / "applications"};
    for (const gchar* const* dir = g_get_system_data_dirs(); *dir; ++dir)
        folders.emplace_back(std::filesystem::path(*dir) / "applications");
    return folders;
}

std::filesystem::path xdgAutostartFolder() {
    return std::filesystem::path(g_get_user_config_dir()) / "autostart";
}

bool setAutostartEntry(const std::filesystem::path& autostartFolder, const std::filesystem::path& executable,
                       bool enabled) {
    std::error_code ec;
    const auto file = autostartFolder / "tavrin.desktop";
    if (!enabled) {
        std::filesystem::remove(file, ec);
        return !ec;
    }
    std::filesystem::create_directories(autostartFolder, ec);
    auto temporary = file;
    temporary += ".tmp";
    {
        std::ofstream out(temporary, std::ios::trunc);
        // The application's own entry with the autostart keys: started after the panel, so
        // that the tray is there for its icon.
        out << "[Desktop Entry]\n"
               "Type=Application\n"
               "Name=Tavrin\n"
               "Comment=Learn the keyboard shortcuts of the buttons you click\n"
               "Exec="
            << execArgument(executable.string())
            << "\n"
               "Icon=app.tavrin.tavrin\n"
               "Terminal=false\n"
               "X-GNOME-Autostart-enabled=true\n"
               "X-KDE-autostart-after=panel\n";
        if (!out.flush())
            return false;
    }
    std::filesystem::rename(temporary, file, ec);
    return !ec;
}

} // namespace tavrin
