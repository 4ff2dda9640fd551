#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "app/CommandLine.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"

namespace tavrin {
namespace {

struct Run {
    int status;
    std::string out;
    std::string err;
};

Run run(std::vector<std::string> args) {
    std::ostringstream out, err;
    const int status = runCommandLine(args, out, err);
    return {status, out.str(), err.str()};
}

TEST(CommandLineTest, VersionAndHelpNeedNoDisplay) {
    const auto version = run({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("tavrin ", 0), 0u);
    const auto help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("status"), std::string::npos);
    const auto statusHelp = run({"status", "--help"});
    EXPECT_NE(statusHelp.out.find("--data-dir"), std::string::npos);
}

TEST(CommandLineTest, StatusBuildsTheDatabaseAndPrintsItsShape) {
    testing::TempDir dir;
    const auto first = run({"status", "--data-dir", dir.path().string()});
    ASSERT_EQ(first.status, 0) << first.err;
    EXPECT_NE(first.out.find("Database: " + (dir.path() / "tavrin" / "db.sqlite").string()), std::string::npos);
    EXPECT_NE(first.out.find("Schema version: 10"), std::string::npos);
    for (const char* table :
         {"users", "click_events", "namespace", "actions", "shortcuts", "shortcut_usage", "accessibility_mapping"})
        EXPECT_NE(first.out.find(std::string("  ") + table + " "), std::string::npos) << table;
    EXPECT_TRUE(first.err.empty()) << "diagnostics only with --verbose: " << first.err;

    const auto verbose = run({"status", "--data-dir", dir.path().string(), "--verbose"});
    EXPECT_EQ(verbose.status, 0);
    EXPECT_NE(verbose.err.find("Current database version: 10, Target version: 10"), std::string::npos) << verbose.err;
}

TEST(CommandLineTest, BadInputGivesOneLineAndANonZeroStatus) {
    const auto badOption = run({"status", "--frobnicate"});
    EXPECT_EQ(badOption.status, 2);
    EXPECT_EQ(std::count(badOption.err.begin(), badOption.err.end(), '\n'), 1) << badOption.err;

    const auto unknownCommand = run({"launch-rockets"});
    EXPECT_NE(unknownCommand.status, 0);

    testing::TempDir dir;
    std::ofstream(dir / "file") << "x";
    const auto unusable = run({"status", "--data-dir", (dir / "file").string()});
    EXPECT_EQ(unusable.status, 1);
    EXPECT_EQ(unusable.err.rfind("tavrin: cannot open the database: ", 0), 0u) << unusable.err;
    EXPECT_EQ(std::count(unusable.err.begin(), unusable.err.end(), '\n'), 1) << unusable.err;
}

std::vector<std::string> keys(const nlohmann::ordered_json& object) {
    std::vector<std::string> out;
    for (const auto& [key, value] : object.items())
        out.push_back(key);
    return out;
}

TEST(CommandLineTest, ListsPrintTheirFieldsInTheOrderOfTheTypes) {
    testing::TempDir dir;
    testing::writeSmallCatalogue(dir / "catalogue", "linux");
    const std::vector<std::string> common = {"--data-dir", dir.path().string(), "--catalogue",
                                             (dir / "catalogue").string(), "--json"};
    const std::vector<std::string> shortcut = {
        "shortcutId", "actionName", "shortcutKeys", "isBookmarked",
        "isLearned",  "source",     "count",        "estimatedAnnualTimeSavings"};

    auto byId = common;
    byId.insert(byId.begin(), {"recommendations", "--namespace-id", "app|textedit"});
    const auto list = run(byId);
    ASSERT_EQ(list.status, 0) << list.err;
    EXPECT_EQ(keys(nlohmann::ordered_json::parse(list.out).at(0)), shortcut);

    auto byApp = common;
    byApp.insert(byApp.begin(), {"recommendations", "--app", "TextEdit"});
    const auto place = run(byApp);
    ASSERT_EQ(place.status, 0) << place.err;
    const auto printed = nlohmann::ordered_json::parse(place.out);
    EXPECT_EQ(keys(printed), (std::vector<std::string>{"activeNamespace", "recommendations"}));
    EXPECT_EQ(keys(printed["activeNamespace"]),
              (std::vector<std::string>{"app", "domain", "appNamespaceId", "domainNamespaceId", "isSupported"}));
    EXPECT_EQ(keys(printed["recommendations"].at(0)), shortcut);
}

} // namespace
} // namespace tavrin
