#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>

#include "State/AppDomain.h"
#include "support/OnDiskStore.h"

namespace tavrin {
namespace {

using ::testing::Contains;
using ::testing::StartsWith;
constexpr auto current = DatabaseManager::currentVersion;

struct DatabaseManagerTest : ::testing::Test, testing::OnDiskStore {
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
    static mode_t mode(const std::filesystem::path& file) {
        struct stat info {};
        EXPECT_EQ(::stat(file.c_str(), &info), 0) << file;
        return info.st_mode & 0777;
    }
};

TEST_F(DatabaseManagerTest, FirstStartBuildsTheWholeSchemaInOrder) {
    start();
    EXPECT_EQ(db->path(), home / "tavrin" / "db.sqlite");
    EXPECT_EQ(mode(db->path()), 0600u) << "readable by the user alone";
    EXPECT_EQ(names(db->db(), "table"),
              (std::vector<std::string>{"users", "click_events", "namespace", "actions", "shortcuts", "shortcut_usage",
                                        "accessibility_mapping", "element_click_counts", "shortcut_coaching",
                                        "application_keys", "element_week_counts", "shortcut_week_uses"}));
    EXPECT_EQ(names(db->db(), "index").size(), 21u)
        << "19 lookup indexes, the per-element counts' own and a shortcut's uses by time";
    EXPECT_EQ(defaults.integerForKey("DatabaseVersion"), current);
    for (const auto& [table, count] : db->tableRowCounts())
        EXPECT_EQ(count, 0) << table;

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

TEST_F(DatabaseManagerTest, TheStoredVersionTheActionsAndTheCatalogueDecideTheReload) {
    const struct {
        std::int64_t stored;
        bool withActions;
        bool catalogueChanged; // a new release's exports, or a file loaded before the check existed
        bool reloads;
    } cases[] = {{current - 1, true, false, true},  {current, false, false, true}, {current + 1, true, false, false},
                 {current + 1, false, false, true}, {current, true, false, false}, {current, true, true, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE("stored version " + std::to_string(c.stored) + (c.withActions ? " with actions" : " empty") +
                     (c.catalogueChanged ? ", new catalogue" : ""));
        start().db().exec("DELETE FROM actions; DELETE FROM shortcuts");
        if (c.withActions)
            addAction(db->db());
        if (c.catalogueChanged)
            db->db().exec("PRAGMA user_version = 0");
        db.reset();
        defaults.setInteger(c.stored, "DatabaseVersion");
        log->clear();
        const auto written = std::filesystem::last_write_time(home / "defaults.json");
        start();
        EXPECT_EQ(printed("Populating database from CSV"), c.reloads ? 1u : 0u);
        EXPECT_EQ(defaults.integerForKey("DatabaseVersion"), c.stored < current || !c.withActions ? current : c.stored);
        if (!c.reloads) {
            EXPECT_EQ(std::filesystem::last_write_time(home / "defaults.json"), written) << "nothing written";
        }
        if (c.withActions) {
            SQLite::Statement mark(db->db(), "SELECT bookmarked_at FROM shortcuts WHERE shortcut_id = 7");
            ASSERT_TRUE(mark.executeStep());
            EXPECT_EQ(mark.getColumn(0).getString(), "2026-11-01T08:00:00.000") << "marks survive a reload";
        }
    }
}

// A file another program damaged: each start repairs what it can, or fails without storing the
// version, and says why in the line that starts as given.
TEST_F(DatabaseManagerTest, ADamagedFileIsRebuiltRepairedOrRefused) {
    const struct {
        const char* damage;
        std::int64_t stored;
        const char* line;
        std::size_t tables, indexes; // after the start; 0 tables: the start fails
    } cases[] = {                    // The start's check of the actions fails, so the start rebuilds.
                 {"DROP TABLE actions", current, "Error checking actions table: ", 12, 21},
                 // A table where an index belongs: neither it nor the indexes after it are made again.
                 {"DROP INDEX idx_shortcuts_action; CREATE TABLE idx_shortcuts_action (x); "
                  "DROP INDEX idx_accessibility_mapping_value",
                  current - 1, "Error creating indexes: ", 13, 19},
                 // An index holding a table's name makes its CREATE TABLE fail.
                 {"DROP TABLE shortcut_usage; CREATE INDEX shortcut_usage ON actions (name)", current - 1,
                  "Failed to initialize database: ", 0, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.damage);
        db.reset();
        std::filesystem::remove_all(home / "tavrin");
        start().db().exec(c.damage);
        db.reset();
        defaults.setInteger(c.stored, "DatabaseVersion");
        log->clear();
        try {
            start();
            EXPECT_EQ(names(db->db(), "table").size(), c.tables);
            EXPECT_EQ(names(db->db(), "index").size(), c.indexes);
            EXPECT_EQ(defaults.integerForKey("DatabaseVersion"), current);
        } catch (const DatabaseError& error) {
            EXPECT_EQ(c.tables, 0u) << error.what();
            EXPECT_EQ(error.kind(), DatabaseError::Kind::migrationFailed);
            EXPECT_EQ(defaults.integerForKey("DatabaseVersion"), c.stored);
        }
        auto lines = log->printed();
        for (const auto& message : log->loggedMessages())
            lines.push_back(message);
        EXPECT_THAT(lines, Contains(StartsWith(c.line)));
    }
}

TEST_F(DatabaseManagerTest, AnUnusableOrMissingFolderFailsTheStart) {
    std::ofstream(home / "occupied") << "a file where the folder should be";
    paths = DataDirPaths(home / "occupied", catalogue);
    EXPECT_ANY_THROW(start());
    EXPECT_THAT(log->loggedMessages(), Contains(StartsWith("Failed to set up database: ")));

    struct NoHome final : Paths {
        std::optional<std::filesystem::path> applicationSupportDirectory() const override { return std::nullopt; }
        std::filesystem::path userDefaultsFile() const override { return {}; }
        std::filesystem::path resourcesDirectory() const override { return {}; }
    } noHome;
    try {
        DatabaseManager db(DatabaseManager::Configuration{.paths = &noHome, .defaults = &defaults, .clock = &clock});
        FAIL();
    } catch (const DatabaseError& error) {
        EXPECT_EQ(error.kind(), DatabaseError::Kind::directoryAccessFailed);
    }
}

TEST_F(DatabaseManagerTest, AnExistingFileIsTightenedToOwnerOnly) {
    std::filesystem::create_directories(home / "tavrin");
    std::ofstream(home / "tavrin" / "db.sqlite");
    ::chmod((home / "tavrin" / "db.sqlite").c_str(), 0644);
    EXPECT_EQ(mode(start().path()), 0600u);
}

TEST(NamespaceLevelTest, UnknownStoredLevelsReadAsDomain) {
    EXPECT_EQ(namespaceLevelFromStored("os"), NamespaceLevel::os);
    EXPECT_EQ(namespaceLevelFromStored("app"), NamespaceLevel::app);
    EXPECT_EQ(namespaceLevelFromStored("website"), NamespaceLevel::domain);
    EXPECT_EQ(namespaceLevelFromStored(""), NamespaceLevel::domain);
    EXPECT_FALSE(namespaceLevelFromString("website"));
}

// The catalogue the program ships, loaded as a first start loads it.
struct ShippedCatalogueTest : ::testing::Test, testing::OnDiskStore {
    ShippedCatalogueTest() {
        catalogue = TAVRIN_SHIPPED_RESOURCES;
        start();
    }
};

TEST_F(ShippedCatalogueTest, LoadsWithoutASkippedRow) {
    for (const auto& line : log->printed())
        EXPECT_TRUE(line.find("rror") == std::string::npos && line.find("Warning") == std::string::npos &&
                    line.find("Skipping") == std::string::npos && line.find("Duplicate") == std::string::npos)
            << line;
    for (const auto& message : log->loggedMessages())
        EXPECT_EQ(message.find("rror"), std::string::npos) << message;
}

TEST_F(ShippedCatalogueTest, TheDesktopsApplicationsAreKnownByTheNamesTheTrackerReports) {
    // Display names as the front-application tracker reports them on Debian 12.
    const char* applications[] = {"Firefox ESR",
                                  "Chromium Web Browser",
                                  "LibreOffice Writer",
                                  "LibreOffice Calc",
                                  "LibreOffice Impress",
                                  "Thunderbird",
                                  "Files",
                                  "Text Editor",
                                  "gedit",
                                  "Document Viewer",
                                  "Image Viewer",
                                  "Terminal",
                                  "Mousepad",
                                  "Thunar File Manager",
                                  "Kate",
                                  "Konsole",
                                  "Dolphin",
                                  "Okular",
                                  "GNU Image Manipulation Program",
                                  "Inkscape",
                                  "VLC media player",
                                  "soffice"}; // LibreOffice's dialogs and template chooser
    for (const char* name : applications) {
        const auto place = db->getNamespace(std::nullopt, AppDomain::normalizeName(name), std::nullopt, true);
        ASSERT_TRUE(place) << name;
        EXPECT_GE(db->getRecommendations({}, place->namespace_id, 5).size(), 5u) << name << ": a full list";
    }
    for (const char* site : {"github", "gmail", "google_docs", "google_sheets", "google_drive", "youtube"}) {
        const auto place = db->getNamespace(site, std::nullopt, std::nullopt, true);
        ASSERT_TRUE(place) << site;
        EXPECT_EQ(place->level_type, NamespaceLevel::domain);
    }
    for (const char* browser : {"firefox_esr", "chromium_web_browser"})
        EXPECT_TRUE(db->getNamespace(std::nullopt, browser, std::nullopt, true)->has_domain) << browser;
    EXPECT_GE(db->getRecommendations({}, "os|linux", 5).size(), 5u);
}

TEST_F(ShippedCatalogueTest, EveryMappingLeadsToAShortcutOfItsNamespace) {
    SQLite::Statement mappings(db->db(), "SELECT namespace_id, name, predicted_best_value FROM accessibility_mapping");
    int count = 0;
    while (mappings.executeStep()) {
        ++count;
        const std::string ns = mappings.getColumn(0).getString(), action = mappings.getColumn(1).getString();
        EXPECT_TRUE(db->findShortcutForAction(action, ns, false))
            << ns << ": \"" << mappings.getColumn(2).getString() << "\" maps to \"" << action
            << "\", which has no shortcut";
    }
    EXPECT_GT(count, 200);
}

} // namespace
} // namespace tavrin
