#include <gtest/gtest.h>

#include <condition_variable>
#include <fstream>
#include <mutex>

#include "platform/common/JsonFileUserDefaults.h"
#include "platform/linux/FileWatcher.h"
#include "support/TempDir.h"

namespace tavrin {
namespace {

using namespace std::chrono_literals;

// How a running application hears of a command's change to the preferences.
TEST(FileWatcherTest, AReplacedFileIsReportedAndItsNeighboursAreNot) {
    testing::TempDir dir;
    const auto file = dir / "defaults.json";
    JsonFileUserDefaults app(file), command(file);
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::vector<std::string>> seen;
    app.setChangeHandler([&](const std::vector<std::string>& keys) {
        std::lock_guard lock(mutex);
        seen.push_back(keys);
        changed.notify_all();
    });
    int calls = 0;
    {
        FileWatcher watcher(file, [&] {
            ++calls;
            app.reload();
        });
        std::ofstream(dir / "defaults.json.other") << "{}"; // not the file
        command.setObject(nlohmann::json{{"since", "x"}}, "Pause");
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, 10s, [&] { return !seen.empty(); }));
        EXPECT_EQ(seen.front(), (std::vector<std::string>{"Pause"}));
    }
    const int before = calls;
    command.setObject(std::nullopt, "Pause");
    EXPECT_EQ(calls, before) << "a destroyed watcher calls no more";
}

} // namespace
} // namespace tavrin
