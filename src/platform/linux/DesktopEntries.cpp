#include "platform/linux/DesktopEntries.h"
#include "foundation/Folders.h"
#include "foundation/Text.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iomanip>
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
    std::ifstream in(file);
    if (!in)
        return std::nullopt;
    DesktopEntry entry;
    entry.id = std::move(id);
    bool inMainGroup = false, hidden = false;
    std::string type;
    for (std::string line; std::getline(in, line);) {
        line = trimmed(line);
        if (line.empty() || line[0] == '#')
            continue;
        if (line[0] == '[') {
            inMainGroup = line == "[Desktop Entry]";
            continue;
        }
        if (!inMainGroup)
            continue;
        const auto equals = line.find('=');
        if (equals == std::string::npos)
            continue;
        const auto key = trimmed(line.substr(0, equals));
        const auto value = trimmed(line.substr(equals + 1));
        if (key == "Name")
            entry.name = value;
        else if (key == "StartupWMClass")
            entry.startupWMClass = value;
        else if (key == "Exec")
            entry.exec = value;
        else if (key == "Type")
            type = value;
        else if ((key == "Hidden" || key == "NoDisplay") && lowercased(value) == "true")
            hidden = key == "Hidden" ? true : hidden;
    }
    if (type != "Application" || entry.name.empty() || hidden)
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
    std::vector<std::filesystem::path> folders;
    if (const char* data = std::getenv("XDG_DATA_HOME"); data && *data == '/')
        folders.emplace_back(std::filesystem::path(data) / "applications");
    else if (auto home = homeFolder())
        folders.emplace_back(*home / ".local/share/applications");
    const char* dirs = std::getenv("XDG_DATA_DIRS");
    std::istringstream list(dirs && *dirs ? dirs : "/usr/local/share:/usr/share");
    for (std::string dir; std::getline(list, dir, ':');)
        if (!dir.empty() && dir[0] == '/')
            folders.emplace_back(std::filesystem::path(dir) / "applications");
    return folders;
}

std::filesystem::path xdgAutostartFolder() {
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && *config == '/')
        return std::filesystem::path(config) / "autostart";
    return homeFolder().value_or("/tmp") / ".config" / "autostart";
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
