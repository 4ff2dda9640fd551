#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "platform/DesktopHelper.h"

namespace tavrin {

class HelperLink;

// The desktop helper this session takes (the GNOME Shell extension or the KWin script in a Wayland
// session of either), from the shipped helpers; null where none is needed or known.
std::unique_ptr<DesktopHelper> sessionDesktopHelper();

// The link to the desktop helper the user installed (GNOME Shell, KWin), or null; a helper that
// cannot be reached is logged.
std::unique_ptr<HelperLink> startSessionHelperLink();

// What the helper sees and does, for the user to agree to before it is installed.
std::string helperConsentText(const DesktopHelper& helper);
// Installs and switches on the helper; the line to show for what happened.
std::string installHelper(DesktopHelper& helper);
// Removes the helper; the line to show for what happened.
std::string removeHelper(DesktopHelper& helper);

// `tavrin helper [status|install|remove]`. Exit status 0 when done, 1 when it failed or this
// session has no helper to install, 2 for an unknown action.
int runHelper(const std::string& action, std::ostream& out, std::ostream& err);

} // namespace tavrin
