#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <atomic>
#include <functional>

#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

#include "database/CSVReader.h"
#include "database/ShortcutLearner.h"
#include "platform/common/EventLoop.h"
#include "support/OnDiskStore.h"

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

struct KnowledgeStoreTest : ::testing::Test, testing::OnDiskStore {};

// The small catalogue loaded, the start's lines cleared.
struct SmallCatalogueTest : KnowledgeStoreTest {
    SmallCatalogueTest() {
        testing::writeSmallCatalogue(catalogue);
        start();
        log->clear();
    }
    // The store's reads (and a write that reads first), each true when it found something.
    std::vector<std::pair<std::string, std::function<bool()>>> reads() {
        return {{"getNamespace",
                 [&] { return db->getNamespace("gmail", "google_chrome", std::nullopt, true).has_value(); }},
                {"getAccessibilityMapping",
                 [&] { return db->getAccessibilityMapping("app|textedit", "Bold").has_value(); }},
                {"getShortcut", [&] { return db->getShortcut("command + b", "app|textedit").has_value(); }},
                {"countElementClicks", [&] { return !db->countElementClicks("app|textedit", 0.8).empty(); }},
                {"getRecommendations", [&] { return !db->getRecommendations({}, "app|textedit").empty(); }},
                {"getBookmarkedShortcuts", [&] { return !db->getBookmarkedShortcuts("app|textedit").empty(); }},
                {"toggleShortcutBookmark", [&] { return db->toggleShortcutBookmark(12); }}};
    }
};

TEST_F(KnowledgeStoreTest, LoadingFiltersRowsAndReloadingKeepsMarks) {
    testing::writeCatalogue(catalogue, "app|x,app,x,true,false,false\napp|y,app,y,yes,false,false\n",
                            "1,app|x,Bold,,true,1,1,Command+B\n"
                            "2,app|x,Hidden,,false,2,2,command + h\n"
                            "3,app|x,Split,,true,3,3,command shift k\n"
                            "4,app|x,Scroll,,true,4,4,command + page up\n"
                            "5,app|x,Italic,,true,,5,command + i\n",
                            "app|x,Bold,AXTitle,Bold\n");
    start();
    EXPECT_EQ(count("actions"), 4) << "include false drops the action";
    EXPECT_EQ(count("shortcuts"), 2) << "and its shortcut; unseparated keys are skipped";
    EXPECT_EQ(db->getShortcut("command + b", "app|x")->shortcut_id, 1);
    EXPECT_FALSE(db->getShortcut("b + command", "app|x"));

    ASSERT_TRUE(db->toggleShortcutBookmark(1));
    testing::writeCatalogue(catalogue, "app|x,app,x,true,false,false\n", "1,app|x,Bold,,true,1,1,control + b\n",
                            "app|x,Bold,AXTitle,Bold\n");
    start(); // the changed exports reload
    EXPECT_EQ(db->getShortcut("control + b", "app|x")->shortcut_id, 1);
    EXPECT_EQ(db->getBookmarkedShortcuts("app|x").size(), 1u) << "the mark survives the reload";
    EXPECT_EQ(count("accessibility_mapping"), 1) << "reloading adds no mapping rows";
}

// The load commits once, and each refused or skipped row costs only itself and says so.
TEST_F(KnowledgeStoreTest, TheLoadCommitsOnceAndAFailingRowCostsOnlyItself) {
    testing::writeCatalogue(catalogue, "", "", "");
    start();
    db->db().exec("CREATE TRIGGER refuse_namespace BEFORE INSERT ON namespace WHEN NEW.namespace_id = 'app|bad' "
                  "BEGIN SELECT RAISE(ABORT, 'refused'); END;"
                  "CREATE TRIGGER refuse_action BEFORE INSERT ON actions WHEN NEW.action_id = 2 "
                  "BEGIN SELECT RAISE(ABORT, 'refused'); END;"
                  "CREATE TRIGGER refuse_shortcut BEFORE INSERT ON shortcuts WHEN NEW.shortcut_id = 4 "
                  "BEGIN SELECT RAISE(ABORT, 'refused'); END");
    testing::writeCatalogue(catalogue,
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
    EXPECT_EQ(count("namespace"), 2);
    EXPECT_EQ(count("actions"), 4);
    EXPECT_EQ(count("SELECT COUNT(*) FROM shortcuts WHERE shortcut_id IN (1, 2, 5)"), 3);
    EXPECT_EQ(count("shortcuts"), 3);
    EXPECT_EQ(count("accessibility_mapping"), 2);
    EXPECT_THAT(log->printed(), ::testing::IsSupersetOf({"Upsert error for namespace_id app|bad: refused",
                                                         "Skipping upsert: level_name is empty for namespace_id "
                                                         "app|empty"}));
    EXPECT_THAT(log->loggedMessages(), ::testing::IsSupersetOf({"Upsert error for action_id 2: refused",
                                                                "Error updating/inserting shortcut_id 4: refused"}));
}

TEST_F(KnowledgeStoreTest, AnUndecodableRowLosesOnlyItsPass) {
    testing::writeCatalogue(catalogue, "app|x,app,x,maybe,false,false\n", "1,os|x,Copy,,true,1,1,command + c\n", "");
    start();
    EXPECT_EQ(count("namespace"), 0);
    EXPECT_EQ(count("actions"), 1);
    const auto printed = log->printed();
    EXPECT_NE(std::find(printed.begin(), printed.end(), "Error reading CSV file: Invalid boolean value: maybe"),
              printed.end());
}

TEST_F(KnowledgeStoreTest, RepeatedHeadersAreReportedAndTheLoadGoesOn) {
    for (const std::string end : {"\n", "\r\n"}) {
        SCOPED_TRACE(end == "\n" ? "line feeds" : "carriage returns and line feeds");
        testing::writeCatalogue(catalogue, "", "", "");
        std::ofstream(catalogue / "namespaces_export.csv")
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

TEST_F(SmallCatalogueTest, NamespacesResolveMostSpecificFirst) {
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

TEST_F(SmallCatalogueTest, TheListPutsBookmarksFirstThenClicksThenPriorities) {
    EXPECT_EQ(listed("app|textedit"), (std::vector<std::int64_t>{10, 11, 12, 13, 14})) << "priorities alone";

    click("app|textedit", "Print", 4);
    click("app|textedit", "Undo", 2);
    click("app|textedit", "No Such Action", 9);
    EXPECT_EQ(listed("app|textedit"), (std::vector<std::int64_t>{14, 15, 10, 11, 12}));

    db->toggleShortcutBookmark(15); // a bookmark that also has clicks keeps its place and gets the count
    const auto list = db->getRecommendations(db->countElementClicks("app|textedit", 0.8), "app|textedit");
    EXPECT_EQ(list[0].base.shortcutId, 15);
    EXPECT_EQ(list[0].source, ShortcutSource::userBookmarked);
    EXPECT_EQ(list[0].count, 2);
    EXPECT_GT(list[0].estimatedAnnualTimeSavings, 0);
    EXPECT_EQ(list[1].base.shortcutId, 14);

    db->toggleShortcutBookmark(10);
    db->toggleShortcutBookmark(11);
    EXPECT_EQ(listed("app|textedit").size(), 5u);
    const auto three = db->getRecommendations(db->countElementClicks("app|textedit", 0.8), "app|textedit");
    EXPECT_EQ(std::count_if(three.begin(), three.end(), [](auto& r) { return r.source == ShortcutSource::userAction; }),
              0)
        << "three bookmarks leave no room for clicks";

    db->flagShortcut(15, clock.now());
    db->toggleShortcutLearned(10);
    const auto after = listed("app|textedit");
    EXPECT_EQ(std::count(after.begin(), after.end(), 15), 0) << "flagged";
    EXPECT_EQ(std::count(after.begin(), after.end(), 10), 0) << "learned";
    EXPECT_EQ(db->getLearnedShortcuts("app|textedit").size(), 1u);
    EXPECT_EQ(db->getBookmarkedShortcuts("app|textedit").size(), 2u) << "learned leaves the bookmarks list";
    EXPECT_TRUE(db->getLearnedShortcuts("os|mac_os").empty());
}

TEST_F(KnowledgeStoreTest, BackfillFollowsPrioritiesNotIdsOrFileOrder) {
    // action_id,namespace_id,name,description,include,priority,shortcut_id,mac_keys
    testing::writeCatalogue(catalogue, "app|p,app,p,true,false,false\napp|x,app,x,true,false,false\n",
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
    EXPECT_EQ(listed("app|x"), (std::vector<std::int64_t>{7, 9})) << "two shortcuts of one action fill one place";
    EXPECT_EQ(listed("app|p"), (std::vector<std::int64_t>{3, 5, 6, 4, 2})) << "lowest number first; no room left";
    EXPECT_EQ(listed("app|p", 6), (std::vector<std::int64_t>{3, 5, 6, 4, 2, 1}))
        << "a row without a priority comes last";
}

TEST_F(SmallCatalogueTest, ClicksAndBookmarksShareTheListByFixedRules) {
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
    EXPECT_EQ(listed("app|textedit"), (std::vector<std::int64_t>{15, 12, 10, 11, 13}));

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

TEST_F(SmallCatalogueTest, MarksToggleAndAgainFlaggingMovesTheDate) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(db->toggleShortcutBookmark(10));
        EXPECT_TRUE(db->toggleShortcutLearned(11));
        EXPECT_TRUE(db->flagShortcut(12, clock.now()));
        clock.advance(1h);
    }
    EXPECT_EQ(count("SELECT COUNT(*) FROM shortcuts WHERE bookmarked_at IS NOT NULL OR learned_at IS NOT NULL"), 0);
    EXPECT_EQ(count("SELECT COUNT(*) FROM shortcuts WHERE flagged_at = '2026-11-22T11:00:00.000'"), 1);
    log->clear();
    EXPECT_FALSE(db->toggleShortcutBookmark(99));
    EXPECT_FALSE(db->toggleShortcutLearned(99));
    EXPECT_FALSE(db->flagShortcut(99, clock.now()));
    EXPECT_EQ(printed("No shortcut found with ID 99"), 3u);
}

// Forgetting one place keeps the user's row; forgetting everything leaves no record of them, the
// catalogue whole.
TEST_F(SmallCatalogueTest, ForgettingEverythingLeavesNoUserRecordAndTheCatalogueWhole) {
    const auto shortcuts = count("shortcuts");
    db->db().exec("INSERT INTO users (user_id, username) VALUES ('u', 'someone')");
    click("app|textedit", "Bold", 2);
    db->insertShortcutUsage("u", 10);
    db->forgetUserRecords(std::vector<std::string>{"app|textedit"});
    EXPECT_EQ(count("users"), 1);
    db->forgetUserRecords(std::nullopt);
    for (const char* table : {"users", "click_events", "shortcut_usage", "element_click_counts"})
        EXPECT_EQ(count(table), 0) << table;
    EXPECT_EQ(count("shortcuts"), shortcuts);
}

TEST_F(SmallCatalogueTest, LookupsStayInTheirNamespaceAndAbsentVersionsStoreNull) {
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
TEST_F(SmallCatalogueTest, AWriteFromAnotherConnectionBetweenOperationsCostsNoClick) {
    SQLite::Database other(db->path().string(), SQLite::OPEN_READWRITE);
    other.setBusyTimeout(2000);
    click("app|textedit", "Bold", 1);
    db->toggleShortcutBookmark(10);
    int n = 0;
    for (const auto& [name, read] : reads()) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(read());
        other.exec("INSERT INTO namespace VALUES ('app|other" + std::to_string(++n) +
                   "', 'app', 'other', 0, 0, 0, NULL)");
        log->clear();
        click("app|textedit", "Bold", 1);
        EXPECT_TRUE(log->printed().empty()) << log->printed().front();
        EXPECT_EQ(count("click_events"), n + 1);
    }
}

// A statement that failed must not take the next row with it: each writer meets a refused row and
// then a good one. Triggers refuse chosen rows; an interrupt makes a read fail.
struct FailedRowTest : SmallCatalogueTest {
    void refuse(const std::string& event, const std::string& table, const std::string& when) {
        static int n = 0;
        db->db().exec("CREATE TEMP TRIGGER refuse_" + std::to_string(++n) + " BEFORE " + event + " ON main." + table +
                      " WHEN " + when + " BEGIN SELECT RAISE(ABORT, 'refused'); END");
    }
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
    EXPECT_THAT(log->loggedMessages(),
                ::testing::Contains(::testing::StartsWith("Error updating/inserting shortcut_id ")).Times(2));
}

TEST_F(FailedRowTest, RecordsAndNewPlacesGoOnAfterARefusal) {
    refuse("INSERT", "click_events", "NEW.element_clicked = 'Bad'");
    const auto event = [&](const char* element) {
        return ClickEvent{"u", "app|textedit", clock.now(), element, 1.0, "accessibility", {}};
    };
    db->insertClickEvents({event("Bold"), event("Bad"), event("Save")});
    EXPECT_EQ(count("click_events"), 2);
    db->insertClickEvents({event("Print")});
    EXPECT_EQ(count("click_events"), 3);
    EXPECT_EQ(printed("Error inserting click event: "), 1u);

    refuse("INSERT", "shortcut_usage", "NEW.shortcut_id = 99");
    db->insertShortcutUsage("u", 99);
    db->insertShortcutUsage("u", 10);
    EXPECT_EQ(count("SELECT COUNT(*) FROM shortcut_usage WHERE shortcut_id = 10"), 1);
    EXPECT_EQ(printed("Error inserting shortcut usage: "), 1u);

    // The catalogue holds app|foo under another name: Foo fails, Bar after it still gets its row.
    db->db().exec("INSERT INTO namespace VALUES ('app|foo', 'app', 'Foo Classic', 0, 0, 0, NULL)");
    EXPECT_FALSE(db->getOrCreateNamespace(std::nullopt, "Foo"));
    EXPECT_EQ(db->getOrCreateNamespace(std::nullopt, "Bar").value_or(Namespace{}).namespace_id, "app|bar");
    EXPECT_EQ(db->getOrCreateNamespace(std::nullopt, "Baz").value_or(Namespace{}).namespace_id, "app|baz");
    EXPECT_EQ(printed("Error: Failed to insert new namespace. Error: "), 1u);
}

TEST_F(FailedRowTest, MarksGoOnAfterARefusal) {
    refuse("UPDATE", "shortcuts", "NEW.shortcut_id = 11");
    EXPECT_FALSE(db->toggleShortcutBookmark(11));
    EXPECT_TRUE(db->toggleShortcutBookmark(10));
    EXPECT_FALSE(db->toggleShortcutLearned(11));
    EXPECT_TRUE(db->toggleShortcutLearned(12));
    EXPECT_FALSE(db->flagShortcut(11, clock.now()));
    EXPECT_TRUE(db->flagShortcut(13, clock.now()));
    EXPECT_EQ(printed("Error toggling shortcut bookmark: "), 1u);
    EXPECT_EQ(printed("Error toggling learned status for shortcut: "), 1u);
    EXPECT_EQ(printed("Error flagging shortcut: "), 1u);
}

TEST_F(FailedRowTest, ReadsGoOnAfterAnInterruptedOne) {
    int interrupt = 0;
    sqlite3_progress_handler(
        db->db().getHandle(), 1, [](void* flag) { return *static_cast<int*>(flag); }, &interrupt);
    click("app|textedit", "Bold", 2);
    db->toggleShortcutBookmark(10);
    for (const auto& [name, read] : reads()) {
        SCOPED_TRACE(name);
        interrupt = 1;
        EXPECT_FALSE(read());
        interrupt = 0;
        EXPECT_TRUE(read()) << "the same read again";
    }
    sqlite3_progress_handler(db->db().getHandle(), 0, nullptr, nullptr);
}

struct ShortcutLearnerTest : ::testing::Test, testing::OnDiskStore {
    ShortcutLearnerTest() {
        testing::writeCatalogue(catalogue, "app|editor,app,editor,true,false,false\n",
                                "10,app|editor,Save,,true,1,10,control + s\n", "app|editor,Save,AXTitle,Save\n");
    }
    static HarvestedItem item(const char* name, const char* keys) { return {name, keys, "AXTitle", name, "", ""}; }
};

TEST_F(ShortcutLearnerTest, LearnedRowsRankAfterTheCatalogueAndSurviveAReloadWithTheirMarks) {
    start();
    ASSERT_TRUE(db->getOrCreateNamespace(std::nullopt, "scribus"));
    EXPECT_EQ(
        db->learnShortcuts("app|scribus", {item("Export...", "control + e"), item("Quit", "control + q")}).learned, 2);
    EXPECT_TRUE(db->getNamespace(std::nullopt, "scribus", std::nullopt, true)) << "supported once it has some";
    EXPECT_EQ(db->getAccessibilityMapping("app|scribus", "Export")->action_name, "Export...")
        << "a toolbar names it without the ellipsis";
    // In an application the catalogue knows: a known keys text only adds the value.
    EXPECT_EQ(
        db->learnShortcuts("app|editor", {item("Save File", "control + s"), item("Close", "control + w")}).learned, 1);
    EXPECT_EQ(db->getAccessibilityMapping("app|editor", "Save File")->action_name, "Save");
    const auto list = db->getRecommendations({}, "app|editor", 5);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].base.actionName, "Save") << "the catalogue's priorities first";
    EXPECT_EQ(list[1].base.actionName, "Close");
    const auto closeId = list[1].base.shortcutId;
    EXPECT_GE(closeId, ShortcutLearner::firstId);
    ASSERT_TRUE(db->toggleShortcutBookmark(closeId));

    // Sites and unknown namespaces learn nothing.
    EXPECT_EQ(db->learnShortcuts("app|nowhere", {item("X", "control + x")}), ShortcutLearner::Outcome{});

    db->insertClickEvents({ClickEvent{"someone", "app|scribus", clock.now(), "Export", 1.0, "AXButton", std::nullopt}});

    // A release with more applications reaches this file at its next start, the schema version
    // unchanged; the learned rows, their marks and the clicks stay.
    testing::writeCatalogue(catalogue,
                            "app|editor,app,editor,true,false,false\napp|viewer,app,viewer,true,false,false\n",
                            "10,app|editor,Save,,true,1,10,control + s\n20,app|viewer,Zoom In,,true,1,20,control + =\n",
                            "app|editor,Save,AXTitle,Save\napp|viewer,Zoom In,AXTitle,Zoom In\n");
    start();
    EXPECT_EQ(db->getAccessibilityMapping("app|viewer", "Zoom In")->action_name, "Zoom In");
    const auto learned = db->shortcutsLearnedFromApplications();
    ASSERT_EQ(learned.size(), 3u);
    EXPECT_EQ(learned[0].namespaceId, "app|editor");
    EXPECT_EQ(learned[0].name, "Close");
    EXPECT_EQ(db->getBookmarkedShortcuts("app|editor").at(0).base.shortcutId, closeId);
    EXPECT_EQ(db->getAccessibilityMapping("app|scribus", "Export...")->action_name, "Export...");
    EXPECT_EQ(db->countElementClicks("app|scribus", 0.8).at(0).count, 1);
}

TEST_F(ShortcutLearnerTest, AShortcutLearnedBeforeTheCatalogueKnewItsApplicationJoinsTheCataloguesRow) {
    start();
    ASSERT_TRUE(db->getOrCreateNamespace(std::nullopt, "scribus"));
    db->learnShortcuts("app|scribus", {item("Export...", "control + e"), item("Quit", "control + q")});
    const auto learnedId = db->getRecommendations({}, "app|scribus", 5).at(0).base.shortcutId;
    ASSERT_TRUE(db->toggleShortcutBookmark(learnedId));
    db->insertShortcutUsage("someone", learnedId);
    // Clicks are stored under the action's name, as the mapping gives it.
    for (int i = 0; i < 2; ++i)
        db->insertClickEvents(
            {ClickEvent{"someone", "app|scribus", clock.now(), "Export...", 1.0, "AXButton", std::nullopt}});

    testing::writeCatalogue(
        catalogue, "app|editor,app,editor,true,false,false\napp|scribus,app,scribus,true,false,false\n",
        "10,app|editor,Save,,true,1,10,control + s\n30,app|scribus,Export a PDF,,true,1,30,control + e\n",
        "app|editor,Save,AXTitle,Save\napp|scribus,Export a PDF,AXTitle,Export as PDF\n");
    start();
    const auto list = db->getRecommendations(db->countElementClicks("app|scribus", 0.8), "app|scribus", 5);
    ASSERT_EQ(list.size(), 2u) << "one card for control + e";
    EXPECT_EQ(list[0].base.shortcutId, 30) << "the bookmark moved";
    EXPECT_EQ(list[0].count, 2) << "and the clicks";
    EXPECT_EQ(list[1].base.actionName, "Quit") << "what the catalogue lacks stays learned";
    EXPECT_EQ(db->getAccessibilityMapping("app|scribus", "Export")->action_name, "Export a PDF")
        << "later clicks on the learned element count for the catalogue's row";
    SQLite::Statement uses(db->db(), "SELECT shortcut_id FROM shortcut_usage");
    ASSERT_TRUE(uses.executeStep());
    EXPECT_EQ(uses.getColumn(0).getInt64(), 30);
}

TEST_F(ShortcutLearnerTest, ANewerCatalogueDropsItsOldRowsButNotTheUsersData) {
    testing::writeCatalogue(catalogue, "app|editor,app,editor,true,false,false\n",
                            "10,app|editor,Save,,true,1,10,control + s\n11,app|editor,Print,,true,2,11,control + p\n"
                            "12,app|editor,Zoom,,true,3,12,control + =\n13,app|editor,Close,,true,4,13,control + w\n",
                            "app|editor,Save,AXTitle,Save\napp|editor,Print,AXTitle,Print\n"
                            "app|editor,Zoom,AXTitle,Zoom\napp|editor,Close,AXTitle,Close\n");
    start();
    ASSERT_TRUE(db->toggleShortcutBookmark(11));
    ASSERT_TRUE(db->toggleShortcutLearned(12));
    db->learnShortcuts("app|editor", {item("Save File", "control + s"), item("Print Document", "control + p")});
    db->insertClickEvents({ClickEvent{"someone", "app|editor", clock.now(), "Close", 1.0, "AXButton", std::nullopt}});

    // Print renumbered and renamed, Zoom and Close gone.
    testing::writeCatalogue(
        catalogue, "app|editor,app,editor,true,false,false\n",
        "10,app|editor,Save,,true,1,10,control + s\n21,app|editor,Print...,,true,2,21,control + p\n",
        "app|editor,Save,AXTitle,Save\napp|editor,Print...,AXTitle,Print...\n");
    start();
    const auto list = db->getRecommendations({}, "app|editor", 5);
    ASSERT_EQ(list.size(), 2u) << "no card for Close";
    EXPECT_EQ(list[0].base.shortcutId, 21) << "the bookmark moved to the new row";
    EXPECT_EQ(list[1].base.shortcutId, 10);
    const auto learned = db->getLearnedShortcuts("app|editor");
    ASSERT_EQ(learned.size(), 1u) << "a card the user marked stays theirs";
    EXPECT_EQ(learned[0].base.actionName, "Zoom");
    EXPECT_GE(learned[0].base.shortcutId, ShortcutLearner::firstId);
    EXPECT_EQ(db->getAccessibilityMapping("app|editor", "Zoom")->action_name, "Zoom");
    EXPECT_FALSE(db->getAccessibilityMapping("app|editor", "Print"));
    EXPECT_FALSE(db->getAccessibilityMapping("app|editor", "Close"));
    EXPECT_EQ(db->getAccessibilityMapping("app|editor", "Save File")->action_name, "Save") << "a learned mapping stays";
    EXPECT_EQ(db->getAccessibilityMapping("app|editor", "Print Document")->action_name, "Print...")
        << "and follows its action to the successor";
    EXPECT_EQ(db->countElementClicks("app|editor", 0.8).at(0).count, 1) << "clicks are never dropped";

    // A later catalogue with a row under Zoom's old id leaves the user's row alone.
    testing::writeCatalogue(catalogue, "app|editor,app,editor,true,false,false\n",
                            "12,app|editor,Find,,true,3,12,control + f\n", "app|editor,Find,AXTitle,Find\n");
    start();
    EXPECT_EQ(db->getLearnedShortcuts("app|editor").at(0).base.actionName, "Zoom");
    EXPECT_FALSE(db->getAccessibilityMapping("app|editor", "Save File")) << "no mapping names a dropped action";
}

TEST_F(ShortcutLearnerTest, LearnersOnWorkersAndTheMainThreadsClicksAndMarksAllLand) {
    start();
    ASSERT_TRUE(db->getOrCreateNamespace(std::nullopt, "scribus"));
    ASSERT_TRUE(db->getOrCreateNamespace(std::nullopt, "inkscape"));
    constexpr int kBatches = 6, kItems = 40, kClicks = 300;
    std::atomic<int> learned = 0;
    {
        ThreadPool workers(3);
        for (int batch = 0; batch < kBatches; ++batch)
            workers.execute([&, batch] {
                std::vector<HarvestedItem> items;
                for (int i = 0; i < kItems; ++i) {
                    const auto n = std::to_string(batch * kItems + i);
                    items.push_back({"Item " + n, "control + k" + n, "AXTitle", "Item " + n, "", ""});
                }
                const auto outcome = db->learnShortcuts(batch % 2 ? "app|scribus" : "app|inkscape", items);
                learned += outcome.learned - outcome.failed;
            });
        // Meanwhile, what the main thread writes: clicks and a mark toggled on and off.
        for (int i = 0; i < kClicks; ++i) {
            db->insertClickEvents(
                {ClickEvent{"someone", "app|editor", clock.now(), "Save", 1.0, "AXButton", std::nullopt}});
            if (i % 10 == 0) {
                ASSERT_TRUE(db->toggleShortcutBookmark(10));
            }
        }
        workers.waitUntilIdle();
    }
    EXPECT_EQ(learned, kBatches * kItems);
    EXPECT_EQ(db->shortcutsLearnedFromApplications().size(), static_cast<std::size_t>(kBatches * kItems));
    EXPECT_EQ(db->countElementClicks("app|editor", 0.8).at(0).count, kClicks) << "no click joined a learner's rollback";
    EXPECT_EQ(db->getBookmarkedShortcuts("app|editor").size(), 0u) << "30 toggles";
}

} // namespace
} // namespace tavrin
