#pragma once

#include <string>

namespace tavrin {

// A small helper that the user adds to the desktop (a GNOME Shell extension, a KWin script) so that
// Tavrin learns, in a Wayland session, where the pointer is in the window in front and which window
// that is. It tells Tavrin alone, and only while Tavrin runs. Calls block briefly on the session
// bus (a second at most); any thread.
class DesktopHelper {
public:
    enum class State {
        notInstalled,
        installed, // its files are there, but it is switched off
        enabled,   // switched on; it starts with the desktop (GNOME Shell: at the next login)
        running,   // the desktop runs it now
    };

    virtual ~DesktopHelper() = default;

    // What the user knows the helper as: "GNOME Shell extension", "KWin script".
    virtual std::string kind() const = 0;
    virtual State state() const = 0;
    // Copies the helper into the user's folder for it and switches it on. False with `problem`
    // set (a sentence) when it could not.
    virtual bool install(std::string& problem) = 0;
    // Switches the helper off and deletes its files. False with `problem` set when it could not.
    virtual bool remove(std::string& problem) = 0;
    // Whether the desktop starts a newly switched-on helper only at the next login.
    virtual bool startsAtNextLogin() const = 0;
};

// "not installed", "installed, switched off", "switched on", "running".
inline const char* describe(DesktopHelper::State state) {
    switch (state) {
    case DesktopHelper::State::notInstalled:
        return "not installed";
    case DesktopHelper::State::installed:
        return "installed, switched off";
    case DesktopHelper::State::enabled:
        return "switched on";
    case DesktopHelper::State::running:
        return "running";
    }
    return "not installed";
}

} // namespace tavrin
