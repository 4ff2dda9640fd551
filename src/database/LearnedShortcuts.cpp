#include "database/DatabaseManager.h"

namespace tavrin {

using ShortcutLearner::firstId;
using ShortcutLearner::firstPriority;

std::int64_t DatabaseManager::nextUserId() {
    auto& next = statement("SELECT MAX((SELECT COALESCE(MAX(action_id) + 1, ?1) FROM actions WHERE action_id >= ?1), "
                           "(SELECT COALESCE(MAX(shortcut_id) + 1, ?1) FROM shortcuts WHERE shortcut_id >= ?1))");
    next.bind(1, firstId);
    next.executeStep();
    const auto id = next.getColumn(0).getInt64();
    next.reset();
    return id;
}

std::int64_t DatabaseManager::nextUserPriority(const std::string& namespaceId) {
    auto& next = statement("SELECT COALESCE(MAX(priority) + 1, ?1) FROM actions WHERE namespace_id = ?2 AND "
                           "priority >= ?1");
    next.bind(1, firstPriority);
    next.bind(2, namespaceId);
    next.executeStep();
    const auto priority = next.getColumn(0).getInt64();
    next.reset();
    return priority;
}

ShortcutLearner::Outcome DatabaseManager::learnShortcuts(const std::string& namespaceId,
                                                         const std::vector<HarvestedItem>& items) {
    ShortcutLearner::Outcome outcome;
    if (items.empty())
        return outcome;
    try {
        const Operation operation(*this);
        auto& level = statement("SELECT level_type FROM namespace WHERE namespace_id = ?");
        level.bind(1, namespaceId);
        if (!level.executeStep() || level.getColumn(0).getString() != "app")
            return outcome;
    } catch (const std::exception& error) {
        printLine(std::string("Error learning shortcuts: ") + error.what());
        outcome.failed = static_cast<int>(items.size());
        return outcome;
    }
    for (const auto& item : items) {
        // One item at a time: between two, the connection is free for the main thread's writes.
        const Operation operation(*this);
        try {
            bool added = false;
            inRowSavepoint([&] { added = learnItem(namespaceId, item); });
            outcome.learned += added ? 1 : 0;
        } catch (const std::exception& error) {
            ++outcome.failed;
            printLine(std::string("Error learning a shortcut: ") + error.what());
        }
    }
    if (outcome.learned > 0) {
        const Operation operation(*this);
        try {
            auto& supported = statement("UPDATE namespace SET is_supported = 1 WHERE namespace_id = ?");
            supported.bind(1, namespaceId);
            supported.exec();
        } catch (const std::exception& error) {
            // The rows stand; the list shows them once the namespace is marked at a later learning.
            printLine(std::string("Error learning shortcuts: ") + error.what());
        }
    }
    return outcome;
}

bool DatabaseManager::learnItem(const std::string& namespaceId, const HarvestedItem& item) {
    // The action this item is: one of the namespace's with the same keys or name, else new.
    auto& existing = statement("SELECT actions.name FROM actions INNER JOIN shortcuts ON shortcuts.action_id = "
                               "actions.action_id WHERE shortcuts.namespace_id = ? AND (shortcuts.mac_keys = ? OR "
                               "actions.name = ?) LIMIT 1");
    existing.bind(1, namespaceId);
    existing.bind(2, item.keys);
    existing.bind(3, item.name);
    std::string action = item.name;
    const bool known = existing.executeStep();
    if (known)
        action = existing.getColumn(0).getString();
    existing.reset();
    if (!known) {
        const auto id = nextUserId();
        const auto priority = nextUserPriority(namespaceId);
        auto& insertAction = statement("INSERT INTO actions (action_id, namespace_id, name, description, priority) "
                                       "VALUES (?, ?, ?, ?, ?)");
        insertAction.bind(1, id);
        insertAction.bind(2, namespaceId);
        insertAction.bind(3, item.name);
        if (!item.description.empty())
            insertAction.bind(4, item.description);
        insertAction.bind(5, priority);
        insertAction.exec();
        auto& insertShortcut =
            statement("INSERT INTO shortcuts (shortcut_id, namespace_id, action_id, mac_keys) VALUES (?, ?, ?, ?)");
        insertShortcut.bind(1, id);
        insertShortcut.bind(2, namespaceId);
        insertShortcut.bind(3, id);
        insertShortcut.bind(4, item.keys);
        insertShortcut.exec();
    }
    for (const auto& value : {std::optional<std::string>(item.value), withoutEllipsis(item.value)}) {
        if (!value)
            continue;
        // Ids from `firstId` up tell the user's mappings from the catalogue's.
        auto& insertMapping = statement(
            "INSERT OR IGNORE INTO accessibility_mapping (namespace_id, name, predicted_best_col, "
            "predicted_best_value, mapping_id) SELECT ?1, ?2, ?3, ?4, (SELECT COALESCE(MAX(mapping_id) + 1, ?5) FROM "
            "accessibility_mapping WHERE mapping_id >= ?5) WHERE NOT EXISTS (SELECT 1 FROM accessibility_mapping "
            "WHERE namespace_id = ?1 AND predicted_best_value = ?4)");
        insertMapping.bind(1, namespaceId);
        insertMapping.bind(2, action);
        insertMapping.bind(3, item.column);
        insertMapping.bind(4, *value);
        insertMapping.bind(5, firstId);
        insertMapping.exec();
    }
    return !known;
}

ShortcutLearner::Source DatabaseManager::shortcutSource(const std::string& namespaceId) {
    const Operation operation(*this);
    try {
        auto& query = statement("SELECT MIN(shortcut_id) FROM shortcuts WHERE namespace_id = ?");
        query.bind(1, namespaceId);
        query.executeStep();
        if (query.getColumn(0).isNull())
            return ShortcutLearner::Source::none;
        return query.getColumn(0).getInt64() >= firstId ? ShortcutLearner::Source::learned
                                                        : ShortcutLearner::Source::catalogue;
    } catch (const std::exception& error) {
        printLine(std::string("Error reading learned shortcuts: ") + error.what());
        return ShortcutLearner::Source::catalogue;
    }
}

// The table comes with the first version stored, so older files need no migration.
std::optional<std::string> DatabaseManager::walkedVersion(const std::string& namespaceId) {
    const Operation operation(*this);
    try {
        auto& exists = statement("SELECT 1 FROM sqlite_master WHERE name = 'walked_versions'");
        if (!exists.executeStep())
            return std::nullopt;
        auto& query = statement("SELECT version FROM walked_versions WHERE namespace_id = ?");
        query.bind(1, namespaceId);
        if (query.executeStep())
            return query.getColumn(0).getString();
    } catch (const std::exception& error) {
        printLine(std::string("Error reading learned shortcuts: ") + error.what());
    }
    return std::nullopt;
}

void DatabaseManager::rememberWalkedVersion(const std::string& namespaceId, const std::string& version) {
    const Operation operation(*this);
    try {
        statement("CREATE TABLE IF NOT EXISTS walked_versions (namespace_id TEXT PRIMARY KEY NOT NULL, version TEXT "
                  "NOT NULL)")
            .exec();
        auto& write = statement("INSERT OR REPLACE INTO walked_versions (namespace_id, version) VALUES (?, ?)");
        write.bind(1, namespaceId);
        write.bind(2, version);
        write.exec();
    } catch (const std::exception& error) {
        // The next start of the application reads its menus once more: harmless.
        printLine(std::string("Error learning shortcuts: ") + error.what());
    }
}

namespace {

constexpr char kMenuSeparator = '\x1f';

std::string joined(const std::vector<std::string>& parts, char separator) {
    std::string out;
    for (std::size_t i = 0; i < parts.size(); ++i)
        out += (i ? std::string(1, separator) : std::string()) + parts[i];
    return out;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    if (text.empty())
        return parts;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + 1)
        parts.push_back(text.substr(start, end - start));
    parts.push_back(text.substr(start));
    return parts;
}

} // namespace

// Like walked_versions, the table comes with the first items stored. `place` is the item's child
// indices from the application down ("0/0/1/4"), `menu_path` its menus joined by U+001F.
std::vector<MenuNode> DatabaseManager::pendingMenuItems(const std::string& namespaceId) {
    const Operation operation(*this);
    std::vector<MenuNode> items;
    try {
        if (!db_->tableExists("pending_menu_items"))
            return items;
        auto& query = statement("SELECT role, name, menu_path, place FROM pending_menu_items WHERE namespace_id = ? "
                                "ORDER BY rowid");
        query.bind(1, namespaceId);
        while (query.executeStep()) {
            MenuNode item{.role = query.getColumn(0).getString(), .name = query.getColumn(1).getString()};
            item.enabled = false;
            item.menuPath = split(query.getColumn(2).getString(), kMenuSeparator);
            for (const auto& index : split(query.getColumn(3).getString(), '/'))
                item.place.push_back(std::stoi(index));
            items.push_back(std::move(item));
        }
    } catch (const std::exception& error) {
        printLine(std::string("Error reading learned shortcuts: ") + error.what());
        items.clear();
    }
    return items;
}

void DatabaseManager::rememberPendingMenuItems(const std::string& namespaceId, const std::vector<MenuNode>& items) {
    if (items.empty())
        return;
    const Operation operation(*this);
    try {
        statement("CREATE TABLE IF NOT EXISTS pending_menu_items (namespace_id TEXT NOT NULL, name TEXT NOT NULL, role "
                  "TEXT NOT NULL, menu_path TEXT NOT NULL, place TEXT NOT NULL, PRIMARY KEY (namespace_id, name))")
            .exec();
        inRowSavepoint([&] {
            for (const auto& item : items) {
                std::vector<std::string> place;
                for (const int index : item.place)
                    place.push_back(std::to_string(index));
                auto& write =
                    statement("INSERT OR REPLACE INTO pending_menu_items (namespace_id, name, role, menu_path, "
                              "place) VALUES (?, ?, ?, ?, ?)");
                write.bind(1, namespaceId);
                write.bind(2, item.name);
                write.bind(3, item.role);
                write.bind(4, joined(item.menuPath, kMenuSeparator));
                write.bind(5, joined(place, '/'));
                write.exec();
                write.reset();
            }
        });
    } catch (const std::exception& error) {
        printLine(std::string("Error learning shortcuts: ") + error.what());
    }
}

void DatabaseManager::dropPendingMenuItems(const std::string& namespaceId, const std::vector<MenuNode>& items) {
    const Operation operation(*this);
    try {
        if (items.empty() || !db_->tableExists("pending_menu_items"))
            return;
        for (const auto& item : items) {
            auto& drop = statement("DELETE FROM pending_menu_items WHERE namespace_id = ? AND name = ?");
            drop.bind(1, namespaceId);
            drop.bind(2, item.name);
            drop.exec();
            drop.reset();
        }
    } catch (const std::exception& error) {
        printLine(std::string("Error learning shortcuts: ") + error.what());
    }
}

std::vector<ShortcutLearner::Learned> DatabaseManager::shortcutsLearnedFromApplications() {
    const Operation operation(*this);
    std::vector<ShortcutLearner::Learned> out;
    try {
        auto& query =
            statement("SELECT shortcuts.shortcut_id, shortcuts.namespace_id, actions.name, shortcuts.mac_keys "
                      "FROM shortcuts INNER JOIN actions ON shortcuts.action_id = actions.action_id WHERE "
                      "shortcuts.shortcut_id >= ? ORDER BY shortcuts.namespace_id, actions.name");
        query.bind(1, firstId);
        while (query.executeStep())
            out.push_back({query.getColumn(0).getInt64(), query.getColumn(1).getString(),
                           query.getColumn(2).getString(), query.getColumn(3).getString()});
    } catch (const std::exception& error) {
        printLine(std::string("Error reading learned shortcuts: ") + error.what());
    }
    return out;
}

} // namespace tavrin
