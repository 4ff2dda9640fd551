#include "app/StoredDataCommands.h"

#include <iomanip>
#include <memory>
#include <optional>
#include <ostream>

#include <SQLiteCpp/Statement.h>

#include "State/Dependencies.h"
#include "State/Store.h"
#include "app/DesktopSession.h"
#include "app/NoScreenCapture.h"
#include "app/StateJson.h"
#include "database/DatabaseManager.h"
#include "platform/Clock.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "platform/fake/FakeDesktop.h"
#include "platform/fake/VirtualScheduler.h"
#include "sensing/AccessibilityManager.h"

namespace tavrin {

namespace {

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
    session.paths = userPaths(options.dataDir);
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

// Per place, how many clicks were identified as a catalogue action and how many stayed "unknown".
void printCoverage(DatabaseManager& database, std::ostream& out) {
    out << "Detection coverage (clicks identified / all clicks):\n";
    try {
        SQLite::Statement query(database.db(),
                                "SELECT namespace_id, SUM(element_clicked != 'unknown'), COUNT(*) FROM click_events "
                                "GROUP BY namespace_id ORDER BY COUNT(*) DESC, namespace_id");
        bool any = false;
        while (query.executeStep()) {
            any = true;
            const auto identified = query.getColumn(1).getInt64(), all = query.getColumn(2).getInt64();
            out << "  " << std::left << std::setw(40) << query.getColumn(0).getString() << identified << " / " << all
                << " (" << (all ? identified * 100 / all : 0) << "%)\n";
        }
        if (!any)
            out << "  no clicks yet\n";
    } catch (const std::exception& error) {
        out << "  unreadable: " << error.what() << '\n';
    }
}

} // namespace

int runRecommendations(const CommonOptions& common, const RecommendationOptions& options, std::ostream& out,
                       std::ostream& err) {
    auto session = openSession(common, err);
    if (!session)
        return 1;
    auto& database = *session->database;
    if (!options.namespaceId.empty()) {
        // The store's lists for one namespace, as they stand.
        if (options.learned || options.bookmarked) {
            if (options.learned) {
                const auto list = database.getLearnedShortcuts(options.namespaceId);
                options.json ? void(out << toJson(list).dump(2) << '\n') : printList(list, out);
            } else {
                const auto list = database.getBookmarkedShortcuts(options.namespaceId);
                options.json ? void(out << toJson(list).dump(2) << '\n') : printList(list, out);
            }
            return 0;
        }
        const auto counts = database.countElementClicks(options.namespaceId, 0.8);
        const auto list = database.getRecommendations(counts, options.namespaceId, options.limit);
        options.json ? void(out << toJson(list).dump(2) << '\n') : printList(list, out);
        return 0;
    }

    // The list the cheat sheet would show: the place goes through the real store.
    VirtualScheduler scheduler;
    FakeDesktop desktop;
    AccessibilityManager accessibility(desktop, desktop, scheduler, PlatformProfile::linuxDesktop());
    NoScreenCapture screenshots;
    Dependencies deps;
    deps.now = [&scheduler] { return scheduler.now(); };
    deps.uuid = [] { return Uuid::random(); };
    deps.userDefaults = UserDefaultsClient::live(*session->defaults);
    deps.database = DatabaseClient::live([&]() -> DatabaseManager& { return database; });
    deps.accessibility = [&]() -> AccessibilityManaging& { return accessibility; };
    deps.screenshots = [&]() -> ScreenshotManaging& { return screenshots; };
    deps.mainQueue = &scheduler;
    deps.profile = &PlatformProfile::linuxDesktop();
    Store<AppDomain::State, AppDomain::Action> store({}, AppDomain::RootReducer(deps), scheduler, scheduler);
    const bool learned = options.category == "learned";
    if (learned)
        store.send(AppDomain::categoryChanged{ShortcutCategory::learned});
    store.send(AppDomain::activeNamespaceChanged{
        options.app, options.domain.empty() ? std::nullopt : std::optional<std::string>(options.domain)});
    scheduler.runUntilIdle();
    const auto& state = store.state();
    if (options.json) {
        OutputJson result = {{"activeNamespace", toJson(state.activeNamespace)}};
        if (learned)
            result["learnedShortcuts"] = toJson(state.learnedShortcuts);
        else
            result["recommendations"] = toJson(state.recommendations);
        out << result.dump(2) << '\n';
        return 0;
    }
    printPlace(state.activeNamespace, out);
    if (learned)
        printList(state.learnedShortcuts, out);
    else
        printList(state.recommendations, out);
    return 0;
}

int runStatus(const CommonOptions& options, bool coverage, std::ostream& out, std::ostream& err) {
    auto session = openSession(options, err);
    if (!session)
        return 1;
    if (coverage) {
        printCoverage(*session->database, out);
        // What clicks and keys this desktop lets Tavrin see, which the figures above depend on.
        out << '\n';
        for (const auto& line : describeSession(expectedSessionCapabilities()))
            out << line << '\n';
        return 0;
    }
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
    const auto learned = session->database->shortcutsLearnedFromApplications();
    if (!learned.empty()) {
        out << "Learned shortcuts:\n";
        for (const auto& shortcut : learned)
            out << "  " << std::left << std::setw(32) << shortcut.namespaceId << std::setw(28) << shortcut.keys
                << shortcut.name << '\n';
    }
    return 0;
}

int withStoredData(const CommonOptions& options, std::ostream& err, const std::function<int(StoredData&)>& command) {
    auto session = openSession(options, err);
    if (!session)
        return 1;
    SystemClock clock;
    StoredData data{*session->paths, *session->defaults, *session->database, clock};
    return command(data);
}

} // namespace tavrin
