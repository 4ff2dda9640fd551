#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/Paths.h"

namespace tavrin {

class DatabaseManager;
class JsonFileUserDefaults;

// What a data command works on: the user's folders, preferences and database, opened as the
// application opens them. The commands write only through these, so that a running application
// sees the change in the preferences file at once.
struct StoredData {
    const Paths& paths;
    JsonFileUserDefaults& defaults;
    DatabaseManager& database;
    const Clock& clock;
};

// `tavrin pause [--for MINUTES]` and `tavrin resume`.
int runPause(StoredData& data, std::optional<std::int64_t> minutes, std::ostream& out);
int runResume(StoredData& data, std::ostream& out);

// `tavrin data show`: per application and site the clicks counted and how many were identified,
// the marks, the shortcut uses and the shortcuts learned from the application, then where the
// files are. No interface text: places by their names, actions not at all.
int runDataShow(StoredData& data, std::ostream& out, std::ostream& err);

// `tavrin data export --out FILE` ("-" for standard output): the records and the preferences as
// JSON, in the format the README describes. The file is readable by the user alone.
int runDataExport(StoredData& data, const std::filesystem::path& file, std::ostream& out, std::ostream& err);

struct ForgetOptions {
    std::optional<std::string> app; // an application or site, as `data show` names it; none: all
    bool yes = false;               // no question
    bool interactive = false;       // standard input is a terminal: ask
};
// `tavrin data forget`: deletes the records (all, or one place's) and what was learned from the
// applications, keeps the catalogue and the preferences; with --all also makes a new anonymous id
// and drops the usage events waiting to be sent. A running application reads its lists again.
int runDataForget(StoredData& data, const ForgetOptions& options, std::istream& in, std::ostream& out,
                  std::ostream& err);

// `tavrin data sharing [on|off]`: prints, or sets, the agreement to share anonymous usage data, as
// the first-run flow's switch sets it.
int runDataSharing(StoredData& data, std::optional<bool> on, std::ostream& out);

} // namespace tavrin
