#include "database/DatabaseManager.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <system_error>
#include <unistd.h>

#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

#include "database/TableDefinitions.h"

namespace tavrin {

namespace {

std::mutex sharedMutex;
std::unique_ptr<DatabaseManager> sharedInstance;
std::optional<DatabaseManager::Configuration> sharedConfiguration;

const SystemClock& systemClock() {
    static const SystemClock clock;
    return clock;
}

// Backup tools that honour the freedesktop convention skip files carrying this attribute. Best
// effort: file systems without user attributes are fine.
void excludeFromBackup(const std::filesystem::path& file) {
    static constexpr char value[] = "true";
    if (::setxattr(file.c_str(), "user.xdg.robots.backup", value, sizeof value - 1, 0) != 0) {
        if (errno != ENOTSUP && errno != EPERM && errno != EACCES)
            throw std::system_error(errno, std::generic_category(),
                                    "cannot mark " + file.string() + " for backup exclusion");
    }
}

} // namespace

DatabaseManager::DatabaseManager(Configuration configuration)
    : config_(std::move(configuration)), clock_(config_.clock ? config_.clock : &systemClock()) {
    logger_.info("Initializing DatabaseManager");
    try {
        setupDatabase();
        migrateIfNeeded();
        ensureElementClickCounts();
        ensurePracticeTables();
    } catch (const std::exception& error) {
        logger_.error(std::string("Failed to initialize database: ") + error.what());
        throw;
    }
    logger_.info("DatabaseManager initialization completed successfully");
}

void DatabaseManager::configureShared(Configuration configuration) {
    std::lock_guard lock(sharedMutex);
    sharedConfiguration = std::move(configuration);
}

DatabaseManager& DatabaseManager::shared() {
    std::lock_guard lock(sharedMutex);
    if (!sharedInstance) {
        if (!sharedConfiguration)
            throw std::logic_error("DatabaseManager::shared() used before configureShared()");
        sharedInstance = std::make_unique<DatabaseManager>(*sharedConfiguration);
    }
    return *sharedInstance;
}

std::filesystem::path DatabaseManager::databasePath() const {
    const auto support = config_.paths ? config_.paths->applicationSupportDirectory() : std::nullopt;
    if (!support || support->empty())
        throw DatabaseError::directoryAccessFailed();
    const auto folder = *support / "tavrin";
    std::filesystem::create_directories(folder); // throws filesystem_error
    return folder / "db.sqlite";
}

void DatabaseManager::setupDatabase() {
    try {
        path_ = databasePath();
        if (!std::filesystem::exists(path_)) {
            std::filesystem::create_directories(path_.parent_path());
            const int fd = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
            if (fd < 0)
                throw std::system_error(errno, std::generic_category(), "cannot create " + path_.string());
            ::close(fd);
        }
        // Owner-only, also for a file that an older build or another tool left readable.
        if (::chmod(path_.c_str(), 0600) != 0)
            throw std::system_error(errno, std::generic_category(), "cannot protect " + path_.string());
        excludeFromBackup(path_);
        db_ = std::make_unique<SQLite::Database>(path_.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_FULLMUTEX);
        // Another process (the window and a command) may be writing: wait for it, also while the
        // journal mode is read or set.
        db_->setBusyTimeout(2000);
        db_->exec("PRAGMA journal_mode=WAL");
        // With WAL, NORMAL stays consistent after a crash and spares an fsync per statement, which
        // the catalogue load (one statement per row) would otherwise pay thousands of times.
        db_->exec("PRAGMA synchronous=NORMAL");
        // The catalogue load gives every row a savepoint: their journal stays in memory rather than
        // in a temporary file written for every row.
        db_->exec("PRAGMA temp_store=MEMORY");
    } catch (const std::exception& error) {
        logger_.error(std::string("Failed to set up database: ") + error.what());
        throw;
    }
}

void DatabaseManager::migrateIfNeeded() {
    const std::int64_t stored = config_.defaults ? config_.defaults->integerForKey(versionKey) : 0;
    logger_.info("Current database version: " + std::to_string(stored) +
                 ", Target version: " + std::to_string(currentVersion));
    const auto fingerprint = catalogueFingerprint();
    if (stored >= currentVersion && !isActionsTableEmpty()) {
        logger_.info("Database is already at the latest version");
        if (loadedCatalogue() != fingerprint) {
            logger_.info("The catalogue changed since the last start: reloading it");
            populateFromCSV();
            storeLoadedCatalogue(fingerprint);
        }
        return;
    }
    logger_.info("Updating database from version " + std::to_string(stored) + " to " + std::to_string(currentVersion));
    try {
        std::lock_guard lock(dbQueue_);
        performDatabaseOperation([this] { createTablesAndIndexes(); });
    } catch (const std::exception& error) {
        logger_.error(std::string("Migration failed: ") + error.what());
        throw DatabaseError::migrationFailed(error);
    }
    populateFromCSV();
    storeLoadedCatalogue(fingerprint);
    if (config_.defaults)
        config_.defaults->setInteger(currentVersion, versionKey);
    logger_.info("Database migration completed successfully");
}

std::int64_t DatabaseManager::catalogueFingerprint() const {
    // FNV-1a over each export's name and bytes.
    std::uint64_t hash = 14695981039346656037ull;
    const auto mix = [&hash](std::string_view bytes) {
        for (const char c : bytes) {
            hash ^= static_cast<unsigned char>(c);
            hash *= 1099511628211ull;
        }
    };
    for (const char* name : catalogueFiles) {
        mix(name);
        mix(std::string_view("\0", 1));
        if (config_.catalogueDirectory.empty())
            continue;
        std::ifstream in(config_.catalogueDirectory / name, std::ios::binary);
        char buffer[8192];
        while (in.read(buffer, sizeof buffer) || in.gcount() > 0)
            mix(std::string_view(buffer, static_cast<std::size_t>(in.gcount())));
        mix(in.bad() ? "unreadable" : "");
    }
    const auto folded = static_cast<std::int64_t>((hash ^ (hash >> 32)) & 0x7fffffffu);
    return folded == 0 ? 1 : folded;
}

std::int64_t DatabaseManager::loadedCatalogue() {
    try {
        return db_->execAndGet("PRAGMA user_version").getInt64();
    } catch (const std::exception& error) {
        logger_.error(std::string("Error reading the catalogue's fingerprint: ") + error.what());
        return 0;
    }
}

void DatabaseManager::storeLoadedCatalogue(std::int64_t fingerprint) {
    try {
        // PRAGMA takes no bound parameters; the value is a number this code computed.
        db_->exec("PRAGMA user_version = " + std::to_string(fingerprint));
    } catch (const std::exception& error) {
        // The next start reloads the catalogue once more, which keeps everything: harmless.
        logger_.error(std::string("Error storing the catalogue's fingerprint: ") + error.what());
    }
}

bool DatabaseManager::isActionsTableEmpty() {
    try {
        SQLite::Statement query(*db_, "SELECT action_id FROM actions LIMIT 1");
        return !query.executeStep();
    } catch (const std::exception& error) {
        logger_.error(std::string("Error checking actions table: ") + error.what());
        return true;
    }
}

void DatabaseManager::createTablesAndIndexes() {
    logger_.info("Creating tables and indexes");
    TableDefinitions::createTables(*db_, clock_->now());
    TableDefinitions::createIndexes(*db_);
}

void DatabaseManager::ensureElementClickCounts() {
    const Operation operation(*this);
    try {
        if (const auto counted = TableDefinitions::buildElementClickCounts(*db_, true))
            logger_.info("Counted " + std::to_string(*counted) + " clicks per element");
        countsReady_ = true;
    } catch (const std::exception& error) {
        logger_.error(std::string("Failed to count clicks per element: ") + error.what());
        countsReady_ = false;
    }
}

std::optional<std::int64_t> DatabaseManager::rebuildElementClickCounts() {
    const Operation operation(*this);
    try {
        const auto counted = TableDefinitions::buildElementClickCounts(*db_, false);
        logger_.info("Counted " + std::to_string(counted.value_or(0)) + " clicks per element");
        countsReady_ = true;
        return counted;
    } catch (const std::exception& error) {
        logger_.error(std::string("Failed to count clicks per element: ") + error.what());
        return std::nullopt;
    }
}

void DatabaseManager::performDatabaseOperation(const std::function<void()>& block) {
    try {
        block();
    } catch (const std::exception& error) {
        logger_.error(std::string("Database operation failed: ") + error.what());
        throw;
    }
}

DatabaseManager::Operation::Operation(DatabaseManager& owner) : owner_(owner), lock_(owner.queries_) {
    ++owner_.operationDepth_;
}

DatabaseManager::Operation::~Operation() {
    if (--owner_.operationDepth_ > 0)
        return;
    for (auto& [sql, cached] : owner_.statements_)
        cached->tryReset();
}

SQLite::Statement& DatabaseManager::statement(std::string_view sql) {
    auto it = statements_.find(sql);
    if (it == statements_.end()) {
        std::string text(sql);
        auto prepared = std::make_unique<SQLite::Statement>(*db_, text);
        it = statements_.emplace(std::move(text), std::move(prepared)).first;
    } else {
        // sqlite3_reset answers with the error of the statement's last step, which belongs to the
        // row that failed then, not to this use: only the reset itself matters here.
        it->second->tryReset();
        it->second->clearBindings();
    }
    return *it->second;
}

std::vector<std::pair<std::string, std::int64_t>> DatabaseManager::tableRowCounts() {
    std::vector<std::pair<std::string, std::int64_t>> counts;
    for (const char* table : TableDefinitions::kTableNames) {
        std::int64_t count = -1;
        try {
            // Table names come from the fixed schema list, never from input.
            SQLite::Statement query(*db_, std::string("SELECT COUNT(*) FROM ") + table);
            if (query.executeStep())
                count = query.getColumn(0).getInt64();
        } catch (const std::exception&) {
        }
        counts.emplace_back(table, count);
    }
    return counts;
}

} // namespace tavrin
