#include "database/TableDefinitions.h"

#include <iterator>

#include <SQLiteCpp/Statement.h>

#include "platform/Log.h"

namespace tavrin::TableDefinitions {

std::vector<std::string> createTableStatements(Date createdAt) {
    // A schema default is a literal; DDL cannot take bound parameters.
    const std::string now = "'" + formatDate(createdAt) + "'";
    return {
        "CREATE TABLE IF NOT EXISTS users ("
        "user_id TEXT PRIMARY KEY NOT NULL, "
        "username TEXT NOT NULL, "
        "created_at TEXT NOT NULL DEFAULT " +
            now +
            ", "
            "updated_at TEXT NOT NULL DEFAULT " +
            now + ")",

        "CREATE TABLE IF NOT EXISTS click_events ("
        "event_id INTEGER PRIMARY KEY NOT NULL, "
        "namespace_id TEXT NOT NULL, "
        "user_id TEXT NOT NULL, "
        "timestamp TEXT NOT NULL DEFAULT " +
            now +
            ", "
            "element_clicked TEXT NOT NULL, "
            "confidence REAL NOT NULL, "
            "element_type TEXT NOT NULL, "
            "app_version TEXT, "
            "FOREIGN KEY (user_id) REFERENCES users (user_id))",

        "CREATE TABLE IF NOT EXISTS namespace ("
        "namespace_id TEXT PRIMARY KEY NOT NULL, "
        "level_type TEXT NOT NULL, "
        "level_name TEXT NOT NULL, "
        "is_supported INTEGER NOT NULL, "
        "is_classified INTEGER NOT NULL, "
        "has_domain INTEGER NOT NULL, "
        "description TEXT)",

        "CREATE TABLE IF NOT EXISTS actions ("
        "action_id INTEGER PRIMARY KEY NOT NULL, "
        "namespace_id TEXT NOT NULL, "
        "name TEXT NOT NULL, "
        "priority INTEGER, "
        "description TEXT)",

        "CREATE TABLE IF NOT EXISTS shortcuts ("
        "shortcut_id INTEGER PRIMARY KEY NOT NULL, "
        "namespace_id TEXT NOT NULL, "
        "action_id INTEGER NOT NULL, "
        "mac_keys TEXT NOT NULL, "
        "bookmarked_at TEXT, "
        "learned_at TEXT, "
        "flagged_at TEXT, "
        "description TEXT)",

        "CREATE TABLE IF NOT EXISTS shortcut_usage ("
        "usage_id INTEGER PRIMARY KEY NOT NULL, "
        "user_id TEXT NOT NULL, "
        "shortcut_id INTEGER NOT NULL, "
        "timestamp TEXT NOT NULL DEFAULT " +
            now +
            ", "
            "FOREIGN KEY (user_id) REFERENCES users (user_id), "
            "FOREIGN KEY (shortcut_id) REFERENCES shortcuts (shortcut_id))",

        "CREATE TABLE IF NOT EXISTS accessibility_mapping ("
        "mapping_id INTEGER PRIMARY KEY NOT NULL, "
        "namespace_id TEXT NOT NULL, "
        "name TEXT NOT NULL, "
        "predicted_best_col TEXT NOT NULL, "
        "predicted_best_value TEXT NOT NULL, "
        "FOREIGN KEY (name) REFERENCES actions (name), "
        "UNIQUE (namespace_id, name, predicted_best_value))",
    };
}

const std::vector<std::string>& createIndexStatements() {
    static const std::vector<std::string> statements = {
        "CREATE INDEX IF NOT EXISTS idx_click_events_namespace_confidence ON click_events (namespace_id, confidence)",
        "CREATE INDEX IF NOT EXISTS idx_click_events_user_timestamp ON click_events (user_id, timestamp)",
        "CREATE INDEX IF NOT EXISTS idx_click_events_namespace_confidence_element ON click_events (namespace_id, "
        "confidence, element_clicked)",
        "CREATE INDEX IF NOT EXISTS idx_shortcuts_namespace_mackeys ON shortcuts (namespace_id, mac_keys)",
        "CREATE INDEX IF NOT EXISTS idx_shortcuts_action ON shortcuts (action_id)",
        "CREATE INDEX IF NOT EXISTS idx_shortcuts_bookmarked_at ON shortcuts (bookmarked_at)",
        "CREATE INDEX IF NOT EXISTS idx_shortcuts_learned_at ON shortcuts (learned_at)",
        "CREATE INDEX IF NOT EXISTS idx_shortcuts_flagged_at ON shortcuts (flagged_at)",
        "CREATE INDEX IF NOT EXISTS idx_actions_namespace_priority ON actions (namespace_id, priority)",
        "CREATE INDEX IF NOT EXISTS idx_actions_name ON actions (name)",
        "CREATE INDEX IF NOT EXISTS idx_namespace_level ON namespace (level_type, level_name)",
        "CREATE INDEX IF NOT EXISTS idx_namespace_supported ON namespace (is_supported)",
        "CREATE INDEX IF NOT EXISTS idx_namespace_classified ON namespace (is_classified)",
        "CREATE INDEX IF NOT EXISTS idx_shortcut_usage_user_timestamp ON shortcut_usage (user_id, timestamp)",
        "CREATE INDEX IF NOT EXISTS idx_shortcut_usage_shortcut ON shortcut_usage (shortcut_id)",
        "CREATE INDEX IF NOT EXISTS idx_accessibility_mapping_namespace ON accessibility_mapping (namespace_id)",
        "CREATE INDEX IF NOT EXISTS idx_accessibility_mapping_action ON accessibility_mapping (name)",
        "CREATE INDEX IF NOT EXISTS idx_accessibility_mapping_col ON accessibility_mapping (predicted_best_col)",
        "CREATE INDEX IF NOT EXISTS idx_accessibility_mapping_value ON accessibility_mapping (predicted_best_value)",
    };
    return statements;
}

void createTables(SQLite::Database& db, Date createdAt) {
    for (const auto& statement : createTableStatements(createdAt))
        db.exec(statement);
}

void createIndexes(SQLite::Database& db) {
    for (const auto& statement : createIndexStatements()) {
        try {
            db.exec(statement);
        } catch (const std::exception& error) {
            printLine(std::string("Error creating indexes: ") + error.what());
            return;
        }
    }
    printLine("Indexes created successfully");
}

namespace {

// Both halves of the accounting, for a row leaving and a row joining its element. An element's row
// goes when its last click goes. first_seen is recomputed from the index rather than tracked: a
// deleted click may have been the earliest. The index is named, since without statistics the
// planner would pick the (namespace, confidence, element) index and read the whole namespace.
const char* const kLeave =
    "DELETE FROM element_click_counts WHERE namespace_id = OLD.namespace_id AND element_clicked = "
    "OLD.element_clicked AND count <= 1 AND OLD.confidence >= 0.8; "
    "UPDATE element_click_counts SET count = count - 1, first_seen = (SELECT MIN(timestamp) FROM click_events "
    "INDEXED BY idx_click_events_counted WHERE namespace_id = OLD.namespace_id AND element_clicked = "
    "OLD.element_clicked AND confidence >= 0.8) WHERE namespace_id = OLD.namespace_id AND element_clicked = "
    "OLD.element_clicked AND OLD.confidence >= 0.8; ";
// min() and MIN() order values alike (numbers, then text by bytes, then blobs), so a timestamp
// that another tool stored in another form wins or loses exactly as it does in the count statement.
const char* const kJoin = "INSERT INTO element_click_counts (namespace_id, element_clicked, count, first_seen) "
                          "SELECT NEW.namespace_id, NEW.element_clicked, 1, NEW.timestamp WHERE NEW.confidence >= 0.8 "
                          "ON CONFLICT (namespace_id, element_clicked) DO UPDATE SET count = count + 1, "
                          "first_seen = min(first_seen, excluded.first_seen); ";

bool hasEveryObject(SQLite::Database& db) {
    SQLite::Statement query(db, "SELECT COUNT(*) FROM sqlite_master WHERE name IN (?, ?, ?, ?, ?)");
    int index = 1;
    for (const char* name : kElementClickCountObjects)
        query.bind(index++, name);
    query.executeStep();
    return query.getColumn(0).getInt64() == static_cast<std::int64_t>(std::size(kElementClickCountObjects));
}

} // namespace

const std::vector<std::string>& elementClickCountStatements() {
    static const std::vector<std::string> statements = {
        // first_seen has no declared type, so it keeps a timestamp in whatever form it was stored.
        "CREATE TABLE element_click_counts ("
        "namespace_id TEXT NOT NULL, "
        "element_clicked TEXT NOT NULL, "
        "count INTEGER NOT NULL, "
        "first_seen NOT NULL, "
        "PRIMARY KEY (namespace_id, element_clicked)) WITHOUT ROWID",
        "CREATE INDEX idx_click_events_counted ON click_events (namespace_id, element_clicked, timestamp) "
        "WHERE confidence >= 0.8",
        std::string("CREATE TRIGGER click_events_counted_insert AFTER INSERT ON click_events "
                    "WHEN NEW.confidence >= 0.8 BEGIN ") +
            kJoin + "END",
        std::string("CREATE TRIGGER click_events_counted_delete AFTER DELETE ON click_events "
                    "WHEN OLD.confidence >= 0.8 BEGIN ") +
            kLeave + "END",
        std::string("CREATE TRIGGER click_events_counted_update AFTER UPDATE OF namespace_id, element_clicked, "
                    "confidence, timestamp ON click_events BEGIN ") +
            kLeave + kJoin + "END",
    };
    return statements;
}

std::optional<std::int64_t> buildElementClickCounts(SQLite::Database& db, bool onlyWhenMissing) {
    if (onlyWhenMissing && hasEveryObject(db))
        return std::nullopt;
    // Immediate: the write lock is taken before the check, so two processes starting together
    // build once, and no click slips in between the fill and the triggers.
    db.exec("BEGIN IMMEDIATE");
    try {
        if (onlyWhenMissing && hasEveryObject(db)) {
            db.exec("COMMIT");
            return std::nullopt;
        }
        for (auto it = std::rbegin(kElementClickCountObjects); it != std::rend(kElementClickCountObjects); ++it) {
            SQLite::Statement type(db, "SELECT type FROM sqlite_master WHERE name = ?");
            type.bind(1, *it);
            if (type.executeStep()) {
                const std::string kind = type.getColumn(0).getString();
                type.reset();
                // Names come from the fixed list above, never from input.
                db.exec("DROP " + kind + " " + *it);
            }
        }
        const auto& statements = elementClickCountStatements();
        db.exec(statements[0]);
        db.exec(statements[1]);
        db.exec("INSERT INTO element_click_counts (namespace_id, element_clicked, count, first_seen) "
                "SELECT namespace_id, element_clicked, COUNT(*), MIN(timestamp) FROM click_events "
                "INDEXED BY idx_click_events_counted WHERE confidence >= 0.8 GROUP BY namespace_id, element_clicked");
        SQLite::Statement clicks(db, "SELECT COALESCE(SUM(count), 0) FROM element_click_counts");
        clicks.executeStep();
        const std::int64_t total = clicks.getColumn(0).getInt64();
        clicks.reset();
        for (std::size_t i = 2; i < statements.size(); ++i)
            db.exec(statements[i]);
        db.exec("COMMIT");
        return total;
    } catch (...) {
        try {
            db.exec("ROLLBACK");
        } catch (const std::exception&) {
        }
        throw;
    }
}

} // namespace tavrin::TableDefinitions
