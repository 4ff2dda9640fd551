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

TEST(CommandLineTest, HelpVersionAndBadInputEachAnswerWithAStatusAndAtMostOneErrorLine) {
    testing::TempDir dir;
    std::ofstream(dir / "file") << "x";
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string out; // found in the output
        std::string err; // what the one error line starts with
    };
    for (const auto& c : std::vector<Case>{
             {{"--version"}, 0, "tavrin ", ""},
             {{"status", "--help"}, 0, "--data-dir", ""},
             {{"status", "--frobnicate"}, 2, "", "tavrin: "},
             {{"launch-rockets"}, 2, "", "tavrin: "},
             {{"status", "--data-dir", (dir / "file").string()}, 1, "", "tavrin: cannot open the database: "},
         }) {
        SCOPED_TRACE(c.args[0] + " " + c.args.back());
        const auto result = run(c.args);
        EXPECT_EQ(result.status, c.status);
        EXPECT_NE(result.out.find(c.out), std::string::npos) << result.out;
        EXPECT_EQ(result.err.rfind(c.err, 0), 0u) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), c.err.empty() ? 0 : 1) << result.err;
    }
}

TEST(CommandLineTest, ShortcutPrintsStoresAndRefusesKeyCombinations) {
    testing::TempDir dir;
    struct Case {
        std::vector<std::string> keys;
        int status;
        std::string out; // found in the output
        std::string err; // what the error line starts with
    };
    for (const auto& c : std::vector<Case>{
             {{}, 0, "with Super+Alt+C (the default).", ""},
             {{"meta + CTRL + f5"}, 0, "with Ctrl+Super+F5 (a running", ""},
             {{}, 0, "with Ctrl+Super+F5.", ""},
             {{"Ctrl++"}, 0, "with Ctrl+Plus", ""},
             {{"Shift+K"}, 2, "", "tavrin: Shift+K would take a key from every application"},
             {{"Alt+C+D"}, 2, "", "tavrin: not a key combination: Alt+C+D"},
             {{"Alt+Alt+C"}, 2, "", "tavrin: not a key combination"},
             {{"Ctrl+Alt"}, 2, "", "tavrin: not a key combination"},
             {{"Ctrl+ +C"}, 2, "", "tavrin: not a key combination"},
             {{}, 0, "with Ctrl+Plus.", ""},
             {{"default"}, 0, "with Super+Alt+C again", ""},
             {{}, 0, "with Super+Alt+C (the default).", ""},
         }) {
        std::vector<std::string> args{"shortcut"};
        args.insert(args.end(), c.keys.begin(), c.keys.end());
        SCOPED_TRACE(args.back());
        args.insert(args.end(), {"--data-dir", dir.path().string()});
        const auto result = run(args);
        EXPECT_EQ(result.status, c.status);
        EXPECT_NE(result.out.find(c.out), std::string::npos) << result.out;
        EXPECT_EQ(result.err.rfind(c.err, 0), 0u) << result.err;
    }
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
    const auto list = [&](const char* option, const char* value) {
        const auto result = run({"recommendations", option, value, "--data-dir", dir.path().string(), "--catalogue",
                                 (dir / "catalogue").string(), "--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        return nlohmann::ordered_json::parse(result.out);
    };
    const std::vector<std::string> shortcut = {
        "shortcutId", "actionName", "shortcutKeys", "isBookmarked",
        "isLearned",  "source",     "count",        "estimatedAnnualTimeSavings"};
    EXPECT_EQ(keys(list("--namespace-id", "app|textedit").at(0)), shortcut);
    const auto printed = list("--app", "TextEdit");
    EXPECT_EQ(keys(printed), (std::vector<std::string>{"activeNamespace", "recommendations"}));
    EXPECT_EQ(keys(printed["activeNamespace"]),
              (std::vector<std::string>{"app", "domain", "appNamespaceId", "domainNamespaceId", "isSupported"}));
    EXPECT_EQ(keys(printed["recommendations"].at(0)), shortcut);
}

} // namespace
} // namespace tavrin
