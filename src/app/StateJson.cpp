#include "app/StateJson.h"

#include "analytics/RealAnalyticsManager.h"

namespace tavrin {

namespace {

nlohmann::json baseJson(const ShortcutBase& base) {
    return {
        {"shortcutId", base.shortcutId},     {"actionName", base.actionName}, {"shortcutKeys", base.shortcutKeys},
        {"isBookmarked", base.isBookmarked}, {"isLearned", base.isLearned},
    };
}

nlohmann::json optionalJson(const std::optional<std::string>& value) {
    return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}

} // namespace

nlohmann::json toJson(const ShortcutRecommendation& recommendation) {
    auto out = baseJson(recommendation.base);
    out["source"] = std::string(toString(recommendation.source));
    out["count"] = recommendation.count;
    out["estimatedAnnualTimeSavings"] = recommendation.estimatedAnnualTimeSavings;
    return out;
}

nlohmann::json toJson(const BookmarkedShortcut& shortcut) {
    auto out = baseJson(shortcut.base);
    out["bookmarkedAt"] = formatDate(shortcut.bookmarkedAt);
    return out;
}

nlohmann::json toJson(const LearnedShortcut& shortcut) {
    auto out = baseJson(shortcut.base);
    out["learnedAt"] = formatDate(shortcut.learnedAt);
    return out;
}

nlohmann::json toJson(const AppDomain::ActiveNamespace& place) {
    return {
        {"app", place.app},
        {"domain", place.domain},
        {"appNamespaceId", optionalJson(place.appNamespaceId)},
        {"domainNamespaceId", optionalJson(place.domainNamespaceId)},
        {"isSupported", place.isSupported},
    };
}

nlohmann::json toJson(const std::optional<Properties>& properties) {
    return properties ? propertiesJson(properties) : nlohmann::json(nullptr);
}

} // namespace tavrin
