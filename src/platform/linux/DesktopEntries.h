#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tavrin {

// What the session's application launchers say about an application: the shown name and how
// to recognise its windows.
struct DesktopEntry {
    std::string id; // "org.gnome.Nautilus" for .../applications/org.gnome.Nautilus.desktop
    std::string name;
    std::optional<std::string> startupWMClass;
    std::optional<std::string> exec;
};

// The desktop entries of the XDG application folders, looked up by a window's WM_CLASS.
class DesktopEntryIndex {
public:
    // Reads every "*.desktop" below the given "applications" folders; an entry found in an
    // earlier folder hides one with the same id in a later folder.
    static DesktopEntryIndex load(const std::vector<std::filesystem::path>& applicationFolders);

    // The display name for a window whose WM_CLASS is (instance, class), case-insensitively:
    // the entry whose StartupWMClass is either, else whose id (or its last dotted part) is
    // either, else whose Exec program is either. No value when none matches.
    std::optional<std::string> displayNameFor(const std::string& instance, const std::string& wmClass) const;

    const std::vector<DesktopEntry>& entries() const { return entries_; }

    // Parses one file; no value for a file that is not a shown application entry.
    static std::optional<DesktopEntry> parse(const std::filesystem::path& file, std::string id);

private:
    std::vector<DesktopEntry> entries_;
};

// $XDG_DATA_HOME/applications, then each of $XDG_DATA_DIRS (/usr/local/share:/usr/share).
std::vector<std::filesystem::path> xdgApplicationFolders();

// The login item: an XDG autostart entry that starts `executable` with the session.
// Written atomically; removing a missing entry succeeds. False when the folder is not writable.
bool setAutostartEntry(const std::filesystem::path& autostartFolder, const std::filesystem::path& executable,
                       bool enabled);

// $XDG_CONFIG_HOME/autostart (~/.config/autostart).
std::filesystem::path xdgAutostartFolder();

} // namespace tavrin
