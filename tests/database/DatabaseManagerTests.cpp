#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <SQLiteCpp/Statement.h>

#include "database/DatabaseManager.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "support/CapturingLogSink.h"
#include "support/FixedClock.h"
#include "support/TempDir.h"

namespace tavrin {
namespace {

using testing::ScopedLogCapture;
using testing::TempDir;

constexpr auto current = DatabaseManager::currentVersion;
const std::string currentText = std::to_string(current);

// A data folder and an empty catalogue folder, and a way to start the store on them.
struct DatabaseManagerTest : ::testing::Test {
    TempDir home;
    TempDir catalogue;
    testing::FixedClock clock;
    DataDirPaths paths{home.path(), catalogue.path()};
    JsonFileUserDefaults defaults{home / "defaults.json"};
    ScopedLogCapture log;

    std::unique_ptr<DatabaseManager> start() {
        return std::make_unique<DatabaseManager>(DatabaseManager::Configuration{
            .paths = &paths, .defaults = &defaults, .clock = &clock, .catalogueDirectory = catalogue.path()});
    }

    static std::vector<std::string> names(SQLite::Database& db, const char* type) {
        SQLite::Statement query(
            db, "SELECT name FROM sqlite_master WHERE type = ? AND name NOT LIKE 'sqlite_%' ORDER BY rowid");
        query.bind(1, type);
        std::vector<std::string> out;
        while (query.executeStep())
            out.push_back(query.getColumn(0).getString());
        return out;
    }

    static void addAction(SQLite::Database& db) {
        db.exec("INSERT INTO actions (action_id, namespace_id, name, priority) VALUES (1, 'os|linux', 'Copy', 1)");
        db.exec("INSERT INTO shortcuts (shortcut_id, namespace_id, action_id, mac_keys, bookmarked_at) "
                "VALUES (7, 'os|linux', 1, 'control + c', '2026-11-01T08:00:00.000')");
    }
};

TEST_F(DatabaseManagerTest, FirstStartBuildsTheWholeSchemaInOrder) {
    auto db = start();
    const auto file = home.path() / "tavrin" / "db.sqlite";
    EXPECT_EQ(db->path(), file);

    struct stat info {};
    ASSERT_EQ(::stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600) << "readable by the user alone";

    EXPECT_EQ(names(db->db(), "table"),
              (std::vector<std::string>{"users", "click_events", "namespace", "actions", "shortcuts", "shortcut_usage",
                                        "accessibility_mapping", "element_click_counts", "shortcut_coaching",
                                        "application_keys", "element_week_counts", "shortcut_week_uses"}));
    EXPECT_EQ(names(db->db(), "index").size(), 21u)
        << "19 lookup indexes, the per-element counts' own and a shortcut's uses by time";
    EXPECT_EQ(defaults.integerForKey("DatabaseVersion"), current);
    for (const auto& [table, count] : db->tableRowCounts())
        EXPECT_EQ(count, 0) << table;

    EXPECT_EQ(log->loggedMessages(),
              (std::vector<std::string>{
                  "Initializing DatabaseManager", "Current database version: 0, Target version: " + currentText,
                  "Updating database from version 0 to " + currentText, "Creating tables and indexes",
                  "Database migration completed successfully", "Counted 0 clicks per element",
                  "Counted 0 clicks per week", "DatabaseManager initialization completed successfully"}));
    EXPECT_EQ(log->printed(), (std::vector<std::string>{"Indexes created successfully", "Populating database from CSV",
                                                        "Database population complete"}));

    // Dates default to the moment the tables were made, in the database's text form.
    db->db().exec("INSERT INTO click_events (namespace_id, user_id, element_clicked, confidence, element_type) "
                  "VALUES ('app|x', 'nobody', 'Copy', 1.0, 'button')");
    SQLite::Statement row(db->db(), "SELECT timestamp, event_id FROM click_events");
    ASSERT_TRUE(row.executeStep());
    EXPECT_EQ(row.getColumn(0).getString(), "2026-11-22T10:00:00.000");
    EXPECT_EQ(row.getColumn(1).getInt64(), 1) << "row ids are assigned by SQLite";
    // Foreign keys stay off: a record needs no user row.
    EXPECT_NO_THROW(db->db().exec("INSERT INTO shortcut_usage (user_id, shortcut_id) VALUES ('someone', 999)"));
}

TEST_F(DatabaseManagerTest, SecondStartTouchesNothing) {
    addAction(start()->db());
    log->clear();
    const auto before = std::filesystem::last_write_time(home.path() / "defaults.json");
    auto db = start();
    EXPECT_EQ(log->loggedMessages(),
              (std::vector<std::string>{"Initializing DatabaseManager",
                                        "Current database version: " + currentText + ", Target version: " + currentText,
                                        "Database is already at the latest version",
                                        "DatabaseManager initialization completed successfully"}));
    EXPECT_TRUE(log->printed().empty());
    EXPECT_EQ(std::filesystem::last_write_time(home.path() / "defaults.json"), before);
}

TEST_F(DatabaseManagerTest, VersionCasesAndACatalogueChangeDecideTheReload) {
    struct Case {
        std::int64_t stored;
        bool withActions;
        bool catalogueChanged; // a new release's exports, or a file loaded before the check existed
        bool reloads;
    };
    for (const auto& c : {Case{current - 1, true, false, true}, Case{current, false, false, true},
                          Case{current + 1, true, false, false}, Case{current + 1, false, false, true},
                          Case{current, true, false, false}, Case{current, true, true, true}}) {
        SCOPED_TRACE("stored version " + std::to_string(c.stored) + (c.withActions ? " with actions" : " empty") +
                     (c.catalogueChanged ? ", new catalogue" : ""));
        {
            auto db = start();
            db->db().exec("DELETE FROM actions; DELETE FROM shortcuts");
            if (c.withActions)
                addAction(db->db());
            if (c.catalogueChanged)
                db->db().exec("PRAGMA user_version = 0");
        }
        defaults.setInteger(c.stored, "DatabaseVersion");
        log->clear();
        auto db = start();
        const auto printed = log->printed();
        const bool reloaded =
            std::find(printed.begin(), printed.end(), "Populating database from CSV") != printed.end();
        EXPECT_EQ(reloaded, c.reloads);
        EXPECT_EQ(defaults.integerForKey("DatabaseVersion"), c.stored < current || !c.withActions ? current : c.stored);
        if (c.withActions) {
            SQLite::Statement mark(db->db(), "SELECT bookmarked_at FROM shortcuts WHERE shortcut_id = 7");
            ASSERT_TRUE(mark.executeStep());
            EXPECT_EQ(mark.getColumn(0).getString(), "2026-11-01T08:00:00.000") << "marks survive a reload";
        }
    }
}

TEST_F(DatabaseManagerTest, AFailingActionsCheckSendsTheStartIntoTheRebuild) {
    auto db = start();
    db->db().exec("DROP TABLE actions");
    EXPECT_TRUE(db->isActionsTableEmpty());
    const auto logged = log->loggedMessages();
    EXPECT_EQ(logged.back().rfind("Error checking actions table: ", 0), 0u) << logged.back();
    log->clear();
    auto again = start();
    EXPECT_EQ(names(again->db(), "table").size(), 12u) << "the rebuild made the table again";
}

TEST_F(DatabaseManagerTest, AnIndexFailureIsReportedAndTheStartGoesOn) {
    {
        auto db = start();
        // A table where an index expects one makes every later index statement moot.
        db->db().exec("DROP INDEX idx_shortcuts_action; CREATE TABLE idx_shortcuts_action (x)");
        db->db().exec("DROP INDEX idx_accessibility_mapping_value");
    }
    log->clear();
    defaults.setInteger(current - 1, "DatabaseVersion");
    auto db = start();
    const auto printed = log->printed();
    ASSERT_FALSE(printed.empty());
    EXPECT_EQ(printed.front().rfind("Error creating indexes: ", 0), 0u) << printed.front();
    EXPECT_EQ(defaults.integerForKey("DatabaseVersion"), current);
    const auto indexes = names(db->db(), "index");
    EXPECT_EQ(std::count(indexes.begin(), indexes.end(), "idx_accessibility_mapping_value"), 0)
        << "the indexes after the failing one are skipped";
}

TEST_F(DatabaseManagerTest, AFailingTableCreationFailsTheStartWithoutStoringTheVersion) {
    {
        auto db = start();
        // An index holding a table's name makes its CREATE TABLE fail.
        db->db().exec("DROP TABLE shortcut_usage; CREATE INDEX shortcut_usage ON actions (name)");
    }
    defaults.setInteger(current - 1, "DatabaseVersion");
    log->clear();
    try {
        start();
        FAIL() << "expected the start to fail";
    } catch (const DatabaseError& error) {
        EXPECT_EQ(error.kind(), DatabaseError::Kind::migrationFailed);
    }
    EXPECT_EQ(defaults.integerForKey("DatabaseVersion"), current - 1);
    const auto logged = log->loggedMessages();
    ASSERT_GE(logged.size(), 3u);
    EXPECT_EQ(logged[logged.size() - 3].rfind("Database operation failed: ", 0), 0u);
    EXPECT_EQ(logged[logged.size() - 2].rfind("Migration failed: ", 0), 0u);
    EXPECT_EQ(logged.back().rfind("Failed to initialize database: ", 0), 0u);
}

TEST_F(DatabaseManagerTest, AnUnusableOrMissingFolderFailsTheStart) {
    std::ofstream(home / "occupied") << "a file where the folder should be";
    DataDirPaths blocked{home / "occupied", catalogue.path()};
    EXPECT_ANY_THROW(DatabaseManager(DatabaseManager::Configuration{
        .paths = &blocked, .defaults = &defaults, .clock = &clock, .catalogueDirectory = catalogue.path()}));
    const auto logged = log->loggedMessages();
    ASSERT_GE(logged.size(), 2u);
    EXPECT_EQ(logged[logged.size() - 2].rfind("Failed to set up database: ", 0), 0u);
    EXPECT_EQ(logged.back().rfind("Failed to initialize database: ", 0), 0u);

    struct NoHome final : Paths {
        std::optional<std::filesystem::path> applicationSupportDirectory() const override { return std::nullopt; }
        std::filesystem::path userDefaultsFile() const override { return {}; }
        std::filesystem::path resourcesDirectory() const override { return {}; }
    } noHome;
    try {
        DatabaseManager db(DatabaseManager::Configuration{
            .paths = &noHome, .defaults = &defaults, .clock = &clock, .catalogueDirectory = {}});
        FAIL();
    } catch (const DatabaseError& error) {
        EXPECT_EQ(error.kind(), DatabaseError::Kind::directoryAccessFailed);
    }
}

TEST_F(DatabaseManagerTest, AnExistingFileIsTightenedToOwnerOnly) {
    std::filesystem::create_directories(home / "tavrin");
    std::ofstream(home / "tavrin" / "db.sqlite");
    ::chmod((home / "tavrin" / "db.sqlite").c_str(), 0644);
    auto db = start();
    struct stat info {};
    ::stat(db->path().c_str(), &info);
    EXPECT_EQ(info.st_mode & 0777, 0600);
}

TEST(NamespaceLevelTest, UnknownStoredLevelsReadAsDomain) {
    EXPECT_EQ(namespaceLevelFromStored("os"), NamespaceLevel::os);
    EXPECT_EQ(namespaceLevelFromStored("app"), NamespaceLevel::app);
    EXPECT_EQ(namespaceLevelFromStored("website"), NamespaceLevel::domain);
    EXPECT_EQ(namespaceLevelFromStored(""), NamespaceLevel::domain);
    EXPECT_FALSE(namespaceLevelFromString("website"));
}

} // namespace
} // namespace tavrin
