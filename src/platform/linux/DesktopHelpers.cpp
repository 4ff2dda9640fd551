#include "platform/linux/DesktopHelpers.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include <gio/gio.h>

#include "foundation/Folders.h"

namespace tavrin {

namespace {

std::string readText(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return {};
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool contains(const char* haystack, const char* needle) {
    return haystack && std::strstr(haystack, needle);
}

// A call on the session bus; null when it failed or nothing answers within a second.
GVariant* callSession(const char* name, const char* path, const char* interface, const char* method,
                      GVariant* parameters, const char* replyType) {
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (!bus) {
        g_clear_error(&error);
        if (parameters)
            g_variant_unref(g_variant_ref_sink(parameters));
        return nullptr;
    }
    GVariant* reply = g_dbus_connection_call_sync(bus, name, path, interface, method, parameters,
                                                  replyType ? G_VARIANT_TYPE(replyType) : nullptr,
                                                  G_DBUS_CALL_FLAGS_NO_AUTO_START, 1000, nullptr, &error);
    g_clear_error(&error);
    g_object_unref(bus);
    return reply;
}

bool copyTree(const std::filesystem::path& from, const std::filesystem::path& to, std::string& problem) {
    std::error_code ec;
    std::filesystem::remove_all(to, ec);
    std::filesystem::create_directories(to.parent_path(), ec);
    std::filesystem::copy(from, to, std::filesystem::copy_options::recursive, ec);
    if (ec)
        problem = "Could not copy the helper to " + to.string() + ": " + ec.message();
    return !ec;
}

// Deletes the helper's folder; false with `problem` set when it could not.
bool removeFolder(const std::filesystem::path& folder, std::string& problem) {
    std::error_code ec;
    std::filesystem::remove_all(folder, ec);
    if (ec)
        problem = "Could not delete " + folder.string() + ": " + ec.message();
    return !ec;
}

bool writeText(const std::filesystem::path& file, const std::string& text, std::string& problem) {
    std::error_code ec;
    std::filesystem::create_directories(file.parent_path(), ec);
    return replaceFile(file, text, problem);
}

// GNOME Shell's own settings, where it keeps which extensions are switched on. Null where GNOME
// Shell is not installed (asking for a missing schema would end the program).
GSettings* shellSettings() {
    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    GSettingsSchema* schema = source ? g_settings_schema_source_lookup(source, "org.gnome.shell", TRUE) : nullptr;
    if (!schema)
        return nullptr;
    g_settings_schema_unref(schema);
    return g_settings_new("org.gnome.shell");
}

std::vector<std::string> stringList(GSettings* settings, const char* key) {
    std::vector<std::string> list;
    gchar** values = g_settings_get_strv(settings, key);
    for (gchar** v = values; v && *v; ++v)
        list.emplace_back(*v);
    g_strfreev(values);
    return list;
}

void setStringList(GSettings* settings, const char* key, const std::vector<std::string>& list) {
    std::vector<const gchar*> values;
    for (const auto& value : list)
        values.push_back(value.c_str());
    values.push_back(nullptr);
    g_settings_set_strv(settings, key, values.data());
}

// Adds or removes the extension in the Shell's list of switched-on extensions (and the reverse in
// its list of switched-off ones), and waits until the settings are written.
bool switchExtension(bool on, std::string& problem) {
    GSettings* settings = shellSettings();
    if (!settings) {
        problem = "GNOME Shell's settings are not installed on this system.";
        return false;
    }
    for (const char* key : {"enabled-extensions", "disabled-extensions"}) {
        auto list = stringList(settings, key);
        std::erase(list, kGnomeExtensionUuid);
        if (on == (std::string_view(key) == "enabled-extensions"))
            list.emplace_back(kGnomeExtensionUuid);
        setStringList(settings, key, list);
    }
    g_settings_sync();
    g_object_unref(settings);
    return true;
}

// The running Shell's major version from the bus, else from `gnome-shell --version`; 0 when neither
// tells.
int gnomeShellMajor() {
    std::string version;
    if (GVariant* reply = callSession("org.gnome.Shell", "/org/gnome/Shell", "org.freedesktop.DBus.Properties", "Get",
                                      g_variant_new("(ss)", "org.gnome.Shell", "ShellVersion"), "(v)")) {
        GVariant* value = nullptr;
        g_variant_get(reply, "(v)", &value);
        if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING))
            version = g_variant_get_string(value, nullptr);
        g_variant_unref(value);
        g_variant_unref(reply);
    } else {
        gchar* out = nullptr;
        if (g_spawn_command_line_sync("gnome-shell --version", &out, nullptr, nullptr, nullptr) && out) {
            version = out;
            if (auto space = version.rfind(' '); space != std::string::npos)
                version = version.substr(space + 1);
        }
        g_free(out);
    }
    return std::atoi(version.c_str());
}

class GnomeShellExtension final : public DesktopHelper {
public:
    GnomeShellExtension(std::filesystem::path helpersDir, const std::filesystem::path& dataHome)
        : helpersDir_(std::move(helpersDir)), folder_(dataHome / "gnome-shell" / "extensions" / kGnomeExtensionUuid) {}

    std::string kind() const override { return "GNOME Shell extension"; }
    bool startsAtNextLogin() const override { return true; }

    State state() const override {
        if (GVariant* reply = callSession("org.gnome.Shell", "/org/gnome/Shell", "org.gnome.Shell.Extensions",
                                          "GetExtensionInfo", g_variant_new("(s)", kGnomeExtensionUuid), "(a{sv})")) {
            GVariant* info = g_variant_get_child_value(reply, 0);
            double shellState = 0;
            const bool known = g_variant_lookup(info, "state", "d", &shellState);
            g_variant_unref(info);
            g_variant_unref(reply);
            if (known && shellState == 1.0) // the Shell's ExtensionState.ENABLED: running
                return State::running;
        }
        if (!std::filesystem::exists(folder_ / "extension.js"))
            return State::notInstalled;
        GSettings* settings = shellSettings();
        if (!settings)
            return State::installed;
        const auto enabled = stringList(settings, "enabled-extensions");
        const bool userExtensionsOff = g_settings_get_boolean(settings, "disable-user-extensions");
        g_object_unref(settings);
        const bool on = std::find(enabled.begin(), enabled.end(), kGnomeExtensionUuid) != enabled.end();
        return on && !userExtensionsOff ? State::enabled : State::installed;
    }

    bool install(std::string& problem) override {
        const int major = gnomeShellMajor();
        if (major == 0) {
            problem = "Could not tell which GNOME Shell runs here (gnome-shell --version gave no answer).";
            return false;
        }
        const auto source = gnomeExtensionSource(helpersDir_, major);
        if (source.script.empty()) {
            problem = "The GNOME Shell extension is missing from " + helpersDir_.string() + ".";
            return false;
        }
        return writeText(folder_ / "metadata.json", source.metadata, problem) &&
               writeText(folder_ / "extension.js", source.script, problem) && switchExtension(true, problem);
    }

    bool remove(std::string& problem) override {
        // Off at once in the running Shell, then off for good and gone.
        if (GVariant* reply = callSession("org.gnome.Shell", "/org/gnome/Shell", "org.gnome.Shell.Extensions",
                                          "DisableExtension", g_variant_new("(s)", kGnomeExtensionUuid), nullptr))
            g_variant_unref(reply);
        std::string settingsProblem;
        switchExtension(false, settingsProblem); // no Shell settings: nothing switched it on
        return removeFolder(folder_, problem);
    }

private:
    std::filesystem::path helpersDir_;
    std::filesystem::path folder_;
};

std::string enabledKey() {
    return std::string(kKWinScriptId) + "Enabled";
}

class KWinScript final : public DesktopHelper {
public:
    KWinScript(std::filesystem::path helpersDir, const std::filesystem::path& dataHome,
               std::filesystem::path configHome)
        : helpersDir_(std::move(helpersDir)), folder_(dataHome / "kwin" / "scripts" / kKWinScriptId),
          kwinrc_(std::move(configHome) / "kwinrc") {}

    std::string kind() const override { return "KWin script"; }
    bool startsAtNextLogin() const override { return false; }

    State state() const override {
        if (GVariant* reply = callSession("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting", "isScriptLoaded",
                                          g_variant_new("(s)", kKWinScriptId), "(b)")) {
            gboolean loaded = FALSE;
            g_variant_get(reply, "(b)", &loaded);
            g_variant_unref(reply);
            if (loaded)
                return State::running;
        }
        if (!std::filesystem::exists(folder_ / "metadata.json"))
            return State::notInstalled;
        return configKey(readText(kwinrc_), "Plugins", enabledKey()) == "true" ? State::enabled : State::installed;
    }

    bool install(std::string& problem) override {
        if (!std::filesystem::exists(helpersDir_ / "kwin" / "metadata.json")) {
            problem = "The KWin script is missing from " + helpersDir_.string() + ".";
            return false;
        }
        if (!copyTree(helpersDir_ / "kwin", folder_, problem) ||
            !writeText(kwinrc_, withConfigKey(readText(kwinrc_), "Plugins", enabledKey(), "true"), problem))
            return false;
        reloadKWinScript(folder_ / "contents" / "code" / "main.js");
        return true;
    }

    bool remove(std::string& problem) override {
        if (GVariant* reply = callSession("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting", "unloadScript",
                                          g_variant_new("(s)", kKWinScriptId), nullptr))
            g_variant_unref(reply);
        const std::string config = readText(kwinrc_);
        if (!configKey(config, "Plugins", enabledKey()).empty() &&
            !writeText(kwinrc_, withConfigKey(config, "Plugins", enabledKey(), ""), problem))
            return false;
        return removeFolder(folder_, problem);
    }

private:
    std::filesystem::path helpersDir_;
    std::filesystem::path folder_;
    std::filesystem::path kwinrc_;
};

} // namespace

std::filesystem::path enabledKWinScript(const std::filesystem::path& dataHome,
                                        const std::filesystem::path& configHome) {
    const auto script = dataHome / "kwin" / "scripts" / kKWinScriptId / "contents" / "code" / "main.js";
    if (!std::filesystem::exists(script) ||
        configKey(readText(configHome / "kwinrc"), "Plugins", enabledKey()) != "true")
        return {};
    return script;
}

void reloadKWinScript(const std::filesystem::path& mainScript) {
    if (GVariant* reply = callSession("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting", "unloadScript",
                                      g_variant_new("(s)", kKWinScriptId), nullptr))
        g_variant_unref(reply);
    GVariant* loaded = callSession("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting", "loadScript",
                                   g_variant_new("(ss)", mainScript.c_str(), kKWinScriptId), "(i)");
    if (!loaded)
        return;
    gint32 id = -1;
    g_variant_get(loaded, "(i)", &id);
    g_variant_unref(loaded);
    // This script alone: KWin's `start` would also unload it again while its configuration, read
    // before the script was switched on, still says off.
    const std::string path = "/" + std::to_string(id);
    if (GVariant* reply = callSession("org.kde.KWin", path.c_str(), "org.kde.kwin.Script", "run", nullptr, nullptr))
        g_variant_unref(reply);
}

HelperDesktop helperDesktopOfSession() {
    const char* type = std::getenv("XDG_SESSION_TYPE");
    const bool wayland = type ? std::string_view(type) == "wayland" : std::getenv("WAYLAND_DISPLAY") != nullptr;
    if (!wayland)
        return HelperDesktop::none;
    const char* desktop = std::getenv("XDG_CURRENT_DESKTOP");
    if (contains(desktop, "GNOME"))
        return HelperDesktop::gnomeShell;
    if (contains(desktop, "KDE"))
        return HelperDesktop::kwin;
    return HelperDesktop::none;
}

std::unique_ptr<DesktopHelper> makeDesktopHelper(HelperDesktop desktop, const std::filesystem::path& helpersDir,
                                                 const std::filesystem::path& dataHome,
                                                 const std::filesystem::path& configHome) {
    switch (desktop) {
    case HelperDesktop::gnomeShell:
        return std::make_unique<GnomeShellExtension>(helpersDir, dataHome);
    case HelperDesktop::kwin:
        return std::make_unique<KWinScript>(helpersDir, dataHome, configHome);
    case HelperDesktop::none:
        break;
    }
    return nullptr;
}

ExtensionSource gnomeExtensionSource(const std::filesystem::path& helpersDir, int shellMajor) {
    const auto folder = helpersDir / "gnome-shell";
    const bool modules = shellMajor >= 45;
    const std::string wrapper = readText(folder / (modules ? "extension-45.js" : "extension-43.js"));
    const std::string helper = readText(folder / "helper.js");
    std::string metadata = readText(folder / "metadata.json");
    const std::string marker = "// @HELPER@";
    const auto at = wrapper.find(marker);
    const auto slot = metadata.find("@SHELL_VERSIONS@");
    if (helper.empty() || at == std::string::npos || slot == std::string::npos)
        return {};
    // The versions each format is known to load, and the running one, which uses nothing newer.
    std::vector<int> versions = modules ? std::vector<int>{45, 46, 47, 48, 49} : std::vector<int>{42, 43, 44};
    if (std::find(versions.begin(), versions.end(), shellMajor) == versions.end())
        versions.push_back(shellMajor);
    std::string list = "[";
    for (std::size_t i = 0; i < versions.size(); ++i)
        list += (i ? ", \"" : "\"") + std::to_string(versions[i]) + "\"";
    list += "]";
    metadata.replace(slot, std::string_view("@SHELL_VERSIONS@").size(), list);
    std::string script = wrapper;
    script.replace(at, marker.size(), helper);
    return {script, metadata};
}

std::string withConfigKey(const std::string& text, const std::string& group, const std::string& key,
                          const std::string& value) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    const std::string header = "[" + group + "]";
    auto groupAt = std::find(lines.begin(), lines.end(), header);
    if (groupAt == lines.end()) {
        if (value.empty())
            return text;
        if (!lines.empty() && !lines.back().empty())
            lines.emplace_back();
        lines.push_back(header);
        groupAt = lines.end() - 1;
    }
    auto end = std::find_if(groupAt + 1, lines.end(), [](const std::string& l) { return !l.empty() && l[0] == '['; });
    auto keyAt = std::find_if(groupAt + 1, end, [&](const std::string& l) {
        const auto eq = l.find('=');
        return eq != std::string::npos && l.substr(0, eq) == key;
    });
    if (keyAt != end) {
        if (value.empty())
            lines.erase(keyAt);
        else
            *keyAt = key + "=" + value;
    } else if (!value.empty()) {
        // After the group's last setting, before the blank lines that end it.
        auto last = end;
        while (last != groupAt + 1 && (last - 1)->empty())
            --last;
        lines.insert(last, key + "=" + value);
    }
    std::string out;
    for (const auto& line : lines)
        out += line + "\n";
    return out;
}

std::string configKey(const std::string& text, const std::string& group, const std::string& key) {
    std::istringstream in(text);
    bool inGroup = false;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line[0] == '[')
            inGroup = line == "[" + group + "]";
        else if (inGroup && line.rfind(key + "=", 0) == 0)
            return line.substr(key.size() + 1);
    }
    return {};
}

} // namespace tavrin
