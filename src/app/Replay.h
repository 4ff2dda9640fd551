#pragma once

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

#include "foundation/Date.h"

namespace tavrin {

struct ReplayOptions {
    std::filesystem::path session;                  // JSON Lines, one event per line
    std::optional<std::filesystem::path> dataDir;   // default: a temporary folder, removed afterwards
    std::filesystem::path catalogueDir;             // the three catalogue exports
    std::optional<std::filesystem::path> eventsOut; // analytics events, one JSON object per line
    std::optional<Date> start;                      // wall-clock time at which virtual time begins
    bool cards = false; // print the cheat sheet as a person reads it instead of the state as JSON
};

// Plays a recorded session through the application's own wiring on a fake desktop with virtual
// time and prints the final cheat-sheet state as JSON (or, with `cards`, as text). The whole file is checked before
// anything runs: a malformed line stops the replay with its number and what was wrong. Returns the exit status.
int runReplay(const ReplayOptions& options, std::ostream& out, std::ostream& err);

struct AppEnvironment;
class AccessibilityManaging;
class DatabaseManager;
class FakeDesktop;
class ScreenshotManaging;
class UserDefaults;
class VirtualScheduler;

// The application's wiring on a fake desktop with virtual time, as a replay runs it: everything
// but the shell.
AppEnvironment fakeDesktopEnvironment(VirtualScheduler& scheduler, FakeDesktop& desktop, UserDefaults& defaults,
                                      std::function<DatabaseManager&()> database, AccessibilityManaging& accessibility,
                                      ScreenshotManaging& screenshots);

} // namespace tavrin
