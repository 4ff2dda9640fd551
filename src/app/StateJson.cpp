#include "app/StateJson.h"

#include <cstdio>
#include <iomanip>
#include <ostream>

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

} // namespace tavrin
