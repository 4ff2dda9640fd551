// The store's hot paths: the list after every saved click, the count behind it, and a first start.
//   cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DTAVRIN_BUILD_BENCH=ON -DTAVRIN_BUILD_TESTS=OFF
//   ninja -C build-bench tavrin_bench && build-bench/bench/tavrin_bench
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <random>

#include <SQLiteCpp/Transaction.h>

#include "database/DatabaseManager.h"
#include "platform/Log.h"
#include "platform/common/JsonFileUserDefaults.h"

namespace tavrin {
namespace {

class QuietSink final : public LogSink {
    void printLine(std::string_view) override {}
    void systemLog(LogLevel, std::string_view, std::string_view, std::string_view) override {}
};

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
};

// `clicks` stored clicks over 200 elements and 20 namespaces; namespace app0 gets its share.
std::unique_ptr<Store> storeWithClicks(std::int64_t clicks) {
    static std::shared_ptr<LogSink> quiet = std::make_shared<QuietSink>();
    setLogSink(quiet);
    auto store = std::make_unique<Store>("clicks-" + std::to_string(clicks), 20, 400, 400);
    SQLite::Transaction transaction(store->db->db());
    SQLite::Statement insert(store->db->db(),
                             "INSERT INTO click_events (namespace_id, user_id, timestamp, "
                             "element_clicked, confidence, element_type) VALUES (?, 'u', ?, ?, ?, 'accessibility')");
    std::mt19937 random(42);
    const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    for (std::int64_t i = 0; i < clicks; ++i) {
        const int element = static_cast<int>(random() % 200);
        insert.bind(1, "app|app" + std::to_string(element % 20));
        insert.bind(2, formatDate(now - std::chrono::minutes(random() % 40000)));
        insert.bind(3, "Action " + std::to_string(element));
        insert.bind(4, random() % 10 ? 1.0 : 0.0);
        insert.exec();
        insert.reset();
    }
    transaction.commit();
    return store;
}

void countElementClicks(benchmark::State& state) {
    auto store = storeWithClicks(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(store->db->countElementClicks("app|app0", 0.8));
}
BENCHMARK(countElementClicks)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

// What runs on the main thread after every saved click.
void countAndRecommend(benchmark::State& state) {
    auto store = storeWithClicks(state.range(0));
    for (auto _ : state) {
        const auto counts = store->db->countElementClicks("app|app0", 0.8);
        benchmark::DoNotOptimize(store->db->getRecommendations(counts, "app|app0", 5));
    }
}
BENCHMARK(countAndRecommend)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

// The list alone, from counts already made.
void recommendationsFromCounts(benchmark::State& state) {
    auto store = storeWithClicks(state.range(0));
    const auto counts = store->db->countElementClicks("app|app0", 0.8);
    for (auto _ : state)
        benchmark::DoNotOptimize(store->db->getRecommendations(counts, "app|app0", 5));
}
BENCHMARK(recommendationsFromCounts)->Arg(100'000)->Unit(benchmark::kMillisecond);

// Tables, indexes and the whole catalogue load on a clean folder.
void firstStart(benchmark::State& state) {
    static std::shared_ptr<LogSink> quiet = std::make_shared<QuietSink>();
    setLogSink(quiet);
    const auto catalogue = freshFolder("catalogue");
    writeCatalogue(catalogue, 50, 5000, 8000);
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
BENCHMARK(firstStart)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace
} // namespace tavrin
