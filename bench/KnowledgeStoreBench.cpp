// The store's hot paths: the road of one click on the main thread (and to its nudge), the list after
// every saved click, the count behind it, the progress of a year, the size of a year of clicks, and a
// first start.
//   cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DTAVRIN_BUILD_BENCH=ON -DTAVRIN_BUILD_TESTS=OFF
//   ninja -C build-bench tavrin_bench && build-bench/bench/tavrin_bench
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include <SQLiteCpp/Transaction.h>

#include "State/AppDomain.h"
#include "State/Dependencies.h"
#include "State/Store.h"
#include "analytics/NoOpAnalyticsManager.h"
#include "database/DatabaseManager.h"
#include "platform/Log.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "platform/fake/VirtualScheduler.h"

namespace tavrin {
namespace {

class QuietSink final : public LogSink {
    void printLine(std::string_view) override {}
    void systemLog(LogLevel, std::string_view, std::string_view, std::string_view) override {}
};

void quiet() {
    static std::shared_ptr<LogSink> sink = std::make_shared<QuietSink>();
    setLogSink(sink);
}

std::filesystem::path freshFolder(const std::string& name) {
    const auto path = std::filesystem::temp_directory_path() / ("tavrin-bench-" + name);
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
    return path;
}

// A catalogue of `namespaces` applications with `actions` actions and `shortcuts` shortcuts in all,
// each action's name also mapped to a button title.
void writeCatalogue(const std::filesystem::path& dir, int namespaces, int actions, int shortcuts) {
    std::ofstream ns(dir / "namespaces_export.csv");
    ns << "namespace_id,level_type,level_name,is_supported,is_classified,has_domain\n";
    for (int n = 0; n < namespaces; ++n)
        ns << "app|app" << n << ",app,app" << n << ",true,false,false\n";
    std::ofstream rows(dir / "actions_shortcuts_export.csv");
    rows << "action_id,namespace_id,name,description,include,priority,shortcut_id,mac_keys\n";
    std::ofstream mappings(dir / "accessibility_tree_mapping_export.csv");
    mappings << "namespace_id,action_name,predicted_best_col,predicted_best_value\n";
    for (int s = 0; s < shortcuts; ++s) {
        const int action = s % actions, n = action % namespaces;
        rows << action + 1 << ",app|app" << n << ",Action " << action << ",,true," << action % 50 << "," << s + 1
             << ",control + shift + k" << s << "\n";
        if (s < actions)
            mappings << "app|app" << n << ",Action " << action << ",AXTitle,Button " << action << "\n";
    }
}

struct Store {
    std::filesystem::path folder;
    std::unique_ptr<DataDirPaths> paths;
    std::unique_ptr<JsonFileUserDefaults> defaults;
    std::unique_ptr<DatabaseManager> db;

    Store(const std::string& name, int namespaces, int actions, int shortcuts) : folder(freshFolder(name)) {
        std::filesystem::create_directories(folder / "catalogue");
        writeCatalogue(folder / "catalogue", namespaces, actions, shortcuts);
        paths = std::make_unique<DataDirPaths>(folder, folder / "catalogue");
        defaults = std::make_unique<JsonFileUserDefaults>(folder / "defaults.json");
        db = std::make_unique<DatabaseManager>(
            DatabaseManager::Configuration{.paths = paths.get(),
                                           .defaults = defaults.get(),
                                           .clock = nullptr,
                                           .catalogueDirectory = folder / "catalogue"});
    }
    ~Store() {
        db.reset();
        std::filesystem::remove_all(folder);
    }

    // The database's pages, wherever they are now (the file or its write-ahead log).
    std::int64_t bytes() {
        SQLite::Statement size(db->db(), "SELECT page_count * page_size FROM pragma_page_count(), pragma_page_size()");
        size.executeStep();
        return size.getColumn(0).getInt64();
    }
};

// `clicks` stored clicks over 200 elements and 20 namespaces; namespace app0 gets its share. One
// store per size, shared by the benchmarks of that size (the road adds its few clicks to it).
Store& storeWithClicks(std::int64_t clicks) {
    static std::map<std::int64_t, std::unique_ptr<Store>> stores;
    auto& store = stores[clicks];
    if (store)
        return *store;
    quiet();
    store = std::make_unique<Store>("clicks-" + std::to_string(clicks), 20, 400, 400);
    SQLite::Transaction transaction(store->db->db());
    SQLite::Statement insert(
        store->db->db(),
        "INSERT INTO click_events (namespace_id, user_id, timestamp, "
        "element_clicked, confidence, element_type, app_version) VALUES (?, ?, ?, ?, ?, 'accessibility', "
        "'0.1.0')");
    std::mt19937 random(42);
    const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    // The clicks of a year, oldest first, as the application writes them.
    for (std::int64_t i = 0; i < clicks; ++i) {
        const int element = static_cast<int>(random() % 200);
        insert.bind(1, "app|app" + std::to_string(element % 20));
        insert.bind(2, "0d5f1c2e-7a4b-4c1e-9a51-3f0e8b6d2c47");
        insert.bind(3, formatDate(now - std::chrono::minutes((clicks - i) * 525'600 / clicks)));
        insert.bind(4, "Action " + std::to_string(element));
        insert.bind(5, random() % 10 ? 1.0 : 0.0);
        insert.exec();
        insert.reset();
    }
    transaction.commit();
    return *store;
}

void countElementClicks(benchmark::State& state) {
    auto& store = storeWithClicks(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(store.db->countElementClicks("app|app0", 0.8));
}
BENCHMARK(countElementClicks)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

// What runs on the main thread after every saved click.
void countAndRecommend(benchmark::State& state) {
    auto& store = storeWithClicks(state.range(0));
    for (auto _ : state) {
        const auto counts = store.db->countElementClicks("app|app0", 0.8);
        benchmark::DoNotOptimize(store.db->getRecommendations(counts, "app|app0", 5));
    }
}
BENCHMARK(countAndRecommend)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

// The list alone, from counts already made.
void recommendationsFromCounts(benchmark::State& state) {
    auto& store = storeWithClicks(state.range(0));
    const auto counts = store.db->countElementClicks("app|app0", 0.8);
    for (auto _ : state)
        benchmark::DoNotOptimize(store.db->getRecommendations(counts, "app|app0", 5));
}
BENCHMARK(recommendationsFromCounts)->Arg(100'000)->Unit(benchmark::kMillisecond);

Dependencies storeDependencies(Store& store, VirtualScheduler& scheduler) {
    Dependencies deps;
    deps.now = [&scheduler] { return scheduler.now(); };
    deps.database = DatabaseClient::live([&store]() -> DatabaseManager& { return *store.db; });
    deps.mainQueue = &scheduler;
    return deps;
}

// The road of one click on the main thread, through the real reducers: from the element's value
// (`uiElementInspected`, after the accessibility walk) through the mapping look-up, the decision,
// the saved row and the refreshed list. Effects run on the calling thread, so the time is the work
// of the road, without thread hops.
void clickRoad(benchmark::State& state) {
    auto& store = storeWithClicks(state.range(0));
    // Virtual time starts now, where the stored year of clicks ends.
    VirtualScheduler scheduler(std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now()));
    const auto deps = storeDependencies(store, scheduler);
    AppDomain::State initial;
    initial.currentUserId = "0d5f1c2e-7a4b-4c1e-9a51-3f0e8b6d2c47";
    initial.hasCompletedFTUE = true;
    initial.analyticsManager = std::make_shared<NoOpAnalyticsManager>();
    initial.activeNamespace = {"app0", "", "app|app0", std::nullopt, true};
    tavrin::Store<AppDomain::State, AppDomain::Action> app(std::move(initial), AppDomain::RootReducer(deps), scheduler,
                                                           scheduler);
    // Buttons of app0's actions, mapped in its namespace; half of them have clicks already.
    int button = 0;
    for (auto _ : state) {
        app.send(AppDomain::uiElementInspected{Uuid::random(), "Button " + std::to_string(button)});
        scheduler.runUntilIdle();
        button = (button + 20) % 400;
    }
    if (app.state().recommendations.empty() || !app.state().lastSavedClickEvent)
        state.SkipWithError("the road did not save a click and refresh the list");
}
BENCHMARK(clickRoad)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

// A click that brings a nudge: the road of one click as above, whose saved row is followed by the
// coach's look at it, until the nudge is in the state. Every click is a nudge's: one per miss, and a
// minute of virtual time (not measured) between two.
void clickRoadToNudge(benchmark::State& state) {
    auto& store = storeWithClicks(state.range(0));
    // Virtual time starts now, where the stored year of clicks ends.
    VirtualScheduler scheduler(std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now()));
    const auto deps = storeDependencies(store, scheduler);
    AppDomain::State initial;
    initial.currentUserId = "0d5f1c2e-7a4b-4c1e-9a51-3f0e8b6d2c47";
    initial.hasCompletedFTUE = true;
    initial.analyticsManager = std::make_shared<NoOpAnalyticsManager>();
    initial.activeNamespace = {"app0", "", "app|app0", std::nullopt, true};
    initial.coaching.preferences.nudgeEvery = 1;
    tavrin::Store<AppDomain::State, AppDomain::Action> app(std::move(initial), AppDomain::RootReducer(deps), scheduler,
                                                           scheduler);
    int button = 0;
    std::int64_t nudges = 0;
    for (auto _ : state) {
        const auto before = app.state().coaching.nudge;
        app.send(AppDomain::uiElementInspected{Uuid::random(), "Button " + std::to_string(button)});
        scheduler.runUntilIdle();
        state.PauseTiming();
        nudges += app.state().coaching.nudge != before;
        scheduler.advance(std::chrono::seconds(61));
        button = (button + 20) % 400;
        state.ResumeTiming();
    }
    if (nudges != static_cast<std::int64_t>(state.iterations()))
        state.SkipWithError("a click did not bring its nudge");
}
BENCHMARK(clickRoadToNudge)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

// A year of shortcut uses beside the clicks: one for every ten clicks, over the same shortcuts.
void addUses(Store& store, std::int64_t uses) {
    SQLite::Statement count(store.db->db(), "SELECT COUNT(*) FROM shortcut_usage");
    count.executeStep();
    if (count.getColumn(0).getInt64() >= uses)
        return;
    count.reset();
    SQLite::Transaction transaction(store.db->db());
    SQLite::Statement insert(store.db->db(),
                             "INSERT INTO shortcut_usage (user_id, shortcut_id, timestamp) VALUES ('u', ?, ?)");
    std::mt19937 random(7);
    const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    for (std::int64_t i = 0; i < uses; ++i) {
        insert.bind(1, static_cast<std::int64_t>(random() % 400) + 1);
        insert.bind(2, formatDate(now - std::chrono::minutes((uses - i) * 525'600 / uses)));
        insert.exec();
        insert.reset();
    }
    transaction.commit();
}

// The progress of a year: 52 weeks of clicks on the shortcuts being learned against their uses,
// the learned shortcuts and the uses so far.
void progress(benchmark::State& state) {
    auto& store = storeWithClicks(state.range(0));
    addUses(store, state.range(0) / 10);
    const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    for (auto _ : state)
        benchmark::DoNotOptimize(store.db->progress(now, 52));
    const auto report = store.db->progress(now, 52);
    std::int64_t clicks = 0;
    for (const auto& week : report.weeks)
        clicks += week.clicks;
    state.counters["clicks_shown"] = static_cast<double>(clicks);
    state.counters["uses_shown"] = static_cast<double>(report.totalUses);
    if (clicks == 0 || report.totalUses == 0)
        state.SkipWithError("the progress shows no records");
}
BENCHMARK(progress)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

// The size of the file that holds the clicks (catalogue and all), after a checkpoint.
void storedClicks(benchmark::State& state) {
    auto& store = storeWithClicks(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(store.db->path());
    state.counters["file_MiB"] = static_cast<double>(store.bytes()) / (1024.0 * 1024.0);
}
BENCHMARK(storedClicks)->Arg(100'000)->Arg(1'000'000)->Iterations(1)->Unit(benchmark::kMillisecond);

// Tables, indexes and the whole catalogue load on a clean folder: the shipped sample, a catalogue of
// 50 namespaces, 5 000 actions and 8 000 shortcuts, and one ten times that size.
void firstStart(benchmark::State& state, int namespaces, int actions, int shortcuts) {
    quiet();
    const auto catalogue = freshFolder("catalogue");
    if (namespaces)
        writeCatalogue(catalogue, namespaces, actions, shortcuts);
    else
        for (const auto& file : std::filesystem::directory_iterator(TAVRIN_SHIPPED_CATALOGUE))
            if (file.path().extension() == ".csv")
                std::filesystem::copy(file.path(), catalogue);
    for (auto _ : state) {
        state.PauseTiming();
        const auto folder = freshFolder("first-start");
        DataDirPaths paths(folder, catalogue);
        JsonFileUserDefaults defaults(folder / "defaults.json");
        state.ResumeTiming();
        DatabaseManager db(DatabaseManager::Configuration{
            .paths = &paths, .defaults = &defaults, .clock = nullptr, .catalogueDirectory = catalogue});
        benchmark::DoNotOptimize(db.path());
    }
    std::filesystem::remove_all(catalogue);
}
BENCHMARK_CAPTURE(firstStart, shipped, 0, 0, 0)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK_CAPTURE(firstStart, 8000_shortcuts, 50, 5000, 8000)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK_CAPTURE(firstStart, 80000_shortcuts, 500, 50000, 80000)->Unit(benchmark::kMillisecond)->Iterations(3);

// Counting a year of clicks per element again, as the first start after an upgrade does.
void rebuildClickCounts(benchmark::State& state) {
    auto& store = storeWithClicks(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(store.db->rebuildElementClickCounts());
}
BENCHMARK(rebuildClickCounts)->Arg(1'000'000)->Iterations(1)->Unit(benchmark::kMillisecond);

// Summing a year of clicks and uses per week again, as the first start after the upgrade does.
void buildWeeklySums(benchmark::State& state) {
    auto& store = storeWithClicks(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        store.db->db().exec("DROP TABLE element_week_counts");
        state.ResumeTiming();
        store.db->ensurePracticeTables();
    }
}
BENCHMARK(buildWeeklySums)->Arg(1'000'000)->Iterations(1)->Unit(benchmark::kMillisecond);

// Deleting the oldest tenth of app0's clicks, as a user who trims a year of history would.
// Last, since it changes the shared store.
void deleteOldestClicks(benchmark::State& state) {
    auto& store = storeWithClicks(state.range(0));
    for (auto _ : state)
        store.db->db().exec("DELETE FROM click_events WHERE event_id IN (SELECT event_id FROM click_events WHERE "
                            "namespace_id = 'app|app0' ORDER BY event_id LIMIT " +
                            std::to_string(state.range(0) / 200) + ")");
    state.counters["rows"] = static_cast<double>(state.range(0) / 200);
}
BENCHMARK(deleteOldestClicks)->Arg(1'000'000)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace tavrin
