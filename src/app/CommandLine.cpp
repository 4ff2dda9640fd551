#include "app/CommandLine.h"

#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <ostream>

#include <CLI/CLI.hpp>

#include <unistd.h>

#include "app/CatalogueCommand.h"
#include "app/CheatsheetShortcut.h"
#include "app/CommandSession.h"
#include "app/ConsoleLogSink.h"
#include "app/DataCommands.h"
#include "app/DesktopCommands.h"
#include "app/DesktopSession.h"
#include "app/HelperCommand.h"
#include "app/ProgressCommand.h"
#include "app/Replay.h"
#include "app/StoredDataCommands.h"
#include "foundation/Date.h"
#include "platform/common/JsonFileUserDefaults.h"

#ifndef TAVRIN_VERSION
#define TAVRIN_VERSION "0.0.0"
#endif

namespace tavrin {

namespace {

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

// "2026-11-22", "2026-11-22T09:00", "2026-11-22T09:00:00" or the database's full form, UTC.
std::optional<Date> parseIsoDate(std::string text) {
    if (!text.empty() && text.back() == 'Z')
        text.pop_back();
    static const std::string fullTail = "T00:00:00.000";
    if (text.size() >= 10 && text.size() < 23)
        text += fullTail.substr(text.size() - 10);
    return parseDate(text);
}

} // namespace

int runCommandLine(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
                   const std::function<int(const DesktopLaunch&)>& desktop) {
    CLI::App app{"Tavrin learns which buttons you click and teaches you their keyboard shortcuts. Without a "
                 "command it starts the desktop application: a tray icon with its menu and the cheat-sheet window.",
                 "tavrin"};
    app.set_version_flag("--version", std::string("tavrin ") + TAVRIN_VERSION);
    app.require_subcommand(0, 1);
    DesktopLaunch launch;
    app.add_option("--data-dir", launch.dataDir,
                   "The desktop application keeps the database and preferences in DIR instead of the XDG folders")
        ->option_text("DIR");
    app.add_option("--catalogue", launch.catalogueDir, "The desktop application loads the catalogue exports from DIR")
        ->option_text("DIR")
        ->check(CLI::ExistingDirectory);

    CommonOptions options;
    CLI::App* status = app.add_subcommand("status", "Print the database path, schema version and row counts");
    bool coverage = false;
    status->add_flag("--coverage", coverage,
                     "Print per application and site how many clicks were identified and how many stayed unknown");
    addCommonOptions(*status, options);

    RecommendationOptions recommendationOptions;
    CLI::App* recommendations =
        app.add_subcommand("recommendations", "Print the shortcut list for a namespace or an application");
    auto* byId = recommendations->add_option("--namespace-id", recommendationOptions.namespaceId,
                                             "The list that the store builds for this namespace id");
    auto* byApp = recommendations->add_option("--app", recommendationOptions.app,
                                              "The list the cheat sheet shows for this application");
    byId->excludes(byApp);
    recommendations->add_option("--domain", recommendationOptions.domain, "The site in front (with --app)")
        ->needs(byApp);
    recommendations->add_option("--category", recommendationOptions.category, "recommended or learned (with --app)")
        ->check(CLI::IsMember({"recommended", "learned"}))
        ->needs(byApp);
    recommendations->add_option("--limit", recommendationOptions.limit, "At most this many (with --namespace-id)")
        ->check(CLI::Range(1, 100))
        ->needs(byId);
    auto* learnedFlag = recommendations->add_flag("--learned", recommendationOptions.learned,
                                                  "The learned shortcuts instead (with --namespace-id)");
    learnedFlag->needs(byId);
    recommendations
        ->add_flag("--bookmarked", recommendationOptions.bookmarked,
                   "The bookmarked shortcuts instead (with --namespace-id)")
        ->needs(byId)
        ->excludes(learnedFlag);
    recommendations->add_flag("--json", recommendationOptions.json, "Print JSON");
    addCommonOptions(*recommendations, options);

    ReplayOptions replayOptions;
    std::string replayStart, eventsOut;
    CLI::App* replay = app.add_subcommand(
        "replay", "Play a recorded session on a fake desktop with virtual time and print the final state as JSON "
                  "(or the cheat sheet, with --cards)");
    replay->add_option("session", replayOptions.session, "The session, JSON Lines")
        ->required()
        ->check(CLI::ExistingFile);
    replay->add_option("--events-out", eventsOut, "Write every analytics event, one JSON object per line")
        ->option_text("FILE");
    replay->add_option("--start", replayStart, "Wall-clock time at which the session starts (2026-11-22T09:00:00)")
        ->option_text("ISO-DATE");
    replay->add_flag("--cards", replayOptions.cards,
                     "Print the cheat sheet as it would show: the place, the cards, their keys and savings");
    addCommonOptions(*replay, options);

    WatchOptions watchOptions;
    double watchSeconds = 0;
    CLI::App* watch = app.add_subcommand(
        "watch", "Run Tavrin on this X11 session and print the application in front and its list as they change");
    watch->add_flag("--json", watchOptions.json, "Print one JSON object per line");
    auto* watchDuration = watch->add_option("--duration", watchSeconds, "Stop after this many seconds")
                              ->option_text("SECONDS")
                              ->check(CLI::PositiveNumber);
    addCommonOptions(*watch, options);

    SetupOptions setupOptions;
    CLI::App* setup =
        app.add_subcommand("setup", "The first-run questions, the practice and the accessibility request, on the "
                                    "terminal");
    setup->add_flag("-y,--yes", setupOptions.acceptDefaults,
                    "Accept the defaults without questions and skip the practice (still switches accessibility on)");
    addCommonOptions(*setup, options);

    InspectOptions inspectOptions;
    std::string helperAction = "status";
    CLI::App* helper = app.add_subcommand(
        "helper", "The desktop helper that tells Tavrin where you click on GNOME and KDE Plasma (Wayland): see "
                  "whether it runs, install it, or remove it");
    helper->add_option("action", helperAction, "status (the default), install or remove")
        ->check(CLI::IsMember({"status", "install", "remove"}));

    CLI::App* inspect = app.add_subcommand(
        "inspect",
        "Print what a click at screen point X Y would read from the accessibility bus and, with --picture, the picture "
        "and its label (nothing is stored)");
    inspect->add_option("x", inspectOptions.x, "Pixels from the left of the screen")->required();
    inspect->add_option("y", inspectOptions.y, "Pixels from the top of the screen")->required();
    inspect->add_option("--repeat", inspectOptions.repeat, "Look it up N times and print the median costs")
        ->option_text("N")
        ->check(CLI::Range(1, 100000));
    auto* picture = inspect
                        ->add_option("--picture", inspectOptions.picture,
                                     "Also save the 224 by 224 picture a click there would give to FILE (PNG) and "
                                     "print the classifier's label for it")
                        ->option_text("FILE");
    inspect
        ->add_option("--app", inspectOptions.app, "Classify as taken in this application (google_chrome, slack, ...)")
        ->needs(picture);
    inspect->add_option("--domain", inspectOptions.domain, "Classify as taken on this site (gmail, ...)")
        ->needs(picture);
    inspect->add_flag("-v,--verbose", options.verbose, "Print the program's diagnostic lines on standard error");

    HarvestOptions harvestOptions;
    CLI::App* catalogue =
        app.add_subcommand("catalogue", "Build the shortcut catalogue from the applications themselves");
    catalogue->require_subcommand(1);
    CLI::App* harvest = catalogue->add_subcommand(
        "harvest", "Read the shortcuts a running application shows in its menus and toolbars; with --out, merge them "
                   "into the catalogue exports in DIR");
    harvest
        ->add_option("--app", harvestOptions.app,
                     "The application: its name as Tavrin shows it, its window class "
                     "or its process id")
        ->required();
    harvest->add_option("--out", harvestOptions.out, "Merge into the three exports in DIR (made when missing)")
        ->option_text("DIR");
    harvest->add_option("--namespace-id", harvestOptions.namespaceId, "Write into this namespace instead of app|NAME");
    harvest->add_flag("--browser", harvestOptions.hasDomain, "A new namespace is a browser's (has_domain)");

    ProgressOptions progressOptions;
    CLI::App* progress = app.add_subcommand(
        "progress", "Print per week your clicks against your shortcut uses for the shortcuts you are learning, the "
                    "shortcuts learned and the time saved so far");
    progress->add_flag("--json", progressOptions.json, "Print JSON");
    progress->add_option("--weeks", progressOptions.weeks, "Show this many weeks, the current one last (8)")
        ->option_text("N")
        ->check(CLI::Range(1, 520));
    addCommonOptions(*progress, options);

    std::int64_t pauseMinutes = 0;
    CLI::App* pause = app.add_subcommand(
        "pause", "Stop counting clicks and shortcuts until `tavrin resume`, or for a number of minutes");
    auto* pauseFor = pause->add_option("--for", pauseMinutes, "Count again by itself after this many minutes")
                         ->option_text("MINUTES")
                         ->check(CLI::Range(std::int64_t(1), std::int64_t(60 * 24 * 365)));
    addCommonOptions(*pause, options);
    CLI::App* resume = app.add_subcommand("resume", "Count clicks and shortcuts again after `tavrin pause`");
    addCommonOptions(*resume, options);

    CLI::App* data = app.add_subcommand("data", "See, export or delete what Tavrin stores, and choose what it shares");
    data->require_subcommand(1);
    CLI::App* dataShow = data->add_subcommand(
        "show", "Print per application and site what is recorded, whether Tavrin is paused or shares usage data, and "
                "where the files are");
    addCommonOptions(*dataShow, options);
    std::string exportFile;
    CLI::App* dataExport = data->add_subcommand(
        "export", "Write your records and preferences as JSON (the format is described in the README)");
    dataExport->add_option("--out", exportFile, "The file to write; - for standard output")
        ->option_text("FILE")
        ->required();
    addCommonOptions(*dataExport, options);
    ForgetOptions forgetOptions;
    std::string forgetApp;
    bool forgetAll = false;
    CLI::App* dataForget = data->add_subcommand(
        "forget", "Delete your records (clicks, shortcut uses, marks), of one application or site or all of them; "
                  "the catalogue stays");
    auto* forgetAppOption =
        dataForget->add_option("--app", forgetApp, "Only this application or site, as `tavrin data show` names it")
            ->option_text("NAME");
    dataForget->add_flag("--all", forgetAll, "Everything, and start again with a new anonymous id")
        ->excludes(forgetAppOption);
    dataForget->add_flag("-y,--yes", forgetOptions.yes, "Do not ask first");
    addCommonOptions(*dataForget, options);
    std::string sharing;
    CLI::App* dataSharing = data->add_subcommand(
        "sharing",
        "Print, or switch on or off, the sharing of anonymous usage data (the first-run flow asks the same)");
    dataSharing->add_option("state", sharing, "on or off")->check(CLI::IsMember({"on", "off"}));
    addCommonOptions(*dataSharing, options);

    std::string shortcutKeys;
    CLI::App* shortcut = app.add_subcommand(
        "shortcut", "Print, or change, the key combination that hands the keyboard to the cheat sheet wherever you "
                    "work (Super+Alt+C by default)");
    shortcut->add_option("keys", shortcutKeys,
                         "The new combination, such as Super+Alt+C or Ctrl+Alt+K; default for "
                         "the default; focus to hand the keyboard to the running cheat sheet now (bind "
                         "`tavrin shortcut focus` to keys in the desktop's settings where it has no global "
                         "shortcuts)");
    addCommonOptions(*shortcut, options);

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
        result = runStatus(options, coverage, out, err);
    } else if (recommendations->parsed()) {
        if (recommendationOptions.namespaceId.empty() && recommendationOptions.app.empty()) {
            err << "tavrin: recommendations needs --namespace-id or --app (see tavrin recommendations --help)\n";
            result = 2;
        } else {
            result = runRecommendations(options, recommendationOptions, out, err);
        }
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
        replayOptions.catalogueDir = options.catalogueDir.empty() ? userPaths({})->resourcesDirectory()
                                                                  : std::filesystem::path(options.catalogueDir);
        if (!eventsOut.empty())
            replayOptions.eventsOut = eventsOut;
        result = runReplay(replayOptions, out, err);
    } else if (watch->parsed()) {
        watchOptions.dataDir = options.dataDir;
        watchOptions.catalogueDir = options.catalogueDir;
        if (watchDuration->count())
            watchOptions.duration = watchSeconds;
        result = runWatch(watchOptions, out, err);
    } else if (inspect->parsed()) {
        result = runInspect(inspectOptions, out, err);
    } else if (harvest->parsed()) {
        result = runCatalogueHarvest(harvestOptions, out, err);
    } else if (pause->parsed()) {
        std::optional<std::int64_t> minutes;
        if (pauseFor->count())
            minutes = pauseMinutes;
        result = withStoredData(options, err, [&](StoredData& d) { return runPause(d, minutes, out); });
    } else if (progress->parsed()) {
        result = withStoredData(options, err, [&](StoredData& d) { return runProgress(d, progressOptions, out); });
    } else if (resume->parsed()) {
        result = withStoredData(options, err, [&](StoredData& d) { return runResume(d, out); });
    } else if (dataShow->parsed()) {
        result = withStoredData(options, err, [&](StoredData& d) { return runDataShow(d, out, err); });
    } else if (dataExport->parsed()) {
        result = withStoredData(options, err, [&](StoredData& d) { return runDataExport(d, exportFile, out, err); });
    } else if (dataForget->parsed()) {
        if (forgetApp.empty() == !forgetAll) {
            err << "tavrin: data forget needs --app NAME or --all (see tavrin data forget --help)\n";
            result = 2;
        } else {
            if (!forgetApp.empty())
                forgetOptions.app = forgetApp;
            forgetOptions.interactive = isatty(STDIN_FILENO);
            result = withStoredData(options, err,
                                    [&](StoredData& d) { return runDataForget(d, forgetOptions, std::cin, out, err); });
        }
    } else if (dataSharing->parsed()) {
        result = withStoredData(options, err, [&](StoredData& d) {
            return runDataSharing(d, sharing.empty() ? std::nullopt : std::optional<bool>(sharing == "on"), out);
        });
    } else if (helper->parsed()) {
        result = runHelper(helperAction, out, err);
    } else if (shortcut->parsed() && shortcutKeys == "focus") {
        result = focusRunningCheatsheet(err);
    } else if (shortcut->parsed()) {
        // Only the preferences: a running application follows the file.
        try {
            JsonFileUserDefaults defaults(userPaths(options.dataDir)->userDefaultsFile());
            result = runShortcutCommand(defaults, shortcutKeys.empty() ? std::nullopt : std::optional(shortcutKeys),
                                        out, err);
        } catch (const std::exception& error) {
            err << "tavrin: cannot use the preferences: " << error.what() << '\n';
            result = 1;
        }
    } else if (setup->parsed()) {
        setupOptions.dataDir = options.dataDir;
        setupOptions.catalogueDir = options.catalogueDir;
        result = runSetup(setupOptions, std::cin, out, err);
    } else if (desktop) {
        // The application prints its lines on standard output and logs to the journal.
        setLogSink(std::make_shared<JournalLogSink>());
        result = desktop(launch);
    } else {
        out << "The desktop application is not part of this build. Try `tavrin setup`, then `tavrin watch`; "
               "`tavrin --help` lists everything.\n";
    }
    setLogSink(previous);
    return result;
}

} // namespace tavrin
