#pragma once

#include <filesystem>
#include <iosfwd>

namespace tavrin {

struct DesktopApplicationOptions {
    std::filesystem::path dataDir;      // empty: the XDG folders
    std::filesystem::path catalogueDir; // empty: the shipped resources
};

// The desktop application: the tray and its menu, the one window, clicks in other applications
// counted, until the user quits it (from the menu, by SIGTERM, or with the session). A second
// start asks the running one to show its window and returns 0 at once. Returns 1 with a line on
// `err` when it cannot start (no display, no accessibility bus, another Tavrin counting clicks,
// a database that cannot be opened).
int runDesktopApplication(int& argc, char** argv, const DesktopApplicationOptions& options, std::ostream& out,
                          std::ostream& err);

} // namespace tavrin
