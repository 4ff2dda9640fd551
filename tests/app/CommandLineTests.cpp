#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "State/Pause.h"
#include "app/DataCommands.h"
#include "database/DatabaseManager.h"
#include "platform/Clock.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "support/CapturingLogSink.h"
#include "support/Commands.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"

namespace tavrin {

namespace {

using testing::run;

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
             {{"status", "--data-dir", (dir / "file").string()}, 1, "", "tavrin: cannot open the database: "}}) {
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
             {{"focus"},
              1,
              "",
              "tavrin: the cheat sheet cannot take the keyboard: the Tavrin application is not running"},
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

using testing::keys;

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

using json = nlohmann::json;

using testing::CommandRun;

// The data commands on records a replayed session left: TextEdit (two clicks on Bold, one on a
// button the catalogue does not know, Print bookmarked, Command+I pressed), Gmail (Compose
// clicked) and Scribus, which the catalogue lacks (its menu item Save As... clicked, which teaches
// its shortcut).
struct DataCommandsTest : ::testing::Test {
    testing::TempDir dir;
    testing::ScopedLogCapture log;

    DataCommandsTest() {
        testing::writeSmallCatalogue(dir / "catalogue", "linux");
        std::ofstream(dir / "session.jsonl")
            << testing::Session()
                   .onboarded()
                   .front(0.5, "TextEdit", "notes.txt")
                   .button(1, "Bold")
                   .button(2, "Bold")
                   .button(3, "Secret Document Title")
                   .commandKey(4, "i")
                   .action(5, "toggleShortcutBookmark", {{"id", 14}})
                   .front(6, "Google Chrome", "Inbox - Gmail")
                   .button(7, "Compose")
                   .front(8, "Scribus", "Document-1", 42)
                   .click(9,
                          {{"AXTitle", "Save As..."}, {"AXRole", "menu item"}, {"AXKeyBinding", "<Primary><Shift>s"}})
                   .text;
        const auto replay = run({"replay", (dir / "session.jsonl").string(), "--start", "2026-11-01T09:00"});
        EXPECT_EQ(replay.status, 0) << replay.err;
    }

    CommandRun run(std::vector<std::string> args) {
        args.insert(args.end(), {"--data-dir", (dir / "data").string(), "--catalogue", (dir / "catalogue").string()});
        return testing::run(args);
    }

    JsonFileUserDefaults defaults() { return JsonFileUserDefaults(dir / "data" / "tavrin" / "defaults.json"); }
};

TEST_F(DataCommandsTest, ExportThenForgetOnePlaceThenEverythingAndTheListsFollow) {
    const auto show = run({"data", "show"});
    ASSERT_EQ(show.status, 0) << show.err;
    EXPECT_NE(show.out.find("textedit"), std::string::npos) << show.out;
    EXPECT_NE(show.out.find("gmail (site)"), std::string::npos) << show.out;
    EXPECT_EQ(show.out.find("Secret"), std::string::npos) << "no interface text";
    EXPECT_NE(show.out.find((dir / "data" / "tavrin" / "db.sqlite").string()), std::string::npos);

    const auto file = dir / "export.json";
    const auto exported = run({"data", "export", "--out", file.string()});
    ASSERT_EQ(exported.status, 0) << exported.err;
    struct stat info {};
    ASSERT_EQ(::stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600);
    const auto document = json::parse(std::ifstream(file));
    EXPECT_EQ(document["format"], "tavrin-data-export");
    EXPECT_EQ(document["version"], 1);
    EXPECT_EQ(document["anonymousUserId"], defaults().object("AnonymousUserId"));
    EXPECT_EQ(document["preferences"]["shareUsageData"], true);
    std::multiset<std::string> elements;
    for (const auto& c : document["clicks"])
        elements.insert(c["namespaceId"].get<std::string>() + " " + c["element"].get<std::string>());
    EXPECT_EQ(elements.count("app|textedit Bold"), 2u);
    EXPECT_EQ(elements.count("domain|gmail Compose"), 1u);
    EXPECT_EQ(document.dump().find("Secret"), std::string::npos) << "an unknown button is \"unknown\" at most";
    ASSERT_EQ(document["marks"].size(), 1u);
    EXPECT_EQ(document["marks"][0]["actionName"], "Print");
    EXPECT_EQ(document["marks"][0]["bookmarkedAt"], "2026-11-01T09:00:05.000");
    ASSERT_EQ(document["shortcutUses"].size(), 1u);
    EXPECT_EQ(document["shortcutUses"][0]["shortcutKeys"], "command + i");
    const auto learned = [](const json& exported) {
        std::vector<std::string> out;
        for (const auto& shortcut : exported["learnedShortcuts"])
            out.push_back(shortcut["namespaceId"].get<std::string>() + " " + shortcut["actionName"].get<std::string>() +
                          " " + shortcut["shortcutKeys"].get<std::string>());
        return out;
    };
    EXPECT_EQ(learned(document), std::vector<std::string>{"app|scribus Save As... control + shift + s"});
    EXPECT_GE(document["learnedShortcuts"][0]["shortcutId"].get<std::int64_t>(), 1000000000);
    EXPECT_EQ(document["preferences"]["coaching"], (json{{"nudgeEvery", 3}, {"notifications", false}}));
    EXPECT_EQ(document["coaching"], json::array());
    EXPECT_EQ(document["applicationKeys"], json::array());

    // The progress counts the clicks on Bold, Compose and Scribus's learned Save As...; Command+I was
    // never clicked, so it is not being learned.
    const auto clicksInProgress = [&] {
        const auto result = run({"progress", "--json", "--weeks", "520"});
        EXPECT_EQ(result.status, 0) << result.err;
        const auto report = json::parse(result.out);
        EXPECT_EQ(report["uses"], 0);
        std::int64_t clicks = 0;
        for (const auto& week : report["weeks"])
            clicks += week["clicks"].get<std::int64_t>();
        return clicks;
    };
    EXPECT_EQ(clicksInProgress(), 4);
    EXPECT_NE(run({"progress"})
                  .out.find("Time saved so far by shortcut uses: less than a minute (0 uses, 2.2 s "
                            "each)"),
              std::string::npos);

    // One place: its records go, the other place's stay, the catalogue stays.
    const auto textEdit = run({"data", "forget", "--app", "TextEdit", "--yes"});
    ASSERT_EQ(textEdit.status, 0) << textEdit.err;
    EXPECT_NE(textEdit.out.find("3 clicks, 1 shortcut use and 1 mark"), std::string::npos) << textEdit.out;
    const auto list = json::parse(run({"recommendations", "--app", "TextEdit", "--json"}).out);
    ASSERT_FALSE(list["recommendations"].empty());
    for (const auto& entry : list["recommendations"])
        EXPECT_EQ(entry["source"], "backfill") << entry.dump();
    const auto after = json::parse(run({"data", "export", "--out", "-"}).out);
    EXPECT_EQ(after["clicks"].size(), 2u);
    EXPECT_EQ(learned(after).size(), 1u) << "another application's learned shortcuts stay";
    EXPECT_TRUE(after["marks"].empty());
    EXPECT_TRUE(after["shortcutUses"].empty());
    EXPECT_NE(defaults().object("DataForgotten"), std::nullopt) << "a running application is told";
    EXPECT_EQ(clicksInProgress(), 2);

    const auto unknown = run({"data", "forget", "--app", "TextEdit", "--yes"});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_NE(unknown.err.find("nothing is recorded for \"TextEdit\""), std::string::npos);

    // Everything, with a new anonymous id and without the usage data that waited.
    const auto oldId = defaults().object("AnonymousUserId");
    std::filesystem::create_directories(dir / "data" / "tavrin" / "analytics");
    const auto all = run({"data", "forget", "--all", "--yes"});
    ASSERT_EQ(all.status, 0) << all.err;
    EXPECT_NE(defaults().object("AnonymousUserId"), oldId);
    EXPECT_FALSE(std::filesystem::exists(dir / "data" / "tavrin" / "analytics"));
    EXPECT_NE(run({"data", "show"}).out.find("Nothing recorded yet."), std::string::npos);
    EXPECT_TRUE(learned(json::parse(run({"data", "export", "--out", "-"}).out)).empty());
    EXPECT_EQ(json::parse(run({"recommendations", "--app", "Google Chrome", "--domain", "Gmail", "--json"})
                              .out)["recommendations"][0]["actionName"],
              "Compose")
        << "the catalogue stays";
    const auto ftue = defaults().object("FTUEState");
    EXPECT_TRUE(ftue && ftue->is_binary()) << "the preferences stay";
}

TEST_F(DataCommandsTest, ForgettingAsksOnATerminalAndRefusesWithoutOneUnlessTold) {
    JsonFileUserDefaults prefs = defaults();
    DataDirPaths paths(dir / "data", dir / "catalogue");
    SystemClock clock;
    DatabaseManager database(
        {.paths = &paths, .defaults = &prefs, .clock = &clock, .catalogueDirectory = dir / "catalogue"});
    StoredData data{paths, prefs, database, clock};
    auto forget = [&](bool interactive, const std::string& answer) {
        std::istringstream in(answer);
        std::ostringstream out, err;
        const int status =
            runDataForget(data, {.app = std::nullopt, .yes = false, .interactive = interactive}, in, out, err);
        return CommandRun{status, out.str(), err.str()};
    };
    const auto clicks = [&] { return database.userRecordsByPlace().size(); };
    // An application whose menus were read, with nothing else recorded.
    ASSERT_TRUE(database.getOrCreateNamespace(std::nullopt, "krita"));
    ASSERT_EQ(
        database.learnShortcuts("app|krita", {{"Export...", "control + e", "AXTitle", "Export...", "", ""}}).learned,
        1);
    database.rememberWalkedVersion("app|krita", "gtk 3.24.38");
    database.rememberWalkedVersion("app|scribus", "gtk 3.24.38");

    const auto script = forget(false, "y\n");
    EXPECT_EQ(script.status, 2);
    EXPECT_NE(script.err.find("add --yes"), std::string::npos);
    const auto no = forget(true, "\n");
    EXPECT_EQ(no.status, 1);
    EXPECT_NE(no.out.find("[y/N]"), std::string::npos);
    EXPECT_NE(no.out.find("Nothing deleted."), std::string::npos);
    EXPECT_EQ(clicks(), 4u) << "every place is still there";

    // One application: what was learned from it goes, with the release its menus were read at.
    std::istringstream yesToKrita("y\n");
    std::ostringstream out, err;
    ASSERT_EQ(runDataForget(data, {.app = "Krita", .yes = true}, yesToKrita, out, err), 0) << err.str();
    EXPECT_FALSE(database.walkedVersion("app|krita"));
    EXPECT_FALSE(database.getAccessibilityMapping("app|krita", "Export"));
    EXPECT_FALSE(database.getNamespace(std::nullopt, "krita", std::nullopt, std::nullopt)) << "a place it added";
    EXPECT_EQ(database.shortcutsLearnedFromApplications().size(), 1u) << "Scribus's stays";
    EXPECT_TRUE(database.walkedVersion("app|scribus"));

    const auto yes = forget(true, "y\n");
    EXPECT_EQ(yes.status, 0) << yes.err;
    EXPECT_EQ(clicks(), 0u);
    EXPECT_TRUE(database.shortcutsLearnedFromApplications().empty());
    EXPECT_FALSE(database.walkedVersion("app|scribus"));
    EXPECT_FALSE(database.getAccessibilityMapping("app|scribus", "Save As"));
}

TEST_F(DataCommandsTest, PauseSharingAndBadArgumentsGoThroughThePreferences) {
    ASSERT_EQ(run({"pause", "--for", "30"}).status, 0);
    const auto pause = defaults().object("Pause");
    ASSERT_TRUE(pause);
    const auto stored = Pause::fromStored(*pause);
    ASSERT_TRUE(stored && stored->until);
    EXPECT_EQ(*stored->until - stored->since, std::chrono::minutes(30));
    EXPECT_NE(run({"data", "show"}).out.find("Tavrin is paused until"), std::string::npos);
    EXPECT_NE(run({"resume"}).out.find("counts again"), std::string::npos);
    EXPECT_FALSE(defaults().object("Pause"));
    // A timed pause that has run out is no pause.
    defaults().setObject(
        Pause::starting(SystemClock().now() - std::chrono::hours(1), std::chrono::minutes(5)).toStored(),
        Pause::defaultsKey);
    EXPECT_EQ(run({"data", "show"}).out.find("paused"), std::string::npos);

    EXPECT_EQ(run({"data", "sharing"}).out, "Sharing anonymous usage data: on\n");
    ASSERT_EQ(run({"data", "sharing", "off"}).status, 0);
    EXPECT_NE(run({"data", "show"}).out.find("Sharing anonymous usage data: off"), std::string::npos);
    const auto exported = json::parse(run({"data", "export", "--out", "-"}).out);
    EXPECT_EQ(exported["preferences"]["shareUsageData"], false);
    EXPECT_EQ(exported["preferences"]["firstRun"]["ftueCompleted"], true) << "only the agreement changed";

    for (const auto& args : std::vector<std::vector<std::string>>{{"pause", "--for", "0"},
                                                                  {"data", "sharing", "maybe"},
                                                                  {"data", "forget", "--yes"},
                                                                  {"data", "forget", "--all", "--app", "x"},
                                                                  {"data", "export"},
                                                                  {"data"}}) {
        const auto bad = run(args);
        EXPECT_EQ(bad.status, 2) << args[0] << " " << args.size();
        EXPECT_EQ(bad.err.rfind("tavrin: ", 0), 0u) << bad.err;
    }
}

} // namespace
} // namespace tavrin
