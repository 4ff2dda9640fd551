#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>

#include "platform/common/JsonFileUserDefaults.h"
#include "support/CapturingLogSink.h"
#include "support/TempDir.h"

namespace tavrin {
namespace {

using testing::TempDir;

TEST(JsonFileUserDefaultsTest, KeepsValuesOfEveryKindAcrossRestarts) {
    TempDir dir;
    const auto file = dir / "tavrin" / "defaults.json";
    {
        JsonFileUserDefaults defaults(file);
        defaults.setInteger(10, "DatabaseVersion");
        defaults.setBool(false, "LaunchAtLogin");
        defaults.setObject(nlohmann::json::binary({'{', '}'}), "FTUEState");
        defaults.setObject(nlohmann::json("5D3F"), "AnonymousUserId");
        defaults.setObject(nlohmann::json("gone"), "Removed");
        defaults.setObject(std::nullopt, "Removed");
    }
    JsonFileUserDefaults defaults(file);
    EXPECT_EQ(defaults.integerForKey("DatabaseVersion"), 10);
    EXPECT_FALSE(defaults.boolForKey("LaunchAtLogin"));
    EXPECT_TRUE(defaults.object("LaunchAtLogin").has_value()) << "stored false is not a missing key";
    const auto data = defaults.object("FTUEState");
    ASSERT_TRUE(data && data->is_binary());
    EXPECT_EQ(data->get_binary(), (std::vector<std::uint8_t>{'{', '}'}));
    EXPECT_EQ(defaults.object("AnonymousUserId"), nlohmann::json("5D3F"));
    EXPECT_FALSE(defaults.object("Removed"));
    EXPECT_EQ(defaults.integerForKey("missing"), 0);

    struct stat info {};
    ASSERT_EQ(::stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600);

    // Typed reads convert as platform defaults do.
    defaults.setObject(nlohmann::json("YES"), "a");
    defaults.setObject(nlohmann::json(2), "b");
    defaults.setObject(nlohmann::json("maybe"), "c");
    defaults.setObject(nlohmann::json("12"), "d");
    EXPECT_TRUE(defaults.boolForKey("a"));
    EXPECT_TRUE(defaults.boolForKey("b"));
    EXPECT_FALSE(defaults.boolForKey("c"));
    EXPECT_EQ(defaults.integerForKey("d"), 12);
    EXPECT_EQ(defaults.integerForKey("c"), 0);
}

TEST(JsonFileUserDefaultsTest, TheFirstRunStateIsKeptAsJsonAndTheOldBase64FormStillReads) {
    TempDir dir;
    const auto file = dir / "defaults.json";
    const std::string state = R"({"ftueCompleted":true,"step":3})";
    JsonFileUserDefaults(file).setObject(nlohmann::json::binary({state.begin(), state.end()}), "FTUEState");
    std::ifstream in(file);
    EXPECT_EQ(nlohmann::json::parse(in)["FTUEState"], nlohmann::json::parse(state)) << "readable in the file";
    const auto back = JsonFileUserDefaults(file).object("FTUEState");
    ASSERT_TRUE(back && back->is_binary());
    EXPECT_EQ(nlohmann::json::parse(back->get_binary()), nlohmann::json::parse(state));

    // As files were written before: the JSON text in base64.
    std::ofstream(file) << R"({"FTUEState": {"$data": "eyJzdGVwIjoyfQ=="}, "DatabaseVersion": 10})";
    const auto old = JsonFileUserDefaults(file).object("FTUEState");
    ASSERT_TRUE(old && old->is_binary());
    EXPECT_EQ(std::string(old->get_binary().begin(), old->get_binary().end()), R"({"step":2})");
}

TEST(JsonFileUserDefaultsTest, ACrashMidWriteLeavesThePreviousContents) {
    TempDir dir;
    const auto file = dir / "defaults.json";
    JsonFileUserDefaults(file).setInteger(10, "DatabaseVersion");
    // What a crash between writing the temporary file and renaming it leaves behind.
    std::ofstream(dir / "defaults.json.tmp") << "{\"DatabaseVersion\": 3, \"trunc";
    JsonFileUserDefaults defaults(file);
    EXPECT_EQ(defaults.integerForKey("DatabaseVersion"), 10);
    defaults.setBool(true, "LaunchAtLogin");
    EXPECT_EQ(JsonFileUserDefaults(file).integerForKey("DatabaseVersion"), 10);
}

TEST(JsonFileUserDefaultsTest, AnUnreadableFileIsMovedAsideNotLost) {
    TempDir dir;
    const auto file = dir / "defaults.json";
    std::ofstream(file) << "{ not json";
    testing::ScopedLogCapture log;
    JsonFileUserDefaults defaults(file);
    EXPECT_FALSE(defaults.object("DatabaseVersion"));
    EXPECT_TRUE(std::filesystem::exists(dir / "defaults.json.corrupt"));
    EXPECT_EQ(log->printed().size(), 1u);
    defaults.setInteger(1, "x");
    EXPECT_EQ(JsonFileUserDefaults(file).integerForKey("x"), 1);
}

// The running application and a command share the file: neither undoes the other's keys, and
// each learns which keys the other changed.
TEST(JsonFileUserDefaultsTest, TwoProcessesKeepEachOthersKeysAndSeeTheirChanges) {
    TempDir dir;
    const auto file = dir / "tavrin" / "defaults.json";
    JsonFileUserDefaults app(file), command(file);
    std::vector<std::vector<std::string>> seen;
    app.setChangeHandler([&](const std::vector<std::string>& keys) { seen.push_back(keys); });
    app.setBool(true, "LaunchAtLogin");
    app.setObject(nlohmann::json("old-id"), "AnonymousUserId");
    EXPECT_TRUE(seen.empty()) << "its own writes are no news";

    command.reload();
    command.setObject(nlohmann::json{{"since", "x"}}, "Pause");
    command.setObject(nlohmann::json("new-id"), "AnonymousUserId");
    // The application writes another key before it hears of the change: the command's stay.
    app.setObject(nlohmann::json::binary({'{', '}'}), "FTUEState");
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0], (std::vector<std::string>{"AnonymousUserId", "Pause"}));
    EXPECT_EQ(app.object("AnonymousUserId"), nlohmann::json("new-id"));
    EXPECT_EQ(JsonFileUserDefaults(file).object("Pause"), (nlohmann::json{{"since", "x"}}));

    command.setObject(std::nullopt, "Pause");
    app.reload();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[1], (std::vector<std::string>{"Pause"})) << "a removed key is a change";
    EXPECT_FALSE(app.object("Pause"));
    app.reload();
    EXPECT_EQ(seen.size(), 2u);

    // A file another program broke leaves the values as they were, and the next write repairs it.
    std::ofstream(file) << "{ broken";
    app.reload();
    EXPECT_EQ(app.object("AnonymousUserId"), nlohmann::json("new-id"));
    app.setBool(false, "LaunchAtLogin");
    EXPECT_EQ(JsonFileUserDefaults(file).object("AnonymousUserId"), nlohmann::json("new-id"));
}

} // namespace
} // namespace tavrin
