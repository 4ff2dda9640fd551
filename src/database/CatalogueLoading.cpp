#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <set>
#include <tuple>
#include <sstream>
#include <unordered_map>

#include <sqlite3.h>

#include "database/CSVReader.h"
#include "database/DatabaseManager.h"
#include "database/ShortcutLearner.h"
#include "foundation/Text.h"

namespace tavrin {

namespace {

// How each row kind decodes from its export's columns.
template <class Row> Row decodeRow(const CSVTable& table, std::size_t row);

template <> Namespace decodeRow<Namespace>(const CSVTable& table, std::size_t row) {
    const auto level = decodeString(table, row, "level_type");
    const auto parsed = namespaceLevelFromString(level);
    if (!parsed)
        throw CSVDecodeError("Cannot initialize NamespaceLevel from invalid String value " + level);
    return {decodeString(table, row, "namespace_id"), *parsed,
            decodeString(table, row, "level_name"),   decodeBool(table, row, "is_supported"),
            decodeBool(table, row, "is_classified"),  decodeBool(table, row, "has_domain")};
}

template <> Action decodeRow<Action>(const CSVTable& table, std::size_t row) {
    return {decodeInteger(table, row, "action_id"), decodeString(table, row, "namespace_id"),
            decodeString(table, row, "name"),       decodeOptionalString(table, row, "description"),
            decodeBool(table, row, "include"),      decodeOptionalInteger(table, row, "priority")};
}

template <> Shortcut decodeRow<Shortcut>(const CSVTable& table, std::size_t row) {
    return {decodeInteger(table, row, "shortcut_id"),        decodeString(table, row, "namespace_id"),
            decodeInteger(table, row, "action_id"),          decodeString(table, row, "mac_keys"),
            decodeOptionalString(table, row, "description"), decodeBool(table, row, "include")};
}

template <> AccessibilityMapping decodeRow<AccessibilityMapping>(const CSVTable& table, std::size_t row) {
    return {decodeString(table, row, "namespace_id"), decodeString(table, row, "action_name"),
            decodeString(table, row, "predicted_best_col"), decodeString(table, row, "predicted_best_value")};
}

bool isUtf8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        const std::size_t length = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (!length || i + length > text.size())
            return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(text[i + k]) >> 6) != 2)
                return false;
        i += length;
    }
    return true;
}

// The pieces of a key text: split at "+", empty pieces dropped, each trimmed.
std::vector<std::string> keyPieces(const std::string& keys) {
    std::vector<std::string> pieces;
    std::string piece;
    std::istringstream in(keys);
    while (std::getline(in, piece, '+'))
        if (!piece.empty())
            pieces.push_back(trimmed(piece));
    return pieces;
}

} // namespace

template <class Row> std::optional<std::vector<Row>> DatabaseManager::readCSV(const std::filesystem::path& path) {
    logger_.info("Starting to read CSV file: " + path.string());
    std::ifstream in(path, std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    if (!in) {
        printLine("Error reading CSV file: cannot read " + path.string());
        return std::nullopt;
    }
    const std::string text = buffer.str();
    if (isUtf8(text)) {
        // The first line ends at a line feed or a carriage return, so CRLF files are read alike.
        const std::string firstLine = text.substr(0, text.find_first_of("\r\n"));
        std::vector<std::string> names;
        std::istringstream header(firstLine);
        for (std::string name; std::getline(header, name, ',');)
            names.push_back(name);
        std::vector<std::string> repeated;
        for (const auto& name : names)
            if (std::count(names.begin(), names.end(), name) > 1 &&
                std::find(repeated.begin(), repeated.end(), name) == repeated.end())
                repeated.push_back(name);
        if (!repeated.empty()) {
            std::string list = "[";
            for (std::size_t i = 0; i < repeated.size(); ++i)
                list += (i ? ", \"" : "\"") + repeated[i] + "\"";
            printLine("Duplicate headers found: " + list + "]");
        }
    }
    try {
        const auto table = CSVTable::parse(text);
        std::vector<Row> rows;
        rows.reserve(table.rows().size());
        for (std::size_t i = 0; i < table.rows().size(); ++i)
            rows.push_back(decodeRow<Row>(table, i));
        return rows;
    } catch (const std::exception& error) {
        printLine(std::string("Error reading CSV file: ") + error.what());
        return std::nullopt;
    }
}

template std::optional<std::vector<Namespace>> DatabaseManager::readCSV<Namespace>(const std::filesystem::path&);
template std::optional<std::vector<Action>> DatabaseManager::readCSV<Action>(const std::filesystem::path&);
template std::optional<std::vector<Shortcut>> DatabaseManager::readCSV<Shortcut>(const std::filesystem::path&);
template std::optional<std::vector<AccessibilityMapping>>
DatabaseManager::readCSV<AccessibilityMapping>(const std::filesystem::path&);

void DatabaseManager::populateFromCSV() {
    printLine("Populating database from CSV");
    const auto file = [this](const char* name) -> std::optional<std::filesystem::path> {
        const auto path = config_.catalogueDirectory / name;
        std::error_code ec;
        if (config_.catalogueDirectory.empty() || !std::filesystem::is_regular_file(path, ec))
            return std::nullopt; // a missing export is skipped without a message
        return path;
    };
    // The whole load is one transaction, so that thousands of rows cost one commit rather than one
    // each; every row has its own savepoint inside it, so a failing row still costs only itself.
    // Should the transaction not begin (another process holds the file for longer than the busy
    // time-out), the rows commit one by one.
    const Operation operation(*this);
    bool inTransaction = false;
    try {
        statement("BEGIN IMMEDIATE").exec();
        inTransaction = true;
    } catch (const std::exception& error) {
        logger_.error(std::string("Catalogue load without a transaction: ") + error.what());
    }
    if (const auto path = file(catalogueFiles[0]))
        if (auto rows = readCSV<Namespace>(*path))
            upsertNamespaces(*rows);
    std::optional<std::vector<Action>> actions;
    std::optional<std::vector<Shortcut>> shortcuts;
    std::optional<std::vector<AccessibilityMapping>> mappings;
    if (const auto path = file(catalogueFiles[1]))
        if ((actions = readCSV<Action>(*path)))
            upsertActions(*actions);
    if (const auto path = file(catalogueFiles[1]))
        if ((shortcuts = readCSV<Shortcut>(*path)))
            upsertShortcuts(*shortcuts);
    if (const auto path = file(catalogueFiles[2]))
        if ((mappings = readCSV<AccessibilityMapping>(*path)))
            insertAccessibilityMappings(*mappings);
    mergeLearnedShortcuts();
    // Only exports read whole say what the catalogue no longer has.
    if (actions && shortcuts && mappings)
        dropRowsTheCatalogueLeft(*actions, *shortcuts, *mappings);
    if (inTransaction) {
        try {
            // Only an error that rolls back the whole transaction (a full disk, an I/O error) leaves
            // nothing to commit here; the rows after it have committed one by one.
            if (sqlite3_get_autocommit(db_->getHandle()))
                logger_.error("Catalogue load: a failed row ended its transaction; the rows before it are lost");
            else
                statement("COMMIT").exec();
        } catch (const std::exception& error) {
            logger_.error(std::string("Catalogue load could not be committed: ") + error.what());
            if (!sqlite3_get_autocommit(db_->getHandle()))
                db_->tryExec("ROLLBACK");
        }
    }
    printLine("Database population complete");
}

void DatabaseManager::inRowSavepoint(const std::function<void()>& write) {
    statement("SAVEPOINT catalogue_row").exec();
    try {
        write();
        statement("RELEASE catalogue_row").exec();
    } catch (...) {
        // Back out what the row did; without a transaction around it, this also ends the one the
        // savepoint began. The savepoint is gone already when the error ended the transaction.
        try {
            statement("ROLLBACK TO catalogue_row").exec();
            statement("RELEASE catalogue_row").exec();
        } catch (const std::exception&) {
        }
        throw;
    }
}

void DatabaseManager::upsertNamespaces(const std::vector<Namespace>& rows) {
    const Operation operation(*this);
    for (const auto& row : rows) {
        if (row.level_name.empty()) {
            printLine("Skipping upsert: level_name is empty for namespace_id " + row.namespace_id);
            continue;
        }
        try {
            inRowSavepoint([&] {
                auto& insert =
                    statement("INSERT OR REPLACE INTO namespace (namespace_id, level_type, level_name, "
                              "is_supported, is_classified, has_domain, description) VALUES (?, ?, ?, ?, ?, ?, NULL)");
                insert.bind(1, row.namespace_id);
                insert.bind(2, std::string(toString(row.level_type)));
                insert.bind(3, row.level_name);
                insert.bind(4, row.is_supported ? 1 : 0);
                insert.bind(5, row.is_classified ? 1 : 0);
                insert.bind(6, row.has_domain ? 1 : 0);
                insert.exec();
            });
        } catch (const std::exception& error) {
            printLine("Upsert error for namespace_id " + row.namespace_id + ": " + error.what());
        }
    }
}

void DatabaseManager::upsertActions(const std::vector<Action>& rows) {
    const Operation operation(*this);
    // The joined export repeats an action's row for each of its shortcuts; writing a row equal to the
    // one this pass just stored for that id would change nothing.
    std::unordered_map<std::int64_t, const Action*> stored;
    for (const auto& row : rows) {
        if (!row.include)
            continue;
        if (const auto it = stored.find(row.action_id); it != stored.end() && *it->second == row)
            continue;
        try {
            inRowSavepoint([&] {
                auto& insert = statement("INSERT OR REPLACE INTO actions (action_id, namespace_id, name, "
                                         "description, priority) VALUES (?, ?, ?, ?, ?)");
                insert.bind(1, row.action_id);
                insert.bind(2, row.namespace_id);
                insert.bind(3, row.name);
                if (row.description)
                    insert.bind(4, *row.description);
                if (row.priority)
                    insert.bind(5, *row.priority);
                insert.exec();
            });
            stored[row.action_id] = &row;
        } catch (const std::exception& error) {
            stored.erase(row.action_id);
            logger_.error("Upsert error for action_id " + std::to_string(row.action_id) + ": " + error.what());
        }
    }
}

void DatabaseManager::upsertShortcuts(const std::vector<Shortcut>& rows) {
    const Operation operation(*this);
    for (const auto& row : rows) {
        if (!row.include || row.mac_keys.empty())
            continue;
        if (!hasSeparatedKeys(row.mac_keys))
            continue;
        try {
            inRowSavepoint([&] {
                auto& find = statement("SELECT shortcut_id FROM shortcuts WHERE shortcut_id = ? LIMIT 1");
                find.bind(1, row.shortcut_id);
                const bool exists = find.executeStep();
                find.reset();
                auto& write = exists ? statement("UPDATE shortcuts SET namespace_id = ?, action_id = ?, "
                                                 "mac_keys = ?, description = ? WHERE shortcut_id = ?")
                                     : statement("INSERT INTO shortcuts (namespace_id, action_id, mac_keys, "
                                                 "description, shortcut_id) VALUES (?, ?, ?, ?, ?)");
                write.bind(1, row.namespace_id);
                write.bind(2, row.action_id);
                write.bind(3, normalizeShortcutKeys(row.mac_keys));
                if (row.description)
                    write.bind(4, *row.description);
                write.bind(5, row.shortcut_id);
                write.exec();
            });
        } catch (const std::exception& error) {
            logger_.error("Error updating/inserting shortcut_id " + std::to_string(row.shortcut_id) + ": " +
                          error.what());
        }
    }
}

void DatabaseManager::insertAccessibilityMappings(const std::vector<AccessibilityMapping>& rows) {
    const Operation operation(*this);
    for (const auto& row : rows) {
        try {
            inRowSavepoint([&] {
                // Below the learned rows' ids, which tell the user's mappings from the catalogue's.
                auto& insert = statement("INSERT INTO accessibility_mapping (namespace_id, name, predicted_best_col, "
                                         "predicted_best_value, mapping_id) VALUES (?, ?, ?, ?, (SELECT "
                                         "COALESCE(MAX(mapping_id), 0) + 1 FROM accessibility_mapping WHERE "
                                         "mapping_id < ?))");
                insert.bind(1, row.namespace_id);
                insert.bind(2, row.action_name);
                insert.bind(3, row.predicted_best_col);
                insert.bind(4, row.predicted_best_value);
                insert.bind(5, ShortcutLearner::firstId);
                insert.exec();
            });
        } catch (const std::exception& error) {
            printLine(std::string("Error inserting accessibility mapping: ") + error.what());
        }
    }
}

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

// Points the namespace's mappings of action `from` at action `to`, unless an action still bears
// the name `from`.
void repointMappings(SQLite::Database& db, const std::string& namespaceId, const std::string& from,
                     const std::string& to) {
    const char* const unclaimed = " AND NOT EXISTS (SELECT 1 FROM actions WHERE namespace_id = ?1 AND name = ?2)";
    SQLite::Statement update(db, std::string("UPDATE OR IGNORE accessibility_mapping SET name = ?3 WHERE "
                                             "namespace_id = ?1 AND name = ?2") +
                                     unclaimed);
    update.bind(1, namespaceId);
    update.bind(2, from);
    update.bind(3, to);
    update.exec();
    SQLite::Statement left(db, std::string("DELETE FROM accessibility_mapping WHERE namespace_id = ?1 AND name = ?2") +
                                   unclaimed);
    left.bind(1, namespaceId);
    left.bind(2, from);
    left.exec();
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
                repointMappings(db, learned.namespaceId, learned.name, catalogueName);
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
                SQLite::Statement successors(db, "SELECT s.shortcut_id FROM shortcuts s INNER JOIN actions a ON "
                                                 "a.action_id = s.action_id WHERE s.namespace_id = ? AND "
                                                 "s.shortcut_id < ? AND (s.mac_keys = ? OR a.name = ?) ORDER BY "
                                                 "s.mac_keys = ? DESC, s.shortcut_id");
                successors.bind(1, gone.namespaceId);
                successors.bind(2, ShortcutLearner::firstId);
                successors.bind(3, gone.keys);
                successors.bind(4, gone.name);
                successors.bind(5, gone.keys);
                std::optional<std::int64_t> successor;
                while (!successor && successors.executeStep())
                    if (keptShortcuts.count(successors.getColumn(0).getInt64()))
                        successor = successors.getColumn(0).getInt64();
                successors.reset();
                if (successor) {
                    carryUserData(db, gone.shortcutId, *successor);
                    deleteShortcut(db, gone.shortcutId, gone.actionId);
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
        });
    } catch (const std::exception& error) {
        logger_.error(std::string("Error dropping rows the catalogue no longer has: ") + error.what());
    }
}

void DatabaseManager::keepAsUserRow(std::int64_t shortcutId, std::int64_t actionId, bool moveAction) {
    auto& db = *db_;
    const auto id = ShortcutLearner::nextUserId(*this);
    if (moveAction) {
        // With all of its shortcuts: those that go too find it moved.
        SQLite::Statement copy(db, "INSERT INTO actions (action_id, namespace_id, name, description, priority) SELECT "
                                   "?1, namespace_id, name, description, ?2 FROM actions WHERE action_id = ?3");
        copy.bind(1, id);
        copy.bind(2, ShortcutLearner::nextUserPriority(*this, namespaceOfAction(actionId)));
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

bool DatabaseManager::hasSeparatedKeys(const std::string& keys) {
    for (const auto& piece : keyPieces(keys))
        if (piece.find(' ') != std::string::npos) {
            printLine("Warning: Unseparated words found in shortcut '" + keys + "'. Skipping this shortcut.");
            return false;
        }
    return true;
}

std::string DatabaseManager::normalizeShortcutKeys(const std::string& keys) {
    static constexpr std::array<std::string_view, 4> modifiers = {"command", "control", "option", "shift"};
    std::array<bool, 4> slots{};
    std::vector<std::string> others;
    for (const auto& piece : keyPieces(lowercased(keys))) {
        const auto it = std::find(modifiers.begin(), modifiers.end(), piece);
        if (it != modifiers.end())
            slots[static_cast<std::size_t>(it - modifiers.begin())] = true;
        else
            others.push_back(piece);
    }
    std::string result;
    const auto append = [&](std::string_view name) { result += (result.empty() ? "" : " + ") + std::string(name); };
    for (std::size_t i = 0; i < modifiers.size(); ++i)
        if (slots[i])
            append(modifiers[i]);
    for (const auto& other : others)
        append(other);
    return result.empty() ? keys : result;
}

} // namespace tavrin
