#include "database/DatabaseManager.h"

namespace tavrin {

namespace {

// Reads (shortcut_id, mac_keys, date, name) rows into marked shortcuts; rows without a date are
// passed over.
template <class Marked> std::vector<Marked> readMarked(SQLite::Statement& query, bool bookmarked) {
    std::vector<Marked> out;
    while (query.executeStep()) {
        const auto date = query.getColumn(2).isNull() ? std::nullopt : parseDate(query.getColumn(2).getString());
        if (!date)
            continue;
        out.push_back({{query.getColumn(0).getInt64(), query.getColumn(3).getString(), query.getColumn(1).getString(),
                        bookmarked, !bookmarked},
                       *date});
    }
    return out;
}

} // namespace

// The two toggles differ only in their column and their words.
struct ToggleWords {
    const char* select;
    const char* update;
    const char* error;
    const char* vanished;
    const char* set;
    const char* cleared;
};

bool DatabaseManager::toggleMark(std::int64_t shortcutId, const ToggleWords& words) {
    const Operation operation(*this);
    const std::string id = std::to_string(shortcutId);
    std::optional<Date> newValue;
    try {
        auto& read = statement(words.select);
        read.bind(1, shortcutId);
        if (!read.executeStep()) {
            printLine("No shortcut found with ID " + id);
            return false;
        }
        if (read.getColumn(0).isNull())
            newValue = now();
        read.reset();
        auto& write = statement(words.update);
        if (newValue)
            write.bind(1, formatDate(*newValue));
        write.bind(2, shortcutId);
        if (write.exec() == 0) {
            printLine(words.vanished + id);
            return false;
        }
    } catch (const std::exception& error) {
        printLine(std::string(words.error) + error.what());
        return false;
    }
    printLine(newValue ? "Shortcut with ID " + id + words.set + formatDate(*newValue)
                       : "Shortcut with ID " + id + words.cleared);
    return true;
}

bool DatabaseManager::toggleShortcutBookmark(std::int64_t shortcutId) {
    static const ToggleWords words{"SELECT bookmarked_at FROM shortcuts WHERE shortcut_id = ? LIMIT 1",
                                   "UPDATE shortcuts SET bookmarked_at = ? WHERE shortcut_id = ?",
                                   "Error toggling shortcut bookmark: ",
                                   "No shortcut found with ID ",
                                   " bookmarked at ",
                                   " unbookmarked"};
    return toggleMark(shortcutId, words);
}

bool DatabaseManager::toggleShortcutLearned(std::int64_t shortcutId) {
    static const ToggleWords words{"SELECT learned_at FROM shortcuts WHERE shortcut_id = ? LIMIT 1",
                                   "UPDATE shortcuts SET learned_at = ? WHERE shortcut_id = ?",
                                   "Error toggling learned status for shortcut: ",
                                   "Failed to update shortcut with ID ",
                                   " marked as learned at ",
                                   " unmarked as learned"};
    return toggleMark(shortcutId, words);
}

bool DatabaseManager::flagShortcut(std::int64_t shortcutId, Date date) {
    const Operation operation(*this);
    const std::string id = std::to_string(shortcutId);
    try {
        auto& write = statement("UPDATE shortcuts SET flagged_at = ? WHERE shortcut_id = ?");
        write.bind(1, formatDate(date));
        write.bind(2, shortcutId);
        if (write.exec() == 0) {
            printLine("No shortcut found with ID " + id);
            return false;
        }
    } catch (const std::exception& error) {
        printLine(std::string("Error flagging shortcut: ") + error.what());
        return false;
    }
    printLine("Shortcut with ID " + id + " flagged at " + formatDate(date));
    return true;
}

std::vector<BookmarkedShortcut> DatabaseManager::getBookmarkedShortcuts(const std::string& namespaceId) {
    const Operation operation(*this);
    try {
        auto& query =
            statement("SELECT shortcuts.shortcut_id, shortcuts.mac_keys, shortcuts.bookmarked_at, actions.name "
                      "FROM shortcuts INNER JOIN actions ON shortcuts.action_id = actions.action_id WHERE "
                      "shortcuts.namespace_id = ? AND shortcuts.bookmarked_at IS NOT NULL AND "
                      "shortcuts.learned_at IS NULL ORDER BY shortcuts.bookmarked_at DESC");
        query.bind(1, namespaceId);
        return readMarked<BookmarkedShortcut>(query, true);
    } catch (const std::exception& error) {
        printLine(std::string("Error fetching bookmarked shortcuts: ") + error.what());
        return {};
    }
}

std::vector<LearnedShortcut> DatabaseManager::getLearnedShortcuts(const std::string& namespaceId) {
    const Operation operation(*this);
    try {
        auto& query = statement("SELECT shortcuts.shortcut_id, shortcuts.mac_keys, shortcuts.learned_at, actions.name "
                                "FROM shortcuts INNER JOIN actions ON shortcuts.action_id = actions.action_id WHERE "
                                "shortcuts.namespace_id = ? AND shortcuts.learned_at IS NOT NULL ORDER BY "
                                "shortcuts.learned_at DESC");
        query.bind(1, namespaceId);
        return readMarked<LearnedShortcut>(query, false);
    } catch (const std::exception& error) {
        printLine(std::string("Error fetching learned shortcuts: ") + error.what());
        return {};
    }
}

} // namespace tavrin
