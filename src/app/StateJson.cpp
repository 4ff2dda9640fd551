#include "app/StateJson.h"

#include <cstdio>
#include <iomanip>
#include <ostream>

#include "analytics/RealAnalyticsManager.h"

namespace tavrin {

namespace {

template <class Shortcut> void printRows(const std::vector<Shortcut>& list, std::ostream& out) {
    if (list.empty()) {
        out << "No shortcuts.\n";
        return;
    }
    for (const auto& item : list) {
        out << std::right << std::setw(6) << item.base.shortcutId << "  " << std::left << std::setw(26)
            << item.base.actionName << std::setw(24) << item.base.shortcutKeys;
        if constexpr (std::is_same_v<Shortcut, ShortcutRecommendation>) {
            char saving[32];
            std::snprintf(saving, sizeof saving, "%.1f", item.estimatedAnnualTimeSavings);
            out << std::setw(16) << toString(item.source) << "count " << std::setw(6) << item.count << saving
                << " s/year";
        }
        if (item.base.isBookmarked)
            out << "  bookmarked";
        if (item.base.isLearned)
            out << "  learned";
        out << '\n';
    }
}

} // namespace

void printList(const std::vector<ShortcutRecommendation>& list, std::ostream& out) {
    printRows(list, out);
}
void printList(const std::vector<BookmarkedShortcut>& list, std::ostream& out) {
    printRows(list, out);
}
void printList(const std::vector<LearnedShortcut>& list, std::ostream& out) {
    printRows(list, out);
}

void printPlace(const AppDomain::ActiveNamespace& place, std::ostream& out) {
    out << "Application: " << place.app << (place.domain.empty() ? "" : ", site: " + place.domain)
        << (place.isSupported ? "" : " (not in the catalogue)") << '\n';
}

namespace {

OutputJson baseJson(const ShortcutBase& base) {
    return {
        {"shortcutId", base.shortcutId},     {"actionName", base.actionName}, {"shortcutKeys", base.shortcutKeys},
        {"isBookmarked", base.isBookmarked}, {"isLearned", base.isLearned},
    };
}

OutputJson optionalJson(const std::optional<std::string>& value) {
    return value ? OutputJson(*value) : OutputJson(nullptr);
}

} // namespace

OutputJson toJson(const ShortcutRecommendation& recommendation) {
    auto out = baseJson(recommendation.base);
    out["source"] = std::string(toString(recommendation.source));
    out["count"] = recommendation.count;
    out["estimatedAnnualTimeSavings"] = recommendation.estimatedAnnualTimeSavings;
    return out;
}

OutputJson toJson(const BookmarkedShortcut& shortcut) {
    auto out = baseJson(shortcut.base);
    out["bookmarkedAt"] = formatDate(shortcut.bookmarkedAt);
    return out;
}

OutputJson toJson(const LearnedShortcut& shortcut) {
    auto out = baseJson(shortcut.base);
    out["learnedAt"] = formatDate(shortcut.learnedAt);
    return out;
}

OutputJson toJson(const AppDomain::ActiveNamespace& place) {
    return {
        {"app", place.app},
        {"domain", place.domain},
        {"appNamespaceId", optionalJson(place.appNamespaceId)},
        {"domainNamespaceId", optionalJson(place.domainNamespaceId)},
        {"isSupported", place.isSupported},
    };
}

OutputJson toJson(const std::optional<Properties>& properties) {
    return properties ? OutputJson(propertiesJson(properties)) : OutputJson(nullptr);
}

} // namespace tavrin
