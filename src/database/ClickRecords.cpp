#include <sqlite3.h>

#include "database/DatabaseManager.h"
#include "database/TableDefinitions.h"

namespace tavrin {

namespace {

const char* typeName(int type) {
    switch (type) {
    case SQLITE_INTEGER:
        return "Int64";
    case SQLITE_FLOAT:
        return "Double";
    case SQLITE_TEXT:
        return "String";
    case SQLITE_BLOB:
        return "Blob";
    default:
        return "Null";
    }
}

} // namespace

void DatabaseManager::insertClickEvents(const std::vector<ClickEvent>& events) {
    const Operation operation(*this);
    for (const auto& event : events) {
        try {
            auto& insert = statement("INSERT INTO click_events (user_id, namespace_id, timestamp, element_clicked, "
                                     "confidence, element_type, app_version) VALUES (?, ?, ?, ?, ?, ?, ?)");
            insert.bind(1, event.userId);
            insert.bind(2, event.namespaceId);
            insert.bind(3, formatDate(event.timestamp));
            insert.bind(4, event.elementClicked);
            insert.bind(5, event.confidence);
            insert.bind(6, event.elementType);
            if (event.appVersion)
                insert.bind(7, *event.appVersion);
            insert.exec();
        } catch (const std::exception& error) {
            printLine(std::string("Error inserting click event: ") + error.what());
        }
    }
}

std::vector<ElementClickCount> DatabaseManager::countElementClicks(const std::string& namespaceId,
                                                                   double minConfidence) {
    const Operation operation(*this);
    std::vector<ElementClickCount> counts;
    SQLite::Statement* query = nullptr;
    try {
        // Equal counts come out in the same order from both: the statement's grouping gives elements
        // in ascending order, and its sort returns equal rows last first.
        if (countsReady_ && minConfidence == TableDefinitions::kCountedConfidence) {
            query = &statement("SELECT element_clicked, count, first_seen FROM element_click_counts "
                               "WHERE namespace_id = ? ORDER BY count DESC, element_clicked DESC LIMIT 100000");
        } else {
            query = &statement("SELECT element_clicked, COUNT(*) as count, MIN(timestamp) as first_seen\n"
                               "FROM click_events\n"
                               "WHERE namespace_id = ? AND confidence >= ?\n"
                               "GROUP BY element_clicked\n"
                               "ORDER BY count DESC\n"
                               "LIMIT 100000");
            query->bind(2, minConfidence);
        }
        query->bind(1, namespaceId);
    } catch (const std::exception& error) {
        printLine(std::string("Error counting element clicks: ") + error.what());
        return counts;
    }
    try {
        while (query->executeStep()) {
            const auto element = query->getColumn(0), count = query->getColumn(1), firstSeen = query->getColumn(2);
            const std::optional<Date> date = firstSeen.isText() ? parseDate(firstSeen.getString()) : std::nullopt;
            if (element.isText() && count.isInteger() && date) {
                counts.push_back({element.getString(), count.getInt64(), *date});
                continue;
            }
            // Report the row and go on with the next.
            const auto describe = [](const SQLite::Column& column) {
                return column.isNull() ? std::string("nil") : column.getString();
            };
            printLine("Unexpected nil values or parsing error in row: [" + describe(element) + ", " + describe(count) +
                      ", " + describe(firstSeen) + "]");
            const std::pair<const char*, const SQLite::Column*> columns[] = {
                {"element_clicked: ", &element}, {"count: ", &count}, {"first_seen: ", &firstSeen}};
            for (const auto& [label, column] : columns)
                if (!column->isNull())
                    printLine(std::string(label) + column->getString() + " (type: " + typeName(column->getType()) +
                              ")");
            if (firstSeen.isText())
                printLine(date ? "Successfully parsed date: " + formatDate(*date) : "Failed to parse date string");
        }
    } catch (const std::exception& error) {
        printLine(std::string("Error counting element clicks: ") + error.what());
    }
    return counts;
}

std::optional<AccessibilityMapping> DatabaseManager::getAccessibilityMapping(const std::string& namespaceId,
                                                                             const std::string& predictedBestValue) {
    const Operation operation(*this);
    try {
        auto& query = statement(
            "SELECT m.namespace_id, m.name, m.predicted_best_col, m.predicted_best_value, EXISTS (SELECT 1 FROM "
            "actions a WHERE a.namespace_id = m.namespace_id AND a.name = m.name AND a.action_id >= ?3) AND NOT "
            "EXISTS (SELECT 1 FROM actions a WHERE a.namespace_id = m.namespace_id AND a.name = m.name AND "
            "a.action_id < ?3) FROM accessibility_mapping m WHERE m.namespace_id = ?1 AND m.predicted_best_value = "
            "?2 LIMIT 1");
        query.bind(1, namespaceId);
        query.bind(2, predictedBestValue);
        query.bind(3, ShortcutLearner::firstId);
        if (!query.executeStep())
            return std::nullopt;
        return AccessibilityMapping{query.getColumn(0).getString(), query.getColumn(1).getString(),
                                    query.getColumn(2).getString(), query.getColumn(3).getString(),
                                    query.getColumn(4).getInt() != 0};
    } catch (const std::exception& error) {
        printLine(std::string("Error fetching accessibility mapping: ") + error.what());
        return std::nullopt;
    }
}

std::optional<Shortcut> DatabaseManager::getShortcut(const std::string& keys, const std::string& namespaceId) {
    const Operation operation(*this);
    try {
        auto& query = statement("SELECT shortcut_id, namespace_id, action_id, mac_keys, description FROM shortcuts "
                                "WHERE mac_keys = ? AND namespace_id = ? LIMIT 1");
        query.bind(1, keys);
        query.bind(2, namespaceId);
        if (!query.executeStep())
            return std::nullopt;
        Shortcut shortcut{query.getColumn(0).getInt64(),
                          query.getColumn(1).getString(),
                          query.getColumn(2).getInt64(),
                          query.getColumn(3).getString(),
                          std::nullopt,
                          true};
        if (!query.getColumn(4).isNull())
            shortcut.description = query.getColumn(4).getString();
        return shortcut;
    } catch (const std::exception& error) {
        printLine(std::string("Error fetching shortcut: ") + error.what());
        return std::nullopt;
    }
}

void DatabaseManager::insertShortcutUsage(const std::string& userId, std::int64_t shortcutId) {
    const Operation operation(*this);
    try {
        auto& insert = statement("INSERT INTO shortcut_usage (user_id, shortcut_id, timestamp) VALUES (?, ?, ?)");
        insert.bind(1, userId);
        insert.bind(2, shortcutId);
        insert.bind(3, formatDate(now()));
        insert.exec();
    } catch (const std::exception& error) {
        printLine(std::string("Error inserting shortcut usage: ") + error.what());
    }
}

} // namespace tavrin
