#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <SQLiteCpp/Database.h>

#include "database/Models.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/UserDefaults.h"

namespace tavrin {

// Owns the one SQLite file: the shortcut catalogue and the user's own records and marks.
//
// Construction opens (and on first use creates) the file and brings the schema and catalogue up to
// date; it is the only operation that throws. Every other operation reports a failure by a printed
// or logged line and an empty result. The connection is serialized, so any thread may call.
class DatabaseManager {
public:
    struct Configuration {
        const Paths* paths = nullptr;             // where the file lives
        UserDefaults* defaults = nullptr;         // holds "DatabaseVersion"
        const Clock* clock = nullptr;             // dates written by the store
        std::filesystem::path catalogueDirectory; // the three CSV exports
    };

    // Throws DatabaseError or the underlying error when the store cannot be built.
    explicit DatabaseManager(Configuration configuration);
    DatabaseManager(const DatabaseManager&) = delete;
    DatabaseManager& operator=(const DatabaseManager&) = delete;

    // The process-wide instance, built on first use from the configuration installed by the
    // application's wiring. Throws what construction throws; a later call tries again.
    static DatabaseManager& shared();
    static void configureShared(Configuration configuration);

    // Schema version the code expects; a stored version below it rebuilds.
    static constexpr std::int64_t currentVersion = 10;
    static constexpr const char* versionKey = "DatabaseVersion";

    // "<application support>/tavrin/db.sqlite"; creates the folder. Throws directoryAccessFailed
    // when there is no application support folder.
    std::filesystem::path databasePath() const;
    void setupDatabase();
    void migrateIfNeeded();
    // True when `actions` has no row, or when the check itself fails (which forces a rebuild).
    bool isActionsTableEmpty();
    void createTablesAndIndexes();
    // Runs `block`; on failure logs "Database operation failed: %s" and rethrows.
    void performDatabaseOperation(const std::function<void()>& block);

    // Loads the catalogue exports into the tables. Never throws.
    void populateFromCSV();

    SQLite::Database& db() { return *db_; }
    const std::filesystem::path& path() const { return path_; }
    Date now() const { return clock_->now(); }

    // Rows per table, in creation order; -1 for a table that cannot be read.
    std::vector<std::pair<std::string, std::int64_t>> tableRowCounts();

private:
    std::unique_ptr<SQLite::Database> db_;
    std::mutex dbQueue_; // serialises the schema step
    Logger logger_{std::string(kLogSubsystem), "DatabaseManager"};
    Configuration config_;
    const Clock* clock_;
    std::filesystem::path path_;
};

} // namespace tavrin
