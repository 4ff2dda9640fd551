#pragma once

#include <filesystem>
#include <iosfwd>
#include <istream>
#include <optional>
#include <string>

namespace tavrin {

struct WatchOptions {
    std::filesystem::path dataDir;
    std::filesystem::path catalogueDir;
    bool json = false;              // one JSON object per line instead of text blocks
    std::optional<double> duration; // stop after this many seconds; else at Ctrl+C
    std::string analyticsEndpoint;  // empty: the analytics service's (tests use their own)
};

// Runs the application core on the desktop session (X11 or Wayland) and prints what the session
// lets Tavrin see, then the place in front and its list whenever they change. Exit status 0 after Ctrl+C or the
// duration, 1 when it cannot start.
int runWatch(const WatchOptions& options, std::ostream& out, std::ostream& err);

struct SetupOptions {
    std::filesystem::path dataDir;
    std::filesystem::path catalogueDir;
    bool acceptDefaults = false; // no questions, no practice; accessibility is still requested
};

// The first-run flow on the terminal: the same actions the first-run screens send, with the
// practice shortcut pressed for real. Exit status 0 when the flow completed.
int runSetup(const SetupOptions& options, std::istream& in, std::ostream& out, std::ostream& err);

struct InspectOptions {
    double x = 0, y = 0; // screen pixels from the top left
    int repeat = 1;      // more than one: also print the median and worst cost of each half
    // Also save the picture a click there would give to this PNG file, and classify it as taken
    // in `app` on `domain` (names as the state holds them).
    std::filesystem::path picture;
    std::string app;
    std::string domain;
};

// For building catalogues and measuring: finds the element under a screen point as a click
// would, prints the attribute walk and the value the mapping is looked up with, and how long
// finding and reading took. With a picture file, first takes the picture around the point and
// prints the classifier's label; the element is then read where accessibility allows. Nothing is
// stored.
int runInspect(const InspectOptions& options, std::ostream& out, std::ostream& err);

} // namespace tavrin
