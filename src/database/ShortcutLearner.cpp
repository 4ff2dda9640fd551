#include "database/ShortcutLearner.h"

#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>

#include "database/DatabaseManager.h"
#include "platform/Log.h"

namespace tavrin::ShortcutLearner {

std::int64_t nextUserId(DatabaseManager& database) {
    SQLite::Statement next(database.db(), "SELECT MAX((SELECT COALESCE(MAX(action_id) + 1, ?1) FROM actions WHERE "
                                          "action_id >= ?1), (SELECT COALESCE(MAX(shortcut_id) + 1, ?1) FROM "
                                          "shortcuts WHERE shortcut_id >= ?1))");
    next.bind(1, firstId);
    next.executeStep();
    return next.getColumn(0).getInt64();
}

std::int64_t nextUserPriority(DatabaseManager& database, const std::string& namespaceId) {
    SQLite::Statement next(database.db(), "SELECT COALESCE(MAX(priority) + 1, ?) FROM actions WHERE namespace_id = ? "
                                          "AND priority >= ?");
    next.bind(1, firstPriority);
    next.bind(2, namespaceId);
    next.bind(3, firstPriority);
    next.executeStep();
    return next.getColumn(0).getInt64();
}

int learn(DatabaseManager& database, const std::string& namespaceId, const std::vector<HarvestedItem>& items) {
    if (items.empty())
        return 0;
    int learned = 0;
    auto& db = database.db();
    try {
        SQLite::Statement level(db, "SELECT level_type FROM namespace WHERE namespace_id = ?");
        level.bind(1, namespaceId);
        if (!level.executeStep() || level.getColumn(0).getString() != "app")
            return 0;
        for (const auto& item : items) {
            // The action this item is: one of the namespace's with the same keys or name, else new.
            SQLite::Statement existing(db, "SELECT actions.name FROM actions INNER JOIN shortcuts ON "
                                           "shortcuts.action_id = actions.action_id WHERE shortcuts.namespace_id = ? "
                                           "AND (shortcuts.mac_keys = ? OR actions.name = ?) LIMIT 1");
            existing.bind(1, namespaceId);
            existing.bind(2, item.keys);
            existing.bind(3, item.name);
            std::string action = item.name;
            if (existing.executeStep()) {
                action = existing.getColumn(0).getString();
            } else {
                const auto id = nextUserId(database);
                const auto priority = nextUserPriority(database, namespaceId);
                SQLite::Transaction transaction(db);
                SQLite::Statement insertAction(db, "INSERT INTO actions (action_id, namespace_id, name, description, "
                                                   "priority) VALUES (?, ?, ?, ?, ?)");
                insertAction.bind(1, id);
                insertAction.bind(2, namespaceId);
                insertAction.bind(3, item.name);
                if (!item.description.empty())
                    insertAction.bind(4, item.description);
                insertAction.bind(5, priority);
                insertAction.exec();
                SQLite::Statement insertShortcut(db, "INSERT INTO shortcuts (shortcut_id, namespace_id, action_id, "
                                                     "mac_keys) VALUES (?, ?, ?, ?)");
                insertShortcut.bind(1, id);
                insertShortcut.bind(2, namespaceId);
                insertShortcut.bind(3, id);
                insertShortcut.bind(4, item.keys);
                insertShortcut.exec();
                transaction.commit();
                ++learned;
            }
            for (const auto& value : {std::optional<std::string>(item.value), withoutEllipsis(item.value)}) {
                if (!value)
                    continue;
                // Ids from `firstId` up tell the user's mappings from the catalogue's.
                SQLite::Statement insertMapping(
                    db,
                    "INSERT OR IGNORE INTO accessibility_mapping (namespace_id, name, predicted_best_col, "
                    "predicted_best_value, mapping_id) SELECT ?, ?, ?, ?, (SELECT COALESCE(MAX(mapping_id) + 1, ?7) "
                    "FROM accessibility_mapping WHERE mapping_id >= ?7) WHERE NOT EXISTS (SELECT 1 FROM "
                    "accessibility_mapping WHERE namespace_id = ? AND predicted_best_value = ?)");
                insertMapping.bind(1, namespaceId);
                insertMapping.bind(2, action);
                insertMapping.bind(3, item.column);
                insertMapping.bind(4, *value);
                insertMapping.bind(5, namespaceId);
                insertMapping.bind(6, *value);
                insertMapping.bind(7, firstId);
                insertMapping.exec();
            }
        }
        if (learned > 0) {
            SQLite::Statement supported(db, "UPDATE namespace SET is_supported = 1 WHERE namespace_id = ?");
            supported.bind(1, namespaceId);
            supported.exec();
        }
    } catch (const std::exception& error) {
        printLine(std::string("Error learning shortcuts: ") + error.what());
    }
    return learned;
}

Source shortcutSource(DatabaseManager& database, const std::string& namespaceId) {
    try {
        SQLite::Statement query(database.db(), "SELECT MIN(shortcut_id) FROM shortcuts WHERE namespace_id = ?");
        query.bind(1, namespaceId);
        query.executeStep();
        if (query.getColumn(0).isNull())
            return Source::none;
        return query.getColumn(0).getInt64() >= firstId ? Source::learned : Source::catalogue;
    } catch (const std::exception& error) {
        printLine(std::string("Error reading learned shortcuts: ") + error.what());
        return Source::catalogue;
    }
}

// The table comes with the first version stored, so older files need no migration.
std::optional<std::string> walkedVersion(DatabaseManager& database, const std::string& namespaceId) {
    try {
        SQLite::Statement exists(database.db(), "SELECT 1 FROM sqlite_master WHERE name = 'walked_versions'");
        if (!exists.executeStep())
            return std::nullopt;
        SQLite::Statement query(database.db(), "SELECT version FROM walked_versions WHERE namespace_id = ?");
        query.bind(1, namespaceId);
        if (query.executeStep())
            return query.getColumn(0).getString();
    } catch (const std::exception& error) {
        printLine(std::string("Error reading learned shortcuts: ") + error.what());
    }
    return std::nullopt;
}

void rememberWalkedVersion(DatabaseManager& database, const std::string& namespaceId, const std::string& version) {
    try {
        database.db().exec("CREATE TABLE IF NOT EXISTS walked_versions (namespace_id TEXT PRIMARY KEY NOT NULL, "
                           "version TEXT NOT NULL)");
        SQLite::Statement write(database.db(), "INSERT OR REPLACE INTO walked_versions (namespace_id, version) "
                                               "VALUES (?, ?)");
        write.bind(1, namespaceId);
        write.bind(2, version);
        write.exec();
    } catch (const std::exception& error) {
        // The next start of the application reads its menus once more: harmless.
        printLine(std::string("Error learning shortcuts: ") + error.what());
    }
}

std::vector<Learned> learnedShortcuts(DatabaseManager& database) {
    std::vector<Learned> out;
    try {
        SQLite::Statement query(database.db(), "SELECT shortcuts.namespace_id, actions.name, shortcuts.mac_keys FROM "
                                               "shortcuts INNER JOIN actions ON shortcuts.action_id = "
                                               "actions.action_id WHERE shortcuts.shortcut_id >= ? ORDER BY "
                                               "shortcuts.namespace_id, actions.name");
        query.bind(1, firstId);
        while (query.executeStep())
            out.push_back(
                {query.getColumn(0).getString(), query.getColumn(1).getString(), query.getColumn(2).getString()});
    } catch (const std::exception& error) {
        printLine(std::string("Error reading learned shortcuts: ") + error.what());
    }
    return out;
}

} // namespace tavrin::ShortcutLearner
