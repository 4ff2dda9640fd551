#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "database/Models.h"
#include "database/PracticeRecords.h"
#include "database/ShortcutLearner.h"
#include "foundation/MenuHarvest.h"

namespace tavrin {

class DatabaseManager;

// The database as the reducers reach it: one function per operation they call, with the
// signature and meaning of DatabaseManager's namesake. Effects call them off the main thread.
struct DatabaseClient {
    using OptionalText = std::optional<std::string>;

    std::function<std::optional<Namespace>(const OptionalText& domain, const OptionalText& appName,
                                           const OptionalText& os, std::optional<bool> isSupported)>
        getNamespace;
    std::function<std::optional<Namespace>(const OptionalText& domain, const OptionalText& appName)>
        getOrCreateNamespace;
    std::function<std::optional<AccessibilityMapping>(const std::string& namespaceId,
                                                      const std::string& predictedBestValue)>
        getAccessibilityMapping;
    std::function<void(const std::vector<ClickEvent>&)> insertClickEvents;
    std::function<std::optional<Shortcut>(const std::string& keys, const std::string& namespaceId)> getShortcut;
    std::function<void(const std::string& userId, std::int64_t shortcutId)> insertShortcutUsage;
    std::function<std::vector<ElementClickCount>(const std::string& namespaceId, double minConfidence)>
        countElementClicks;
    std::function<std::vector<ShortcutRecommendation>(
        const std::vector<ElementClickCount>&, const std::string& namespaceId, std::optional<std::int64_t> limit)>
        getRecommendations;
    std::function<bool(std::int64_t shortcutId)> toggleShortcutBookmark;
    std::function<bool(std::int64_t shortcutId)> toggleShortcutLearned;
    std::function<bool(std::int64_t shortcutId, Date date)> flagShortcut;
    std::function<std::vector<BookmarkedShortcut>(const std::string& namespaceId)> getBookmarkedShortcuts;
    std::function<std::vector<LearnedShortcut>(const std::string& namespaceId)> getLearnedShortcuts;
    // The shortcuts `items` show, into an application's namespace.
    std::function<ShortcutLearner::Outcome(const std::string& namespaceId, const std::vector<HarvestedItem>& items)>
        learnShortcuts;
    // The coaching's operations.
    std::function<std::optional<CoachedShortcut>(const std::string& namespaceId, const std::string& actionName)>
        coachedShortcut;
    std::function<std::optional<CoachedShortcut>(std::int64_t shortcutId)> coachedShortcutById;
    std::function<PracticeBalance(std::int64_t shortcutId, Date since)> practiceBalance;
    std::function<bool(std::int64_t shortcutId, CoachingMark mark, std::optional<Date> date)> setCoachingMark;
    std::function<bool(std::int64_t shortcutId, Date date)> returnForPractice;
    std::function<std::optional<std::int64_t>(const std::string& keys, const std::string& namespaceId)>
        shortcutForApplicationKeys;
    std::function<int(const std::string& namespaceId, const std::vector<HarvestedItem>& items)> rememberApplicationKeys;

    // Every function over the manager `database` returns when called; it must outlive the client.
    static DatabaseClient live(std::function<DatabaseManager&()> database);
};

} // namespace tavrin
