#include <algorithm>
#include <unordered_set>

#include "database/DatabaseManager.h"

namespace tavrin {

namespace {

// "?, ?, ?" for a NOT IN list of `count` members; one bound parameter per member.
std::string placeholders(std::size_t count) {
    std::string out;
    for (std::size_t i = 0; i < count; ++i)
        out += i ? ", ?" : "?";
    return out;
}

// " AND column NOT IN (...)", or nothing for an empty set (which excludes nothing).
std::string notIn(const char* column, const std::unordered_set<std::int64_t>& ids) {
    return ids.empty() ? std::string() : std::string(" AND ") + column + " NOT IN (" + placeholders(ids.size()) + ")";
}

void bindAll(SQLite::Statement& statement, int& index, const std::unordered_set<std::int64_t>& ids) {
    for (const auto id : ids)
        statement.bind(index++, id);
}

} // namespace

double DatabaseManager::estimatedAnnualSavings(std::int64_t count, Date since) const {
    const double elapsed = std::chrono::duration<double>(since - now()).count() / -86400.0; // days since `since`
    const double days = elapsed > 28.0 ? 28.0 : std::max(elapsed, 1.0);
    const double base = static_cast<double>(count) / days * 365.0 * kSecondsSavedPerUse * 0.5;
    const double ramp = std::min(days / 14.0, 1.0);
    const double first = base > 0.0 ? base : 0.0;
    const double second = base * ramp > 0.0 ? base * ramp : 0.0;
    return first + second;
}

std::optional<std::pair<std::string, std::int64_t>>
DatabaseManager::findShortcutForAction(const std::string& actionName, const std::string& namespaceId,
                                       bool excludeLearned) {
    const Operation operation(*this);
    // The lowest shortcut id of the action, so that the choice among several is stable.
    auto& query = statement(excludeLearned ? "SELECT shortcuts.mac_keys, shortcuts.shortcut_id, actions.action_id FROM "
                                             "shortcuts INNER JOIN actions ON shortcuts.action_id = actions.action_id "
                                             "WHERE actions.name = ? AND shortcuts.namespace_id = ? AND "
                                             "shortcuts.learned_at IS NULL ORDER BY shortcuts.shortcut_id LIMIT 1"
                                           : "SELECT shortcuts.mac_keys, shortcuts.shortcut_id, actions.action_id FROM "
                                             "shortcuts INNER JOIN actions ON shortcuts.action_id = actions.action_id "
                                             "WHERE actions.name = ? AND shortcuts.namespace_id = ? "
                                             "ORDER BY shortcuts.shortcut_id LIMIT 1");
    query.bind(1, actionName);
    query.bind(2, namespaceId);
    if (!query.executeStep())
        return std::nullopt;
    return std::pair{query.getColumn(0).getString(), query.getColumn(1).getInt64()};
}

std::vector<ShortcutRecommendation>
DatabaseManager::getRecommendations(const std::vector<ElementClickCount>& elementCounts, const std::string& namespaceId,
                                    std::optional<std::int64_t> limitArgument) {
    const Operation operation(*this);
    const auto limit = static_cast<std::size_t>(std::max<std::int64_t>(limitArgument.value_or(5), 0));
    std::vector<ShortcutRecommendation> result;
    std::unordered_set<std::int64_t> flagged, seen, seenActions;

    // Stages 1 and 2: what is flagged anywhere, then this namespace's bookmarks.
    try {
        auto& flaggedQuery =
            statement("SELECT shortcuts.shortcut_id FROM shortcuts WHERE shortcuts.flagged_at IS NOT NULL");
        while (flaggedQuery.executeStep())
            flagged.insert(flaggedQuery.getColumn(0).getInt64());

        SQLite::Statement bookmarks(
            *db_,
            "SELECT shortcuts.shortcut_id, actions.name, shortcuts.mac_keys, shortcuts.bookmarked_at FROM shortcuts "
            "INNER JOIN actions ON shortcuts.action_id = actions.action_id WHERE shortcuts.namespace_id = ? AND "
            "shortcuts.bookmarked_at IS NOT NULL AND shortcuts.learned_at IS NULL" +
                notIn("shortcuts.shortcut_id", flagged));
        int index = 1;
        bookmarks.bind(index++, namespaceId);
        bindAll(bookmarks, index, flagged);
        while (bookmarks.executeStep()) {
            const auto id = bookmarks.getColumn(0).getInt64();
            const auto since = parseDate(bookmarks.getColumn(3).getString()).value_or(now());
            result.push_back({{id, bookmarks.getColumn(1).getString(), bookmarks.getColumn(2).getString(), true, false},
                              ShortcutSource::userBookmarked,
                              0,
                              estimatedAnnualSavings(0, since)});
            seen.insert(id);
            if (result.size() >= limit)
                return result;
        }
    } catch (const std::exception& error) {
        printLine(std::string("Error fetching shortcuts: ") + error.what());
        return {};
    }

    try {
        // Stage 3: the user's clicks, up to three entries in all.
        for (const auto& element : elementCounts) {
            if (element.count <= 0)
                continue;
            if (result.size() >= 3)
                break;
            const auto found = findShortcutForAction(element.element, namespaceId, true);
            if (!found || flagged.count(found->second))
                continue;
            const double saving = estimatedAnnualSavings(element.count, element.firstSeen);
            const auto bookmarked = std::find_if(result.begin(), result.end(), [&](const ShortcutRecommendation& r) {
                return r.base.shortcutId == found->second;
            });
            if (bookmarked != result.end()) {
                bookmarked->count = element.count;
                bookmarked->estimatedAnnualTimeSavings = saving;
                continue;
            }
            if (seen.count(found->second))
                continue;
            result.push_back({{found->second, element.element, found->first, false, false},
                              ShortcutSource::userAction,
                              element.count,
                              saving});
            seen.insert(found->second);
            if (result.size() >= limit)
                return result;
        }

        // Stage 4: the catalogue's priorities fill what is left.
        if (result.size() >= limit)
            return result;
        const auto missing = static_cast<std::int64_t>(limit - result.size());
        SQLite::Statement backfill(
            *db_, "SELECT actions.action_id, actions.name, actions.priority FROM actions INNER JOIN shortcuts ON "
                  "actions.action_id = shortcuts.action_id WHERE shortcuts.bookmarked_at IS NULL AND "
                  "shortcuts.learned_at IS NULL" +
                      notIn("shortcuts.shortcut_id", flagged) + " AND shortcuts.namespace_id = ?" +
                      notIn("shortcuts.shortcut_id", seen) +
                      " ORDER BY actions.priority IS NULL, actions.priority ASC LIMIT ?");
        int index = 1;
        bindAll(backfill, index, flagged);
        backfill.bind(index++, namespaceId);
        bindAll(backfill, index, seen);
        backfill.bind(index, missing);
        while (backfill.executeStep()) {
            const auto actionId = backfill.getColumn(0).getInt64();
            const std::string name = backfill.getColumn(1).getString();
            if (seenActions.count(actionId))
                continue;
            const auto found = findShortcutForAction(name, namespaceId, true);
            if (!found || flagged.count(found->second))
                continue;
            result.push_back({{found->second, name, found->first, false, false},
                              ShortcutSource::backfill,
                              0,
                              estimatedAnnualSavings(0, now())});
            seenActions.insert(actionId);
            if (result.size() >= limit)
                break;
        }
    } catch (const std::exception& error) {
        printLine(std::string("Error fetching shortcuts: ") + error.what());
    }
    return result;
}

} // namespace tavrin
