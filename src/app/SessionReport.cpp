#include "app/SessionReport.h"

namespace tavrin {

std::vector<std::string> describeSession(const SessionCapabilities& c) {
    if (c.session.empty())
        return {"Session: none (neither DISPLAY nor WAYLAND_DISPLAY is set): nothing is watched here."};
    std::vector<std::string> lines{"Session: " + c.session};
    lines.push_back(std::string("  Application in front: yes") +
                    (c.everyWindow ? "" : "; the window title only of the window in front"));
    switch (c.input.keys) {
    case InputCapabilities::Keys::everyApplication:
        lines.push_back("  Keys: every application (" + c.input.keySource + ")");
        break;
    case InputCapabilities::Keys::accessibleApplications:
        lines.push_back("  Keys: the applications that pass their keys to the accessibility bus (GTK, Qt), from " +
                        c.input.keySource + "; keys typed in other applications are not counted");
        break;
    case InputCapabilities::Keys::none:
        lines.push_back("  Keys: none can be seen in this session");
        break;
    }
    switch (c.input.clicks) {
    case InputCapabilities::Clicks::everyApplication:
        lines.push_back("  Clicks: every application");
        break;
    case InputCapabilities::Clicks::x11Applications:
        lines.push_back("  Clicks: X11 applications (XWayland) only; clicks in Wayland applications are not counted "
                        "yet");
        break;
    case InputCapabilities::Clicks::none:
        lines.push_back("  Clicks: none can be seen in this session (no XWayland); keys and the application in front "
                        "still count");
        break;
    }
    return lines;
}

} // namespace tavrin
