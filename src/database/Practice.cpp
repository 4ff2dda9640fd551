#include <algorithm>

#include <SQLiteCpp/Transaction.h>

#include "database/DatabaseManager.h"
#include "database/PracticeTables.h"

namespace tavrin {

namespace {

std::optional<Date> dateColumn(const SQLite::Column& column) {
    return column.isText() ? parseDate(column.getString()) : std::nullopt;
}

const char* markColumn(CoachingMark mark) {
    switch (mark) {
    case CoachingMark::nudgesOff:
        return "nudges_off_at";
    case CoachingMark::offerDeclined:
        return "offer_declined_at";
    case CoachingMark::returned:
        return "returned_at";
    }
    return "returned_at";
}

// The actions whose shortcuts are being learned or were learned, as (namespace_id, name): clicked
// at the counting floor, bookmarked or learned, with a shortcut neither flagged nor with nudges off.
constexpr const char* kCovered =
    "WITH candidates (namespace_id, name) AS ("
    "SELECT DISTINCT namespace_id, element_clicked FROM element_week_counts UNION "
    "SELECT a.namespace_id, a.name FROM shortcuts s JOIN actions a ON a.action_id = s.action_id WHERE "
    "s.bookmarked_at IS NOT NULL OR s.learned_at IS NOT NULL), "
    "covered (namespace_id, name) AS (SELECT c.namespace_id, c.name FROM candidates c WHERE EXISTS (SELECT 1 FROM "
    "actions a JOIN shortcuts s ON s.action_id = a.action_id LEFT JOIN shortcut_coaching k ON k.shortcut_id = "
    "s.shortcut_id WHERE a.namespace_id = c.namespace_id AND a.name = c.name AND s.flagged_at IS NULL AND "
    "k.nudges_off_at IS NULL)) ";

// Uses of the covered actions' shortcuts (those neither flagged nor with nudges off) per week.
constexpr const char* kCoveredUses =
    "SELECT u.week, SUM(u.count) AS n FROM covered c JOIN actions a ON a.namespace_id = c.namespace_id AND a.name = "
    "c.name JOIN shortcuts s ON s.action_id = a.action_id JOIN shortcut_week_uses u ON u.shortcut_id = "
    "s.shortcut_id LEFT JOIN shortcut_coaching k ON k.shortcut_id = s.shortcut_id WHERE s.flagged_at IS NULL AND "
    "k.nudges_off_at IS NULL AND u.week >= ? GROUP BY u.week";

} // namespace

void DatabaseManager::ensurePracticeTables() {
    const Operation operation(*this);
    try {
        if (const auto counted = PracticeTables::build(*db_, true))
            logger_.info("Counted " + std::to_string(*counted) + " clicks per week");
    } catch (const std::exception& error) {
        logger_.error(std::string("Failed to build the coaching's tables: ") + error.what());
    }
}

std::optional<CoachedShortcut> DatabaseManager::coachedShortcut(const std::string& namespaceId,
                                                                const std::string& actionName) {
    std::optional<std::int64_t> id;
    {
        const Operation operation(*this);
        try {
            auto& query = statement("SELECT s.shortcut_id FROM shortcuts s JOIN actions a ON a.action_id = "
                                    "s.action_id WHERE a.name = ? AND s.namespace_id = ? ORDER BY s.flagged_at IS NOT "
                                    "NULL, s.shortcut_id LIMIT 1");
            query.bind(1, actionName);
            query.bind(2, namespaceId);
            if (query.executeStep())
                id = query.getColumn(0).getInt64();
        } catch (const std::exception& error) {
            printLine(std::string("Error reading a shortcut's practice: ") + error.what());
        }
    }
    return id ? coachedShortcut(*id) : std::nullopt;
}

std::optional<CoachedShortcut> DatabaseManager::coachedShortcut(std::int64_t shortcutId) {
    const Operation operation(*this);
    try {
        auto& query = statement(
            "SELECT s.shortcut_id, s.namespace_id, a.name, s.mac_keys, s.learned_at, s.flagged_at IS NOT NULL, "
            "c.nudges_off_at, c.offer_declined_at, c.returned_at, k.keys, n.level_name, k.menu, k.seen_at FROM "
            "shortcuts s JOIN actions a ON a.action_id = s.action_id LEFT JOIN shortcut_coaching c ON c.shortcut_id = "
            "s.shortcut_id LEFT JOIN application_keys k ON k.shortcut_id = s.shortcut_id LEFT JOIN namespace n ON "
            "n.namespace_id = s.namespace_id WHERE s.shortcut_id = ?");
        query.bind(1, shortcutId);
        if (!query.executeStep())
            return std::nullopt;
        CoachedShortcut shortcut;
        shortcut.shortcutId = query.getColumn(0).getInt64();
        shortcut.namespaceId = query.getColumn(1).getString();
        shortcut.actionName = query.getColumn(2).getString();
        shortcut.shortcutKeys = query.getColumn(3).getString();
        shortcut.learnedAt = dateColumn(query.getColumn(4));
        shortcut.flagged = query.getColumn(5).getInt() != 0;
        shortcut.nudgesOffAt = dateColumn(query.getColumn(6));
        shortcut.offerDeclinedAt = dateColumn(query.getColumn(7));
        shortcut.returnedAt = dateColumn(query.getColumn(8));
        if (query.getColumn(9).isText())
            shortcut.applicationKeys =
                ApplicationKeys{query.getColumn(9).getString(), query.getColumn(10).getString(),
                                query.getColumn(11).getString(), dateColumn(query.getColumn(12)).value_or(Date{})};
        return shortcut;
    } catch (const std::exception& error) {
        printLine(std::string("Error reading a shortcut's practice: ") + error.what());
        return std::nullopt;
    }
}

PracticeBalance DatabaseManager::practiceBalance(std::int64_t shortcutId, Date since) {
    const Operation operation(*this);
    PracticeBalance balance;
    try {
        // The partial index holds exactly the counted clicks, by namespace, element and time.
        auto& query = statement(countsReady_ ? "SELECT (SELECT COUNT(*) FROM click_events INDEXED BY "
                                               "idx_click_events_counted WHERE namespace_id = s.namespace_id AND "
                                               "element_clicked = a.name AND confidence >= 0.8 AND timestamp >= ?2), "
                                               "(SELECT COUNT(*) FROM shortcut_usage WHERE shortcut_id = ?1 AND "
                                               "timestamp >= ?2), (SELECT MIN(timestamp) FROM shortcut_usage WHERE "
                                               "shortcut_id = ?1) FROM shortcuts s JOIN actions a ON a.action_id = "
                                               "s.action_id WHERE s.shortcut_id = ?1"
                                             : "SELECT (SELECT COUNT(*) FROM click_events WHERE namespace_id = "
                                               "s.namespace_id AND element_clicked = a.name AND confidence >= 0.8 AND "
                                               "timestamp >= ?2), (SELECT COUNT(*) FROM shortcut_usage WHERE "
                                               "shortcut_id = ?1 AND timestamp >= ?2), (SELECT MIN(timestamp) FROM "
                                               "shortcut_usage WHERE shortcut_id = ?1) FROM shortcuts s JOIN actions "
                                               "a ON a.action_id = s.action_id WHERE s.shortcut_id = ?1");
        query.bind(1, shortcutId);
        query.bind(2, formatDate(since));
        if (query.executeStep()) {
            balance.clicks = query.getColumn(0).getInt64();
            balance.uses = query.getColumn(1).getInt64();
            balance.firstUse = dateColumn(query.getColumn(2));
        }
    } catch (const std::exception& error) {
        printLine(std::string("Error reading a shortcut's practice: ") + error.what());
    }
    return balance;
}

bool DatabaseManager::setCoachingMark(std::int64_t shortcutId, CoachingMark mark, std::optional<Date> date) {
    const Operation operation(*this);
    try {
        // The column names come from the fixed list above.
        const std::string column = markColumn(mark);
        SQLite::Statement write(*db_, "INSERT INTO shortcut_coaching (shortcut_id, " + column +
                                          ") SELECT ?1, ?2 WHERE EXISTS (SELECT 1 FROM shortcuts WHERE shortcut_id = "
                                          "?1) ON CONFLICT (shortcut_id) DO UPDATE SET " +
                                          column + " = excluded." + column);
        write.bind(1, shortcutId);
        if (date)
            write.bind(2, formatDate(*date));
        if (write.exec() == 0) {
            printLine("No shortcut found with ID " + std::to_string(shortcutId));
            return false;
        }
        return true;
    } catch (const std::exception& error) {
        printLine(std::string("Error marking a shortcut's practice: ") + error.what());
        return false;
    }
}

bool DatabaseManager::returnForPractice(std::int64_t shortcutId, Date date) {
    const Operation operation(*this);
    try {
        SQLite::Transaction transaction(*db_);
        auto& unlearn = statement("UPDATE shortcuts SET learned_at = NULL WHERE shortcut_id = ? AND learned_at IS NOT "
                                  "NULL");
        unlearn.bind(1, shortcutId);
        if (unlearn.exec() == 0)
            return false;
        if (!setCoachingMark(shortcutId, CoachingMark::returned, date))
            return false;
        transaction.commit();
    } catch (const std::exception& error) {
        printLine(std::string("Error marking a shortcut's practice: ") + error.what());
        return false;
    }
    printLine("Shortcut with ID " + std::to_string(shortcutId) + " back for practice at " + formatDate(date));
    return true;
}

std::optional<std::int64_t> DatabaseManager::shortcutForApplicationKeys(const std::string& keys,
                                                                        const std::string& namespaceId) {
    const Operation operation(*this);
    try {
        auto& query = statement("SELECT k.shortcut_id FROM application_keys k JOIN shortcuts s ON s.shortcut_id = "
                                "k.shortcut_id WHERE k.keys = ? AND s.namespace_id = ? ORDER BY k.shortcut_id LIMIT 1");
        query.bind(1, keys);
        query.bind(2, namespaceId);
        if (query.executeStep())
            return query.getColumn(0).getInt64();
    } catch (const std::exception& error) {
        printLine(std::string("Error fetching shortcut: ") + error.what());
    }
    return std::nullopt;
}

int DatabaseManager::rememberApplicationKeys(const std::string& namespaceId, const std::vector<HarvestedItem>& items) {
    int changed = 0;
    for (const auto& item : items) {
        // One item at a time: between two, the connection is free for the main thread.
        const Operation operation(*this);
        try {
            // The action the item stands for: the one its text is mapped to, else the one of its name.
            std::vector<std::string> names;
            auto& mapped = statement("SELECT name FROM accessibility_mapping WHERE namespace_id = ? AND "
                                     "predicted_best_value = ? LIMIT 1");
            mapped.bind(1, namespaceId);
            mapped.bind(2, item.value);
            if (mapped.executeStep())
                names.push_back(mapped.getColumn(0).getString());
            mapped.reset();
            names.push_back(item.name);
            if (const auto bare = withoutEllipsis(item.name))
                names.push_back(*bare);
            std::vector<std::pair<std::int64_t, std::string>> shortcuts;
            auto& query = statement("SELECT s.shortcut_id, s.mac_keys FROM shortcuts s JOIN actions a ON a.action_id "
                                    "= s.action_id WHERE s.namespace_id = ? AND a.name = ? ORDER BY s.flagged_at IS "
                                    "NOT NULL, s.shortcut_id");
            for (const auto& name : names) {
                query.reset();
                query.bind(1, namespaceId);
                query.bind(2, name);
                while (query.executeStep())
                    shortcuts.emplace_back(query.getColumn(0).getInt64(), query.getColumn(1).getString());
                if (!shortcuts.empty())
                    break;
            }
            query.reset();
            if (shortcuts.empty())
                continue;
            const bool same = std::any_of(shortcuts.begin(), shortcuts.end(),
                                          [&](const auto& shortcut) { return shortcut.second == item.keys; });
            if (same) {
                // The application agrees with the catalogue (again): nothing of its own to show.
                for (const auto& shortcut : shortcuts) {
                    auto& drop = statement("DELETE FROM application_keys WHERE shortcut_id = ?");
                    drop.bind(1, shortcut.first);
                    changed += drop.exec();
                }
                continue;
            }
            auto& write = statement("INSERT INTO application_keys (shortcut_id, keys, menu, seen_at) VALUES (?, ?, ?, "
                                    "?) ON CONFLICT (shortcut_id) DO UPDATE SET keys = excluded.keys, menu = "
                                    "excluded.menu, seen_at = excluded.seen_at WHERE keys <> excluded.keys OR menu <> "
                                    "excluded.menu");
            write.bind(1, shortcuts.front().first);
            write.bind(2, item.keys);
            write.bind(3, item.menu);
            write.bind(4, formatDate(now()));
            if (write.exec() > 0) {
                ++changed;
                printLine("The application shows \"" + item.keys + "\" for \"" + item.name + "\" in " + namespaceId +
                          "; the catalogue has \"" + shortcuts.front().second + "\"");
            }
        } catch (const std::exception& error) {
            printLine(std::string("Error reading the application's keys: ") + error.what());
        }
    }
    return changed;
}

ProgressReport DatabaseManager::progress(Date now, int weeks) {
    const Operation operation(*this);
    ProgressReport report;
    if (weeks < 1)
        weeks = 1;
    // Mondays, UTC: the current week's and the first one shown.
    const auto today = std::chrono::floor<std::chrono::days>(now);
    const auto monday = today - std::chrono::days((std::chrono::weekday(today).c_encoding() + 6) % 7);
    const auto first = monday - std::chrono::days(7 * (weeks - 1));
    for (int i = 0; i < weeks; ++i)
        report.weeks.push_back({Date(first + std::chrono::days(7 * i)), 0, 0});
    const auto weekIndex = [&](const std::string& name) -> std::optional<std::size_t> {
        const auto date = parseDate(name + "T00:00:00.000");
        if (!date || *date < Date(first))
            return std::nullopt;
        const auto index = static_cast<std::size_t>((*date - Date(first)) / std::chrono::days(7));
        return index < report.weeks.size() ? std::optional(index) : std::nullopt;
    };
    const std::string firstWeek = formatDate(Date(first)).substr(0, 10);
    try {
        SQLite::Statement clicks(*db_, std::string(kCovered) +
                                           "SELECT w.week, SUM(w.count) FROM covered c JOIN element_week_counts w ON "
                                           "w.namespace_id = c.namespace_id AND w.element_clicked = c.name WHERE "
                                           "w.week >= ? GROUP BY w.week");
        clicks.bind(1, firstWeek);
        while (clicks.executeStep())
            if (const auto i = weekIndex(clicks.getColumn(0).getString()))
                report.weeks[*i].clicks = clicks.getColumn(1).getInt64();
        SQLite::Statement uses(*db_, std::string(kCovered) + kCoveredUses);
        uses.bind(1, firstWeek);
        while (uses.executeStep())
            if (const auto i = weekIndex(uses.getColumn(0).getString()))
                report.weeks[*i].uses = uses.getColumn(1).getInt64();
        SQLite::Statement total(*db_, std::string(kCovered) + "SELECT COALESCE(SUM(n), 0) FROM (" + kCoveredUses + ")");
        total.bind(1, "");
        if (total.executeStep())
            report.totalUses = total.getColumn(0).getInt64();
        SQLite::Statement learned(
            *db_, "SELECT s.shortcut_id, s.namespace_id, COALESCE(n.level_name, s.namespace_id), a.name, "
                  "COALESCE(k.keys, s.mac_keys), s.learned_at FROM shortcuts s JOIN actions a ON a.action_id = "
                  "s.action_id LEFT JOIN namespace n ON n.namespace_id = s.namespace_id LEFT JOIN application_keys k "
                  "ON k.shortcut_id = s.shortcut_id WHERE s.learned_at IS NOT NULL ORDER BY s.learned_at DESC, "
                  "s.shortcut_id");
        while (learned.executeStep())
            if (const auto at = dateColumn(learned.getColumn(5)))
                report.learned.push_back({learned.getColumn(0).getInt64(), learned.getColumn(1).getString(),
                                          learned.getColumn(2).getString(), learned.getColumn(3).getString(),
                                          learned.getColumn(4).getString(), *at});
    } catch (const std::exception& error) {
        printLine(std::string("Error reading the progress: ") + error.what());
    }
    return report;
}

} // namespace tavrin
