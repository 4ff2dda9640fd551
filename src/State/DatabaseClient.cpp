#include "State/DatabaseClient.h"

#include "database/DatabaseManager.h"

namespace tavrin {

DatabaseClient DatabaseClient::live(std::function<DatabaseManager&()> database) {
    auto db = std::move(database);
    return {
        .getNamespace =
            [db](const OptionalText& domain, const OptionalText& appName, const OptionalText& os,
                 std::optional<bool> isSupported) { return db().getNamespace(domain, appName, os, isSupported); },
        .getOrCreateNamespace =
            [db](const OptionalText& domain, const OptionalText& appName) {
                return db().getOrCreateNamespace(domain, appName);
            },
        .getAccessibilityMapping =
            [db](const std::string& namespaceId, const std::string& value) {
                return db().getAccessibilityMapping(namespaceId, value);
            },
        .insertClickEvents = [db](const std::vector<ClickEvent>& events) { db().insertClickEvents(events); },
        .getShortcut = [db](const std::string& keys,
                            const std::string& namespaceId) { return db().getShortcut(keys, namespaceId); },
        .insertShortcutUsage = [db](const std::string& userId,
                                    std::int64_t shortcutId) { db().insertShortcutUsage(userId, shortcutId); },
        .countElementClicks =
            [db](const std::string& namespaceId, double minConfidence) {
                return db().countElementClicks(namespaceId, minConfidence);
            },
        .getRecommendations =
            [db](const std::vector<ElementClickCount>& counts, const std::string& namespaceId,
                 std::optional<std::int64_t> limit) { return db().getRecommendations(counts, namespaceId, limit); },
        .toggleShortcutBookmark = [db](std::int64_t id) { return db().toggleShortcutBookmark(id); },
        .toggleShortcutLearned = [db](std::int64_t id) { return db().toggleShortcutLearned(id); },
        .flagShortcut = [db](std::int64_t id, Date date) { return db().flagShortcut(id, date); },
        .getBookmarkedShortcuts =
            [db](const std::string& namespaceId) { return db().getBookmarkedShortcuts(namespaceId); },
        .getLearnedShortcuts = [db](const std::string& namespaceId) { return db().getLearnedShortcuts(namespaceId); },
        .learnShortcuts =
            [db](const std::string& namespaceId, const std::vector<HarvestedItem>& items) {
                return db().learnShortcuts(namespaceId, items);
            },
        .coachedShortcut =
            [db](const std::string& namespaceId, const std::string& actionName) {
                return db().coachedShortcut(namespaceId, actionName);
            },
        .coachedShortcutById = [db](std::int64_t id) { return db().coachedShortcut(id); },
        .practiceBalance = [db](std::int64_t id, Date since) { return db().practiceBalance(id, since); },
        .setCoachingMark = [db](std::int64_t id, CoachingMark mark,
                                std::optional<Date> date) { return db().setCoachingMark(id, mark, date); },
        .returnForPractice = [db](std::int64_t id, Date date) { return db().returnForPractice(id, date); },
        .shortcutForApplicationKeys =
            [db](const std::string& keys, const std::string& namespaceId) {
                return db().shortcutForApplicationKeys(keys, namespaceId);
            },
        .rememberApplicationKeys =
            [db](const std::string& namespaceId, const std::vector<HarvestedItem>& items) {
                return db().rememberApplicationKeys(namespaceId, items);
            },
    };
}

} // namespace tavrin
