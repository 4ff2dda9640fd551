#include "database/TableDefinitions.h"

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

} // namespace tavrin::TableDefinitions
