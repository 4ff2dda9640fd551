#include <set>
#include <tuple>

#include "database/DatabaseManager.h"
#include "database/ShortcutLearner.h"

// What a new catalogue does to the rows it no longer has, and to the rows the user's applications
// taught before the catalogue knew them.
namespace tavrin {

namespace {

// Gives shortcut `to` the user's data of shortcut `from`: its marks where `to` has none, and its uses.
void carryUserData(SQLite::Database& db, std::int64_t from, std::int64_t to) {
    SQLite::Statement marks(db, "UPDATE shortcuts SET bookmarked_at = COALESCE(bookmarked_at, (SELECT bookmarked_at "
                                "FROM shortcuts WHERE shortcut_id = ?1)), learned_at = COALESCE(learned_at, (SELECT "
                                "learned_at FROM shortcuts WHERE shortcut_id = ?1)), flagged_at = COALESCE(flagged_at, "
                                "(SELECT flagged_at FROM shortcuts WHERE shortcut_id = ?1)) WHERE shortcut_id = ?2");
    marks.bind(1, from);
    marks.bind(2, to);
    marks.exec();
    SQLite::Statement uses(db, "UPDATE shortcut_usage SET shortcut_id = ? WHERE shortcut_id = ?");
    uses.bind(1, to);
    uses.bind(2, from);
    uses.exec();
}

// Deletes a shortcut, and its action once no shortcut is left to it.
void deleteShortcut(SQLite::Database& db, std::int64_t shortcutId, std::int64_t actionId) {
    SQLite::Statement shortcut(db, "DELETE FROM shortcuts WHERE shortcut_id = ?");
    shortcut.bind(1, shortcutId);
    shortcut.exec();
    SQLite::Statement action(db, "DELETE FROM actions WHERE action_id = ?1 AND NOT EXISTS (SELECT 1 FROM shortcuts "
                                 "WHERE action_id = ?1)");
    action.bind(1, actionId);
    action.exec();
}

struct Held {
    std::int64_t shortcutId, actionId;
    std::string namespaceId, name, keys;
    bool marked; // bookmarked, learned or used: the user's own progress
};

std::vector<Held> heldShortcuts(SQLite::Database& db, const std::string& where) {
    std::vector<Held> rows;
    SQLite::Statement query(db, "SELECT s.shortcut_id, s.action_id, s.namespace_id, COALESCE(a.name, ''), "
                                "s.mac_keys, s.bookmarked_at IS NOT NULL OR s.learned_at IS NOT NULL OR EXISTS "
                                "(SELECT 1 FROM shortcut_usage u WHERE u.shortcut_id = s.shortcut_id) FROM "
                                "shortcuts s LEFT JOIN actions a ON a.action_id = s.action_id WHERE " +
                                    where);
    query.bind(1, ShortcutLearner::firstId);
    while (query.executeStep())
        rows.push_back({query.getColumn(0).getInt64(), query.getColumn(1).getInt64(), query.getColumn(2).getString(),
                        query.getColumn(3).getString(), query.getColumn(4).getString(),
                        query.getColumn(5).getInt() != 0});
    return rows;
}

// Rows naming an action `from` of the namespace that no action bears any more.
constexpr const char* kUnclaimed =
    " WHERE namespace_id = ?1 AND name = ?2 AND NOT EXISTS (SELECT 1 FROM actions WHERE namespace_id = ?1 AND name "
    "= ?2)";

// Points the namespace's mappings of action `from` (only those learned from the application, when
// `learnedOnly`) at action `to`, unless an action still bears the name `from`.
void repointMappings(SQLite::Database& db, const std::string& namespaceId, const std::string& from,
                     const std::string& to, bool learnedOnly) {
    const std::string learned = learnedOnly ? " AND mapping_id >= " + std::to_string(ShortcutLearner::firstId) : "";
    SQLite::Statement update(db, std::string("UPDATE OR IGNORE accessibility_mapping SET name = ?3") + kUnclaimed +
                                     learned);
    update.bind(1, namespaceId);
    update.bind(2, from);
    update.bind(3, to);
    update.exec();
    SQLite::Statement left(db, std::string("DELETE FROM accessibility_mapping") + kUnclaimed + learned);
    left.bind(1, namespaceId);
    left.bind(2, from);
    left.exec();
}

// Counts the namespace's clicks on action `from` for action `to`, unless an action still bears
// the name `from`: clicks are stored under the action's name.
void moveClicks(SQLite::Database& db, const std::string& namespaceId, const std::string& from, const std::string& to) {
    SQLite::Statement update(db, "UPDATE click_events SET element_clicked = ?3 WHERE namespace_id = ?1 AND "
                                 "element_clicked = ?2 AND NOT EXISTS (SELECT 1 FROM actions WHERE namespace_id = ?1 "
                                 "AND name = ?2)");
    update.bind(1, namespaceId);
    update.bind(2, from);
    update.bind(3, to);
    update.exec();
}

} // namespace

void DatabaseManager::mergeLearnedShortcuts() {
    const Operation operation(*this);
    try {
        inRowSavepoint([&] {
            auto& db = *db_;
            for (const auto& learned : heldShortcuts(db, "s.shortcut_id >= ?1")) {
                SQLite::Statement same(db, "SELECT s.shortcut_id, a.name FROM shortcuts s INNER JOIN actions a ON "
                                           "a.action_id = s.action_id WHERE s.namespace_id = ? AND s.mac_keys = ? AND "
                                           "s.shortcut_id < ? ORDER BY s.shortcut_id LIMIT 1");
                same.bind(1, learned.namespaceId);
                same.bind(2, learned.keys);
                same.bind(3, ShortcutLearner::firstId);
                if (!same.executeStep())
                    continue;
                const auto catalogueId = same.getColumn(0).getInt64();
                const std::string catalogueName = same.getColumn(1).getString();
                same.reset();
                carryUserData(db, learned.shortcutId, catalogueId);
                deleteShortcut(db, learned.shortcutId, learned.actionId);
                repointMappings(db, learned.namespaceId, learned.name, catalogueName, false);
                moveClicks(db, learned.namespaceId, learned.name, catalogueName);
            }
        });
    } catch (const std::exception& error) {
        logger_.error(std::string("Error merging learned shortcuts into the catalogue: ") + error.what());
    }
}

void DatabaseManager::dropRowsTheCatalogueLeft(const std::vector<Action>& actions,
                                               const std::vector<Shortcut>& shortcuts,
                                               const std::vector<AccessibilityMapping>& mappings) {
    const Operation operation(*this);
    std::set<std::int64_t> keptActions, keptShortcuts;
    for (const auto& row : actions)
        if (row.include)
            keptActions.insert(row.action_id);
    for (const auto& row : shortcuts)
        if (row.include && !row.mac_keys.empty() && keptActions.count(row.action_id))
            keptShortcuts.insert(row.shortcut_id);
    std::set<std::tuple<std::string, std::string, std::string>> keptMappings;
    for (const auto& row : mappings)
        keptMappings.emplace(row.namespace_id, row.action_name, row.predicted_best_value);
    try {
        inRowSavepoint([&] {
            auto& db = *db_;
            for (const auto& gone : heldShortcuts(db, "s.shortcut_id < ?1")) {
                if (keptShortcuts.count(gone.shortcutId))
                    continue;
                // The catalogue's row for the same keys, else for the same action name, takes the
                // user's data; without one, a card the user marked or used stays as their own row.
                SQLite::Statement successors(db,
                                             "SELECT s.shortcut_id, a.name FROM shortcuts s INNER JOIN actions a ON "
                                             "a.action_id = s.action_id WHERE s.namespace_id = ? AND "
                                             "s.shortcut_id < ? AND (s.mac_keys = ? OR a.name = ?) ORDER BY "
                                             "s.mac_keys = ? DESC, s.shortcut_id");
                successors.bind(1, gone.namespaceId);
                successors.bind(2, ShortcutLearner::firstId);
                successors.bind(3, gone.keys);
                successors.bind(4, gone.name);
                successors.bind(5, gone.keys);
                std::optional<std::int64_t> successor;
                std::string successorName;
                while (!successor && successors.executeStep())
                    if (keptShortcuts.count(successors.getColumn(0).getInt64())) {
                        successor = successors.getColumn(0).getInt64();
                        successorName = successors.getColumn(1).getString();
                    }
                successors.reset();
                if (successor) {
                    carryUserData(db, gone.shortcutId, *successor);
                    deleteShortcut(db, gone.shortcutId, gone.actionId);
                    // What the application taught about the action follows it; the catalogue's
                    // own mappings are as its export lists them.
                    repointMappings(db, gone.namespaceId, gone.name, successorName, true);
                } else if (gone.marked) {
                    keepAsUserRow(gone.shortcutId, gone.actionId, !keptActions.count(gone.actionId));
                } else {
                    deleteShortcut(db, gone.shortcutId, gone.actionId);
                }
            }
            std::vector<std::int64_t> goneActions;
            SQLite::Statement catalogueActions(db, "SELECT action_id FROM actions WHERE action_id < ?");
            catalogueActions.bind(1, ShortcutLearner::firstId);
            while (catalogueActions.executeStep())
                if (!keptActions.count(catalogueActions.getColumn(0).getInt64()))
                    goneActions.push_back(catalogueActions.getColumn(0).getInt64());
            catalogueActions.reset();
            for (const auto id : goneActions) {
                SQLite::Statement drop(db, "DELETE FROM actions WHERE action_id = ?1 AND NOT EXISTS (SELECT 1 FROM "
                                           "shortcuts WHERE action_id = ?1)");
                drop.bind(1, id);
                drop.exec();
            }
            // The catalogue's mappings it no longer lists, but none that names a row of the user's.
            std::vector<std::int64_t> goneMappings;
            SQLite::Statement catalogueMappings(
                db, "SELECT m.mapping_id, m.namespace_id, m.name, m.predicted_best_value FROM accessibility_mapping m "
                    "WHERE m.mapping_id < ?1 AND NOT EXISTS (SELECT 1 FROM actions a WHERE a.namespace_id = "
                    "m.namespace_id AND a.name = m.name AND a.action_id >= ?1)");
            catalogueMappings.bind(1, ShortcutLearner::firstId);
            while (catalogueMappings.executeStep())
                if (!keptMappings.count({catalogueMappings.getColumn(1).getString(),
                                         catalogueMappings.getColumn(2).getString(),
                                         catalogueMappings.getColumn(3).getString()}))
                    goneMappings.push_back(catalogueMappings.getColumn(0).getInt64());
            catalogueMappings.reset();
            for (const auto id : goneMappings) {
                SQLite::Statement drop(db, "DELETE FROM accessibility_mapping WHERE mapping_id = ?");
                drop.bind(1, id);
                drop.exec();
            }
            // No learned mapping may name an action that is gone.
            SQLite::Statement dangling(db,
                                       "DELETE FROM accessibility_mapping WHERE mapping_id >= ?1 AND NOT EXISTS "
                                       "(SELECT 1 FROM actions a WHERE a.namespace_id = "
                                       "accessibility_mapping.namespace_id AND a.name = accessibility_mapping.name)");
            dangling.bind(1, ShortcutLearner::firstId);
            dangling.exec();
        });
    } catch (const std::exception& error) {
        logger_.error(std::string("Error dropping rows the catalogue no longer has: ") + error.what());
    }
}

void DatabaseManager::keepAsUserRow(std::int64_t shortcutId, std::int64_t actionId, bool moveAction) {
    auto& db = *db_;
    const auto id = nextUserId();
    if (moveAction) {
        // With all of its shortcuts: those that go too find it moved.
        SQLite::Statement copy(db, "INSERT INTO actions (action_id, namespace_id, name, description, priority) SELECT "
                                   "?1, namespace_id, name, description, ?2 FROM actions WHERE action_id = ?3");
        copy.bind(1, id);
        copy.bind(2, nextUserPriority(namespaceOfAction(actionId)));
        copy.bind(3, actionId);
        if (copy.exec() > 0)
            for (const char* sql : {"UPDATE shortcuts SET action_id = ?1 WHERE action_id = ?2",
                                    "DELETE FROM actions WHERE action_id = ?2"}) {
                SQLite::Statement write(db, sql);
                write.bind(1, id);
                write.bind(2, actionId);
                write.exec();
            }
    }
    for (const char* sql : {"INSERT INTO shortcuts (shortcut_id, namespace_id, action_id, mac_keys, bookmarked_at, "
                            "learned_at, flagged_at, description) SELECT ?1, namespace_id, action_id, mac_keys, "
                            "bookmarked_at, learned_at, flagged_at, description FROM shortcuts WHERE shortcut_id = ?2",
                            "UPDATE shortcut_usage SET shortcut_id = ?1 WHERE shortcut_id = ?2",
                            "DELETE FROM shortcuts WHERE shortcut_id = ?2"}) {
        SQLite::Statement write(db, sql);
        write.bind(1, id);
        write.bind(2, shortcutId);
        write.exec();
    }
}

std::string DatabaseManager::namespaceOfAction(std::int64_t actionId) {
    SQLite::Statement query(*db_, "SELECT namespace_id FROM actions WHERE action_id = ?");
    query.bind(1, actionId);
    return query.executeStep() ? query.getColumn(0).getString() : std::string();
}

} // namespace tavrin
