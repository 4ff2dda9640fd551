#include "app/CommandLine.h"

#include <iomanip>
#include <memory>
#include <optional>
#include <ostream>

#include <CLI/CLI.hpp>

#include "app/ConsoleLogSink.h"
#include "app/Replay.h"
#include "database/DatabaseManager.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "platform/linux/XdgPaths.h"

#ifndef TAVRIN_VERSION
#define TAVRIN_VERSION "0.0.0"
#endif

namespace tavrin {

namespace {

struct CommonOptions {
    std::string dataDir;
    std::string catalogueDir;
    bool verbose = false;
};

void addCommonOptions(CLI::App& command, CommonOptions& options) {
    command
        .add_option("--data-dir", options.dataDir,
                    "Keep the database and preferences in DIR instead of the XDG folders")
        ->option_text("DIR");
    command.add_option("--catalogue", options.catalogueDir, "Load the catalogue exports from DIR")
        ->option_text("DIR")
        ->check(CLI::ExistingDirectory);
    command.add_flag("-v,--verbose", options.verbose, "Print the program's diagnostic lines on standard error");
}

// The paths, preferences and database of one headless run.
struct Session {
    std::unique_ptr<Paths> paths;
    std::unique_ptr<JsonFileUserDefaults> defaults;
    std::unique_ptr<DatabaseManager> database;
};

// Builds the store as the application does. Prints a one-line reason and gives no value when
// the data folder cannot be used.
std::optional<Session> openSession(const CommonOptions& options, std::ostream& err) {
    Session session;
    if (options.dataDir.empty())
        session.paths = std::make_unique<XdgPaths>();
    else
        session.paths =
            std::make_unique<DataDirPaths>(std::filesystem::absolute(options.dataDir), defaultResourcesDirectory());
    const auto catalogue = options.catalogueDir.empty() ? session.paths->resourcesDirectory()
                                                        : std::filesystem::path(options.catalogueDir);
    try {
        session.defaults = std::make_unique<JsonFileUserDefaults>(session.paths->userDefaultsFile());
        session.database = std::make_unique<DatabaseManager>(DatabaseManager::Configuration{
            .paths = session.paths.get(),
            .defaults = session.defaults.get(),
            .clock = nullptr,
            .catalogueDirectory = catalogue,
        });
    } catch (const std::exception& error) {
        err << "tavrin: cannot open the database: " << error.what() << '\n';
        return std::nullopt;
    }
    return session;
}

// "2026-11-22", "2026-11-22T09:00", "2026-11-22T09:00:00" or the database's full form, UTC.
std::optional<Date> parseIsoDate(std::string text) {
    if (!text.empty() && text.back() == 'Z')
        text.pop_back();
    static const std::string fullTail = "T00:00:00.000";
    if (text.size() >= 10 && text.size() < 23)
        text += fullTail.substr(text.size() - 10);
    return parseDate(text);
}

int runStatus(const CommonOptions& options, std::ostream& out, std::ostream& err) {
    auto session = openSession(options, err);
    if (!session)
        return 1;
    out << "Database: " << session->database->path().string() << '\n';
    out << "Schema version: " << session->defaults->integerForKey(DatabaseManager::versionKey) << '\n';
    out << "Tables:\n";
    for (const auto& [table, count] : session->database->tableRowCounts()) {
        out << "  " << std::left << std::setw(24) << table;
        if (count < 0)
            out << "unreadable\n";
        else
            out << count << '\n';
    }
    return 0;
}

} // namespace

int runCommandLine(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    CLI::App app{"Tavrin learns which buttons you click and teaches you their keyboard shortcuts.", "tavrin"};
    app.set_version_flag("--version", std::string("tavrin ") + TAVRIN_VERSION);
    app.require_subcommand(0, 1);

    CommonOptions options;
    CLI::App* status = app.add_subcommand("status", "Print the database path, schema version and row counts");
    addCommonOptions(*status, options);

    ReplayOptions replayOptions;
    std::string replayStart, eventsOut;
    CLI::App* replay = app.add_subcommand(
        "replay", "Play a recorded session on a fake desktop with virtual time and print the final state as JSON");
    replay->add_option("session", replayOptions.session, "The session, JSON Lines")
        ->required()
        ->check(CLI::ExistingFile);
    replay->add_option("--events-out", eventsOut, "Write every analytics event, one JSON object per line")
        ->option_text("FILE");
    replay->add_option("--start", replayStart, "Wall-clock time at which the session starts (2026-11-22T09:00:00)")
        ->option_text("ISO-DATE");
    addCommonOptions(*replay, options);

    std::vector<std::string> reversed(args.rbegin(), args.rend());
    try {
        app.parse(reversed);
    } catch (const CLI::CallForHelp&) {
        out << app.help();
        return 0;
    } catch (const CLI::CallForAllHelp&) {
        out << app.help("", CLI::AppFormatMode::All);
        return 0;
    } catch (const CLI::CallForVersion& version) {
        out << version.what() << '\n';
        return 0;
    } catch (const CLI::ParseError& error) {
        err << "tavrin: " << error.what() << " (see tavrin --help)\n";
        return 2;
    }

    auto sink = std::make_shared<ConsoleLogSink>(err, options.verbose);
    auto previous = setLogSink(sink);
    int result = 0;
    if (status->parsed()) {
        result = runStatus(options, out, err);
    } else if (replay->parsed()) {
        if (!replayStart.empty()) {
            replayOptions.start = parseIsoDate(replayStart);
            if (!replayOptions.start) {
                err << "tavrin: --start: not a date: " << replayStart << " (see tavrin --help)\n";
                setLogSink(previous);
                return 2;
            }
        }
        if (!options.dataDir.empty())
            replayOptions.dataDir = std::filesystem::absolute(options.dataDir);
        replayOptions.catalogueDir =
            options.catalogueDir.empty() ? defaultResourcesDirectory() : std::filesystem::path(options.catalogueDir);
        if (!eventsOut.empty())
            replayOptions.eventsOut = eventsOut;
        result = runReplay(replayOptions, out, err);
    } else {
        out << "The desktop application is not part of this build yet. Try `tavrin status` or `tavrin --help`.\n";
    }
    setLogSink(previous);
    return result;
}

} // namespace tavrin
