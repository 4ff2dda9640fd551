#pragma once

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace tavrin {

// What `tavrin` without a subcommand starts the desktop application with.
struct DesktopLaunch {
    std::filesystem::path dataDir;
    std::filesystem::path catalogueDir;
};

// The `tavrin` command: parses `args` (without the program name), runs the subcommand headless,
// writes results to `out` and one-line errors to `err`, and returns the exit status. Without a
// subcommand it hands over to `desktop` (the desktop application) and returns its status.
int runCommandLine(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
                   const std::function<int(const DesktopLaunch&)>& desktop = {});

} // namespace tavrin
