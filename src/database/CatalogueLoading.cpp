#include <algorithm>
#include <fstream>
#include <sstream>
#include <unordered_map>

#include <sqlite3.h>

#include "database/CSVReader.h"
#include "database/DatabaseManager.h"
#include "database/ShortcutLearner.h"
#include "foundation/KeyText.h"
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

bool DatabaseManager::hasSeparatedKeys(const std::string& keys) {
    for (const auto& piece : keyPieces(keys))
        if (piece.find(' ') != std::string::npos) {
            printLine("Warning: Unseparated words found in shortcut '" + keys + "'. Skipping this shortcut.");
            return false;
        }
    return true;
}

std::string DatabaseManager::normalizeShortcutKeys(const std::string& keys) {
    KeyText::Modifiers modifiers{};
    std::vector<std::string> others;
    for (auto& piece : keyPieces(lowercased(keys))) {
        if (const auto slot = KeyText::modifierSlot(piece))
            modifiers[*slot] = true;
        else
            others.push_back(std::move(piece));
    }
    const auto result = KeyText::join(modifiers, others);
    return result.empty() ? keys : result;
}

} // namespace tavrin
