#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace tavrin {

// The `tavrin` command: parses `args` (without the program name), runs the subcommand headless,
// writes results to `out` and one-line errors to `err`, and returns the exit status.
int runCommandLine(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

} // namespace tavrin
