#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/DesktopHelper.h"

namespace tavrin {

// Tavrin's name on the session bus, which the helpers answer alone, and where it takes their calls.
inline constexpr const char* kTavrinBusName = "app.tavrin.tavrin";
inline constexpr const char* kHelperObjectPath = "/app/tavrin/Helper";
// The GNOME Shell extension's interface (exported by the Shell) and the one Tavrin serves for the
// KWin script, which can only call out.
inline constexpr const char* kGnomeHelperInterface = "app.tavrin.Helper1";
inline constexpr const char* kKWinHelperInterface = "app.tavrin.HelperClient1";
inline constexpr const char* kGnomeExtensionUuid = "helper@tavrin.app";
inline constexpr const char* kKWinScriptId = "tavrin-helper";

// Which desktop a Wayland session runs, for its helper.
enum class HelperDesktop { none, gnomeShell, kwin };

// From the session's variables (XDG_SESSION_TYPE or WAYLAND_DISPLAY, XDG_CURRENT_DESKTOP): GNOME
// Shell or KWin in a Wayland session, else none (an X11 session lets Tavrin read the pointer
// itself).
HelperDesktop helperDesktopOfSession();

// The helper for `desktop`, installed from `helpersDir` (the shipped "helpers" folder) into the
// user's folders under `dataHome` and `configHome` (the XDG data and configuration folders).
// Null for `none`.
std::unique_ptr<DesktopHelper> makeDesktopHelper(HelperDesktop desktop, const std::filesystem::path& helpersDir,
                                                 const std::filesystem::path& dataHome,
                                                 const std::filesystem::path& configHome);

// The KWin script's main file when the user has installed it and switched it on, else empty.
std::filesystem::path enabledKWinScript(const std::filesystem::path& dataHome, const std::filesystem::path& configHome);
// Loads a fresh copy of the KWin script into the running KWin and starts it. KWin finds scripts
// installed after it started only this way; it loads the switched-on ones itself at login.
void reloadKWinScript(const std::filesystem::path& mainScript);

// The GNOME Shell extension's source for a Shell of this major version: the shared part put into the
// extension format that version loads (the old one before 45, ES modules from 45 on), and its
// metadata. Empty strings when the shipped files are missing.
struct ExtensionSource {
    std::string script;
    std::string metadata;
};
ExtensionSource gnomeExtensionSource(const std::filesystem::path& helpersDir, int shellMajor);

// The text of a KDE configuration file (kwinrc) with `key` of `group` set to `value`, or removed when
// `value` is empty; the other lines stay as they are.
std::string withConfigKey(const std::string& text, const std::string& group, const std::string& key,
                          const std::string& value);
// The value of `key` in `group`, or an empty string.
std::string configKey(const std::string& text, const std::string& group, const std::string& key);

} // namespace tavrin
