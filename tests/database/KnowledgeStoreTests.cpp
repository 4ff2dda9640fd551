#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

#include "database/CSVReader.h"
#include "database/DatabaseManager.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "support/CapturingLogSink.h"
#include "support/FixedClock.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"

namespace tavrin {
namespace {

using namespace std::chrono_literals;

TEST(CSVReaderTest, QuotedFieldsTrimmingAndHeaders) {
    const auto table = CSVTable::parse("a, b ,a\r\n\" x, \"\"y\"\"\n z\",  2 ,\n\n3,4,5");
    EXPECT_EQ(table.header(), (std::vector<std::string>{"a", "b", "a"}));
    EXPECT_EQ(table.duplicateHeaders(), (std::vector<std::string>{"a"}));
    ASSERT_EQ(table.rows().size(), 2u);
    EXPECT_EQ(table.field(0, "a"), "x, \"y\"\n z") << "quotes keep commas and newlines; every field is trimmed";
    EXPECT_EQ(table.field(0, "b"), "2");
    EXPECT_EQ(table.field(1, "a"), "3") << "the first column of a repeated name";
    EXPECT_EQ(table.field(1, "missing"), std::nullopt);
    EXPECT_TRUE(CSVTable::parse("").header().empty());
}

TEST(CSVReaderTest, BooleansDecodeByTheirTable) {
    const auto table = CSVTable::parse("v\nYES\n  Y  \n1\ntrue\n\nN\nno\n0\nFalse\nmaybe\n");
    std::vector<bool> decoded;
    for (std::size_t i = 0; i + 1 < table.rows().size(); ++i)
        decoded.push_back(decodeBool(table, i, "v"));
    EXPECT_EQ(decoded, (std::vector<bool>{true, true, true, true, false, false, false, false}))
        << "the blank line is no row; an empty field would be false";
    try {
        decodeBool(table, table.rows().size() - 1, "v");
        FAIL();
    } catch (const CSVDecodeError& error) {
        EXPECT_STREQ(error.what(), "Invalid boolean value: maybe");
    }
    EXPECT_FALSE(decodeBool(table, 0, "absent")) << "a missing column reads false";
    EXPECT_FALSE(decodeBool(CSVTable::parse("v,w\n,1\n"), 0, "v"));
}

TEST(ShortcutKeysTest, NormaliseToTheCatalogueForm) {
    testing::ScopedLogCapture log;
    EXPECT_EQ(DatabaseManager::normalizeShortcutKeys("Shift+Command+K"), "command + shift + k");
    EXPECT_EQ(DatabaseManager::normalizeShortcutKeys("a + control"), "control + a");
    EXPECT_EQ(DatabaseManager::normalizeShortcutKeys("shift + shift + t"), "shift + t");
    EXPECT_EQ(DatabaseManager::normalizeShortcutKeys("+"), "+") << "nothing left: the text as given";
    EXPECT_TRUE(DatabaseManager::hasSeparatedKeys("+"));
    EXPECT_FALSE(DatabaseManager::hasSeparatedKeys("command shift k"));
    EXPECT_FALSE(DatabaseManager::hasSeparatedKeys("command + page up"));
    EXPECT_EQ(log->printed().back(),
              "Warning: Unseparated words found in shortcut 'command + page up'. Skipping this shortcut.");
}

struct KnowledgeStoreTest : ::testing::Test {
    testing::TempDir home;
    testing::FixedClock clock;
    testing::ScopedLogCapture log;
    DataDirPaths paths{home.path(), home / "catalogue"};
    JsonFileUserDefaults defaults{home / "defaults.json"};
    std::unique_ptr<DatabaseManager> db;

    void start() {
        db.reset();
        db = std::make_unique<DatabaseManager>(DatabaseManager::Configuration{
            .paths = &paths, .defaults = &defaults, .clock = &clock, .catalogueDirectory = home / "catalogue"});
    }
    std::int64_t count(const std::string& sql) {
        SQLite::Statement query(db->db(), sql);
        query.executeStep();
        return query.getColumn(0).getInt64();
    }
    void click(const std::string& ns, const std::string& element, int times, double confidence = 1.0,
               std::chrono::hours ago = 24h) {
        std::vector<ClickEvent> events(
            static_cast<std::size_t>(times),
            ClickEvent{"u", ns, clock.now() - ago, element, confidence, "accessibility", {}});
        db->insertClickEvents(events);
    }
    std::vector<std::int64_t> ids(const std::string& ns) {
        std::vector<std::int64_t> out;
        for (const auto& r : db->getRecommendations(db->countElementClicks(ns, 0.8), ns))
            out.push_back(r.base.shortcutId);
        return out;
    }
};

TEST_F(KnowledgeStoreTest, LoadingFiltersRowsAndReloadingKeepsMarks) {
    testing::writeCatalogue(home / "catalogue", "app|x,app,x,true,false,false\napp|y,app,y,yes,false,false\n",
                            "1,app|x,Bold,,true,1,1,Command+B\n"
                            "2,app|x,Hidden,,false,2,2,command + h\n"
                            "3,app|x,Split,,true,3,3,command shift k\n"
                            "4,app|x,Scroll,,true,4,4,command + page up\n"
                            "5,app|x,Italic,,true,,5,command + i\n",
                            "app|x,Bold,AXTitle,Bold\n");
    start();
    EXPECT_EQ(count("SELECT COUNT(*) FROM actions"), 4) << "include false drops the action";
    EXPECT_EQ(count("SELECT COUNT(*) FROM shortcuts"), 2) << "and its shortcut; unseparated keys are skipped";
    EXPECT_EQ(db->getShortcut("command + b", "app|x")->shortcut_id, 1);
    EXPECT_FALSE(db->getShortcut("b + command", "app|x"));

    ASSERT_TRUE(db->toggleShortcutBookmark(1));
    testing::writeCatalogue(home / "catalogue", "app|x,app,x,true,false,false\n",
                            "1,app|x,Bold,,true,1,1,control + b\n", "app|x,Bold,AXTitle,Bold\n");
    start(); // the changed exports reload
    EXPECT_EQ(db->getShortcut("control + b", "app|x")->shortcut_id, 1);
    EXPECT_EQ(db->getBookmarkedShortcuts("app|x").size(), 1u) << "the mark survives the reload";
    EXPECT_EQ(count("SELECT COUNT(*) FROM accessibility_mapping"), 1) << "reloading adds no mapping rows";
}

// The load commits once, and each refused or skipped row costs only itself, with the lines the load
// has always printed and logged, in their order.
TEST_F(KnowledgeStoreTest, TheLoadCommitsOnceAndAFailingRowCostsOnlyItself) {
    testing::writeCatalogue(home / "catalogue", "", "", "");
    start();
    db->db().exec("CREATE TRIGGER refuse_namespace BEFORE INSERT ON namespace WHEN NEW.namespace_id = 'app|bad' "
                  "BEGIN SELECT RAISE(ABORT, 'refused'); END;"
                  "CREATE TRIGGER refuse_action BEFORE INSERT ON actions WHEN NEW.action_id = 2 "
                  "BEGIN SELECT RAISE(ABORT, 'refused'); END;"
                  "CREATE TRIGGER refuse_shortcut BEFORE INSERT ON shortcuts WHEN NEW.shortcut_id = 4 "
                  "BEGIN SELECT RAISE(ABORT, 'refused'); END");
    testing::writeCatalogue(home / "catalogue",
                            "app|x,app,x,true,false,false\napp|empty,app,,true,false,false\n"
                            "app|bad,app,bad,true,false,false\napp|y,app,y,true,false,false\n",
                            "1,app|x,Bold,,true,1,1,command + b\n"
                            "2,app|x,Italic,,true,2,2,command + i\n"
                            "3,app|x,Split,,true,3,3,command shift k\n"
                            "4,app|x,Save,,true,4,4,command + s\n"
                            "5,app|y,Find,,true,5,5,command + f\n",
                            "app|x,Bold,AXTitle,Bold\napp|x,Bold,AXTitle,Bold\napp|y,Find,AXTitle,Find\n");
    int commits = 0;
    sqlite3_commit_hook(
        db->db().getHandle(),
        [](void* n) {
            ++*static_cast<int*>(n);
            return 0;
        },
        &commits);
    log->clear();
    db->populateFromCSV();
    sqlite3_commit_hook(db->db().getHandle(), nullptr, nullptr);

    EXPECT_EQ(commits, 1);
    EXPECT_EQ(count("SELECT COUNT(*) FROM namespace"), 2);
    EXPECT_EQ(count("SELECT COUNT(*) FROM actions"), 4);
    EXPECT_EQ(count("SELECT COUNT(*) FROM shortcuts WHERE shortcut_id IN (1, 2, 5)"), 3);
    EXPECT_EQ(count("SELECT COUNT(*) FROM shortcuts"), 3);
    EXPECT_EQ(count("SELECT COUNT(*) FROM accessibility_mapping"), 2);
    EXPECT_EQ(
        log->printed(),
        (std::vector<std::string>{
            "Populating database from CSV",
            "Skipping upsert: level_name is empty for namespace_id app|empty",
            "Upsert error for namespace_id app|bad: refused",
            "Warning: Unseparated words found in shortcut 'command shift k'. Skipping this shortcut.",
            "Error inserting accessibility mapping: UNIQUE constraint failed: accessibility_mapping.namespace_id, "
            "accessibility_mapping.name, accessibility_mapping.predicted_best_value",
            "Database population complete",
        }));
    const auto file = [&](const char* name) {
        return "Starting to read CSV file: " + (home / "catalogue" / name).string();
    };
    EXPECT_EQ(log->loggedMessages(),
              (std::vector<std::string>{file("namespaces_export.csv"), file("actions_shortcuts_export.csv"),
                                        "Upsert error for action_id 2: refused", file("actions_shortcuts_export.csv"),
                                        "Error updating/inserting shortcut_id 4: refused",
                                        file("accessibility_tree_mapping_export.csv")}));
}

TEST_F(KnowledgeStoreTest, AnUndecodableRowLosesOnlyItsPass) {
    testing::writeCatalogue(home / "catalogue", "app|x,app,x,maybe,false,false\n",
                            "1,os|x,Copy,,true,1,1,command + c\n", "");
    start();
    EXPECT_EQ(count("SELECT COUNT(*) FROM namespace"), 0);
    EXPECT_EQ(count("SELECT COUNT(*) FROM actions"), 1);
    const auto printed = log->printed();
    EXPECT_NE(std::find(printed.begin(), printed.end(), "Error reading CSV file: Invalid boolean value: maybe"),
              printed.end());
}

TEST_F(KnowledgeStoreTest, RepeatedHeadersAreReportedAndTheLoadGoesOn) {
    for (const std::string end : {"\n", "\r\n"}) {
        SCOPED_TRACE(end == "\n" ? "line feeds" : "carriage returns and line feeds");
        testing::writeCatalogue(home / "catalogue", "", "", "");
        std::ofstream(home / "catalogue" / "namespaces_export.csv")
            << "namespace_id,level_type,level_name,is_supported,is_classified,has_domain,description,description" << end
            << "app|x,app,x,true,false,false,one,two" << end;
        log->clear();
        defaults.setInteger(0, "DatabaseVersion");
        start();
        const auto printed = log->printed();
        EXPECT_EQ(std::count(printed.begin(), printed.end(), "Duplicate headers found: [\"description\"]"), 1);
        EXPECT_EQ(count("SELECT COUNT(*) FROM namespace WHERE namespace_id = 'app|x'"), 1);
    }
}

TEST_F(KnowledgeStoreTest, NamespacesResolveMostSpecificFirst) {
    testing::writeSmallCatalogue(home / "catalogue");
    start();
    EXPECT_EQ(db->getNamespace("gmail", "google_chrome", std::nullopt, std::nullopt)->namespace_id, "domain|gmail");
    EXPECT_EQ(db->getNamespace("", "google_chrome", std::nullopt, std::nullopt)->namespace_id, "app|google_chrome");
    EXPECT_FALSE(db->getNamespace("news", std::nullopt, std::nullopt, true)) << "unsupported rows are filtered";
    EXPECT_EQ(db->getNamespace("news", std::nullopt, "mac_os", true)->namespace_id, "os|mac_os");

    const auto made = db->getOrCreateNamespace(std::nullopt, "Photo Editor");
    EXPECT_EQ(made->namespace_id, "app|photo_editor");
    EXPECT_EQ(db->getOrCreateNamespace(std::nullopt, "Photo Editor"), made);
    EXPECT_FALSE(db->getOrCreateNamespace(std::nullopt, "photo editor")) << "the same id: the insert fails";
    EXPECT_EQ(log->printed().back().rfind("Error: Failed to insert new namespace. Error: ", 0), 0u);
    EXPECT_FALSE(db->getOrCreateNamespace("", ""));
    EXPECT_EQ(log->printed().back(), "Error: Both domain and appName are empty");
    EXPECT_EQ(db->getOrCreateNamespace("unknown-site", "textedit")->namespace_id, "app|textedit");
}

TEST_F(KnowledgeStoreTest, SavingsGrowWithTheClickRate) {
    start();
    const auto saving = [&](std::int64_t count, std::chrono::minutes ago) {
        return std::round(db->estimatedAnnualSavings(count, clock.now() - ago) * 100) / 100;
    };
    EXPECT_EQ(saving(10, 7 * 24h), 860.36);
    EXPECT_EQ(saving(100, 30 * 24h), 2867.86);
    EXPECT_EQ(saving(1, 60min), 430.18);
    EXPECT_EQ(saving(0, 7 * 24h), 0.0);
    EXPECT_EQ(saving(1, -60min), 430.18) << "a future date counts as one day";
}

TEST_F(KnowledgeStoreTest, TheListPutsBookmarksFirstThenClicksThenPriorities) {
    testing::writeSmallCatalogue(home / "catalogue");
    start();
    EXPECT_EQ(ids("app|textedit"), (std::vector<std::int64_t>{10, 11, 12, 13, 14})) << "priorities alone";

    click("app|textedit", "Print", 4);
    click("app|textedit", "Undo", 2);
    click("app|textedit", "No Such Action", 9);
    EXPECT_EQ(ids("app|textedit"), (std::vector<std::int64_t>{14, 15, 10, 11, 12}));

    db->toggleShortcutBookmark(15); // a bookmark that also has clicks keeps its place and gets the count
    const auto list = db->getRecommendations(db->countElementClicks("app|textedit", 0.8), "app|textedit");
    EXPECT_EQ(list[0].base.shortcutId, 15);
    EXPECT_EQ(list[0].source, ShortcutSource::userBookmarked);
    EXPECT_EQ(list[0].count, 2);
    EXPECT_GT(list[0].estimatedAnnualTimeSavings, 0);
    EXPECT_EQ(list[1].base.shortcutId, 14);

    db->toggleShortcutBookmark(10);
    db->toggleShortcutBookmark(11);
    EXPECT_EQ(ids("app|textedit").size(), 5u);
    const auto three = db->getRecommendations(db->countElementClicks("app|textedit", 0.8), "app|textedit");
    EXPECT_EQ(std::count_if(three.begin(), three.end(), [](auto& r) { return r.source == ShortcutSource::userAction; }),
              0)
        << "three bookmarks leave no room for clicks";

    db->flagShortcut(15, clock.now());
    db->toggleShortcutLearned(10);
    const auto after = ids("app|textedit");
    EXPECT_EQ(std::count(after.begin(), after.end(), 15), 0) << "flagged";
    EXPECT_EQ(std::count(after.begin(), after.end(), 10), 0) << "learned";
    EXPECT_EQ(db->getLearnedShortcuts("app|textedit").size(), 1u);
    EXPECT_EQ(db->getBookmarkedShortcuts("app|textedit").size(), 2u) << "learned leaves the bookmarks list";
    EXPECT_TRUE(db->getLearnedShortcuts("os|mac_os").empty());
}

TEST_F(KnowledgeStoreTest, BackfillFollowsPrioritiesNotIdsOrFileOrder) {
    // action_id,namespace_id,name,description,include,priority,shortcut_id,mac_keys
    testing::writeCatalogue(home / "catalogue", "app|p,app,p,true,false,false\napp|x,app,x,true,false,false\n",
                            "1,app|p,Unranked,,true,,1,control + a\n"
                            "2,app|p,Ninth,,true,9,2,control + b\n"
                            "3,app|p,First,,true,1,3,control + c\n"
                            "4,app|p,Fifth,,true,5,4,control + d\n"
                            "5,app|p,Second,,true,2,5,control + e\n"
                            "6,app|p,Third,,true,3,6,control + f\n"
                            "7,app|x,Copy,,true,1,7,command + c\n7,app|x,Copy,,true,1,8,control + insert\n"
                            "8,app|x,Paste,,true,2,9,command + v\n",
                            "");
    start();
    EXPECT_EQ(ids("app|x"), (std::vector<std::int64_t>{7, 9})) << "two shortcuts of one action fill one place";
    EXPECT_EQ(ids("app|p"), (std::vector<std::int64_t>{3, 5, 6, 4, 2})) << "lowest number first; no room left";
    std::vector<std::int64_t> all;
    for (const auto& r : db->getRecommendations({}, "app|p", 6))
        all.push_back(r.base.shortcutId);
    EXPECT_EQ(all, (std::vector<std::int64_t>{3, 5, 6, 4, 2, 1})) << "a row without a priority comes last";
}

TEST_F(KnowledgeStoreTest, ClicksAndBookmarksShareTheListByFixedRules) {
    testing::writeSmallCatalogue(home / "catalogue");
    start();
    click("app|textedit", "Print", 9);
    click("app|textedit", "Undo", 5);
    click("app|textedit", "Save", 2);
    click("app|textedit", "Bold", 1);

    // Only three entries come from clicks, whatever the limit.
    const auto seven = db->getRecommendations(db->countElementClicks("app|textedit", 0.8), "app|textedit", 7);
    EXPECT_EQ(std::count_if(seven.begin(), seven.end(), [](auto& r) { return r.source == ShortcutSource::userAction; }),
              3);
    EXPECT_EQ(seven.size(), 6u) << "the backfill fills up with what the namespace has";
    const auto two = db->getRecommendations(db->countElementClicks("app|textedit", 0.8), "app|textedit", 2);
    ASSERT_EQ(two.size(), 2u);
    EXPECT_EQ(two[1].base.shortcutId, 15);

    // The flagged shortcut with the most clicks gives way to the next element.
    db->flagShortcut(14, clock.now());
    EXPECT_EQ(ids("app|textedit"), (std::vector<std::int64_t>{15, 12, 10, 11, 13}));

    // Five bookmarks fill the list before any click is read: not even a bookmark's own count.
    for (std::int64_t id : {10, 11, 12, 13, 15})
        db->toggleShortcutBookmark(id);
    const auto marked = db->getRecommendations(db->countElementClicks("app|textedit", 0.8), "app|textedit");
    ASSERT_EQ(marked.size(), 5u);
    for (const auto& r : marked) {
        EXPECT_EQ(r.source, ShortcutSource::userBookmarked);
        EXPECT_EQ(r.count, 0) << r.base.actionName;
    }
}

TEST_F(KnowledgeStoreTest, MarkWritersSayWhatTheyDid) {
    testing::writeSmallCatalogue(home / "catalogue");
    start();
    log->clear();
    EXPECT_TRUE(db->toggleShortcutBookmark(10));
    EXPECT_TRUE(db->toggleShortcutBookmark(10));
    EXPECT_TRUE(db->toggleShortcutLearned(11));
    EXPECT_TRUE(db->toggleShortcutLearned(11));
    EXPECT_TRUE(db->flagShortcut(12, clock.now()));
    clock.advance(1h);
    EXPECT_TRUE(db->flagShortcut(12, clock.now())) << "flagging again moves the date";
    EXPECT_FALSE(db->toggleShortcutBookmark(99));
    EXPECT_FALSE(db->toggleShortcutLearned(99));
    EXPECT_FALSE(db->flagShortcut(99, clock.now()));
    EXPECT_EQ(log->printed(), (std::vector<std::string>{
                                  "Shortcut with ID 10 bookmarked at 2026-11-22T10:00:00.000",
                                  "Shortcut with ID 10 unbookmarked",
                                  "Shortcut with ID 11 marked as learned at 2026-11-22T10:00:00.000",
                                  "Shortcut with ID 11 unmarked as learned",
                                  "Shortcut with ID 12 flagged at 2026-11-22T10:00:00.000",
                                  "Shortcut with ID 12 flagged at 2026-11-22T11:00:00.000",
                                  "No shortcut found with ID 99",
                                  "No shortcut found with ID 99",
                                  "No shortcut found with ID 99",
                              }));
}

TEST_F(KnowledgeStoreTest, LookupsStayInTheirNamespaceAndAbsentVersionsStoreNull) {
    testing::writeSmallCatalogue(home / "catalogue");
    start();
    EXPECT_TRUE(db->getAccessibilityMapping("app|textedit", "Bold"));
    EXPECT_FALSE(db->getAccessibilityMapping("app|google_chrome", "Bold")) << "the right value in another namespace";
    EXPECT_FALSE(db->getAccessibilityMapping("app|textedit", "bold")) << "the comparison is exact";

    db->insertClickEvents({{"u", "app|textedit", clock.now(), "Bold", 1.0, "accessibility", std::nullopt},
                           {"u", "app|textedit", clock.now(), "Bold", 1.0, "accessibility", "1.2.3"}});
    SQLite::Statement versions(db->db(), "SELECT app_version FROM click_events ORDER BY event_id");
    ASSERT_TRUE(versions.executeStep());
    EXPECT_TRUE(versions.getColumn(0).isNull()) << "NULL, not an empty text";
    ASSERT_TRUE(versions.executeStep());
    EXPECT_EQ(versions.getColumn(0).getString(), "1.2.3");
}

// The window writes clicks while a command or another tool writes to the same file. A read that
// stopped at its first row must not hold this connection to the file as it was before that write:
// the next click would fail with "database is locked" and be lost.
TEST_F(KnowledgeStoreTest, AWriteFromAnotherConnectionBetweenOperationsCostsNoClick) {
    testing::writeSmallCatalogue(home / "catalogue");
    start();
    SQLite::Database other(db->path().string(), SQLite::OPEN_READWRITE);
    other.setBusyTimeout(2000);
    const std::vector<std::pair<std::string, std::function<bool()>>> reads = {
        {"getNamespace", [&] { return db->getNamespace("gmail", "google_chrome", std::nullopt, true).has_value(); }},
        {"getAccessibilityMapping", [&] { return db->getAccessibilityMapping("app|textedit", "Bold").has_value(); }},
        {"getShortcut", [&] { return db->getShortcut("command + b", "app|textedit").has_value(); }},
        {"getRecommendations", [&] { return !ids("app|textedit").empty(); }},
        {"toggleShortcutBookmark", [&] { return db->toggleShortcutBookmark(12); }},
    };
    int n = 0;
    for (const auto& [name, read] : reads) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(read());
        other.exec("INSERT INTO namespace VALUES ('app|other" + std::to_string(++n) +
                   "', 'app', 'other', 0, 0, 0, NULL)");
        log->clear();
        click("app|textedit", "Bold", 1);
        EXPECT_TRUE(log->printed().empty()) << log->printed().front();
        EXPECT_EQ(count("SELECT COUNT(*) FROM click_events"), n);
    }
}

// A statement that failed must not take the next row with it: each writer meets a refused row and
// then a good one. Triggers refuse chosen rows; an interrupt makes a read fail.
struct FailedRowTest : KnowledgeStoreTest {
    FailedRowTest() {
        testing::writeSmallCatalogue(home / "catalogue");
        start();
        log->clear();
    }
    void refuse(const std::string& event, const std::string& table, const std::string& when) {
        static int n = 0;
        db->db().exec("CREATE TEMP TRIGGER refuse_" + std::to_string(++n) + " BEFORE " + event + " ON main." + table +
                      " WHEN " + when + " BEGIN SELECT RAISE(ABORT, 'refused'); END");
    }
    static std::size_t startingWith(const std::vector<std::string>& lines, const std::string& prefix) {
        return static_cast<std::size_t>(std::count_if(
            lines.begin(), lines.end(), [&](const std::string& line) { return line.rfind(prefix, 0) == 0; }));
    }
    std::size_t printedStartingWith(const std::string& prefix) { return startingWith(log->printed(), prefix); }
};

TEST_F(FailedRowTest, ShortcutWritersGoOnWithTheNextRow) {
    // New shortcuts go through the insert, known ones through the update: both meet a refusal.
    refuse("INSERT", "shortcuts", "NEW.shortcut_id = 41");
    refuse("UPDATE", "shortcuts", "NEW.shortcut_id = 11");
    db->upsertShortcuts({{40, "app|one", 40, "control + a", {}, true},
                         {41, "app|one", 41, "control + b", {}, true},
                         {42, "app|one", 42, "control + c", {}, true},
                         {10, "app|textedit", 10, "control + b", {}, true},
                         {11, "app|textedit", 11, "control + i", {}, true},
                         {12, "app|textedit", 12, "control + s", {}, true}});
    EXPECT_EQ(count("SELECT COUNT(*) FROM shortcuts WHERE shortcut_id IN (40, 42)"), 2);
    EXPECT_EQ(count("SELECT COUNT(*) FROM shortcuts WHERE shortcut_id IN (10, 12) AND mac_keys LIKE 'control%'"), 2);
    EXPECT_EQ(startingWith(log->loggedMessages(), "Error updating/inserting shortcut_id "), 2u);
}

TEST_F(FailedRowTest, RecordsAndNewPlacesGoOnAfterARefusal) {
    refuse("INSERT", "click_events", "NEW.element_clicked = 'Bad'");
    const auto event = [&](const char* element) {
        return ClickEvent{"u", "app|textedit", clock.now(), element, 1.0, "accessibility", {}};
    };
    db->insertClickEvents({event("Bold"), event("Bad"), event("Save")});
    EXPECT_EQ(count("SELECT COUNT(*) FROM click_events"), 2);
    db->insertClickEvents({event("Print")});
    EXPECT_EQ(count("SELECT COUNT(*) FROM click_events"), 3);
    EXPECT_EQ(printedStartingWith("Error inserting click event: "), 1u);

    refuse("INSERT", "shortcut_usage", "NEW.shortcut_id = 99");
    db->insertShortcutUsage("u", 99);
    db->insertShortcutUsage("u", 10);
    EXPECT_EQ(count("SELECT COUNT(*) FROM shortcut_usage WHERE shortcut_id = 10"), 1);
    EXPECT_EQ(printedStartingWith("Error inserting shortcut usage: "), 1u);

    // The catalogue holds app|foo under another name: Foo fails, Bar after it still gets its row.
    db->db().exec("INSERT INTO namespace VALUES ('app|foo', 'app', 'Foo Classic', 0, 0, 0, NULL)");
    EXPECT_FALSE(db->getOrCreateNamespace(std::nullopt, "Foo"));
    EXPECT_EQ(db->getOrCreateNamespace(std::nullopt, "Bar").value_or(Namespace{}).namespace_id, "app|bar");
    EXPECT_EQ(db->getOrCreateNamespace(std::nullopt, "Baz").value_or(Namespace{}).namespace_id, "app|baz");
    EXPECT_EQ(printedStartingWith("Error: Failed to insert new namespace. Error: "), 1u);
}

TEST_F(FailedRowTest, MarksGoOnAfterARefusal) {
    refuse("UPDATE", "shortcuts", "NEW.shortcut_id = 11");
    EXPECT_FALSE(db->toggleShortcutBookmark(11));
    EXPECT_TRUE(db->toggleShortcutBookmark(10));
    EXPECT_FALSE(db->toggleShortcutLearned(11));
    EXPECT_TRUE(db->toggleShortcutLearned(12));
    EXPECT_FALSE(db->flagShortcut(11, clock.now()));
    EXPECT_TRUE(db->flagShortcut(13, clock.now()));
    EXPECT_EQ(printedStartingWith("Error toggling shortcut bookmark: "), 1u);
    EXPECT_EQ(printedStartingWith("Error toggling learned status for shortcut: "), 1u);
    EXPECT_EQ(printedStartingWith("Error flagging shortcut: "), 1u);
}

TEST_F(FailedRowTest, ReadsGoOnAfterAnInterruptedOne) {
    int interrupt = 0;
    sqlite3_progress_handler(
        db->db().getHandle(), 1, [](void* flag) { return *static_cast<int*>(flag); }, &interrupt);
    const auto interrupted = [&](const auto& read) {
        interrupt = 1;
        const auto result = read();
        interrupt = 0;
        return result;
    };

    EXPECT_FALSE(interrupted([&] { return db->getNamespace(std::nullopt, "textedit", std::nullopt, std::nullopt); }));
    EXPECT_TRUE(db->getNamespace(std::nullopt, "google_chrome", std::nullopt, std::nullopt));
    EXPECT_FALSE(interrupted([&] { return db->getAccessibilityMapping("app|textedit", "Bold"); }));
    EXPECT_TRUE(db->getAccessibilityMapping("app|textedit", "Save document"));
    EXPECT_FALSE(interrupted([&] { return db->getShortcut("command + b", "app|textedit"); }));
    EXPECT_TRUE(db->getShortcut("command + i", "app|textedit"));

    click("app|textedit", "Bold", 2);
    EXPECT_TRUE(interrupted([&] { return db->countElementClicks("app|textedit", 0.8); }).empty());
    EXPECT_EQ(db->countElementClicks("app|textedit", 0.8).size(), 1u);
    EXPECT_TRUE(interrupted([&] { return db->getRecommendations({}, "app|textedit"); }).empty());
    EXPECT_EQ(ids("app|textedit").size(), 5u);
    db->toggleShortcutBookmark(10);
    EXPECT_TRUE(interrupted([&] { return db->getBookmarkedShortcuts("app|textedit"); }).empty());
    EXPECT_EQ(db->getBookmarkedShortcuts("app|textedit").size(), 1u);
    sqlite3_progress_handler(db->db().getHandle(), 0, nullptr, nullptr);
}

} // namespace
} // namespace tavrin
