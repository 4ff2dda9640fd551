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
}

TEST(JsonFileUserDefaultsTest, TypedReadsConvertLikePlatformDefaults) {
    TempDir dir;
    JsonFileUserDefaults defaults(dir / "defaults.json");
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

} // namespace
} // namespace tavrin
