#include "app/StateJson.h"

#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <ostream>
#include <sstream>

#include "foundation/Text.h"

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

// "google_chrome" as "Google Chrome".
std::string displayName(std::string_view normalised) {
    std::string name(normalised);
    bool wordStart = true;
    for (char& c : name) {
        if (c == '_')
            c = ' ';
        if (wordStart && c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
        wordStart = c == ' ';
    }
    return name;
}

// "control + shift + z" as "Ctrl+Shift+Z", the modifiers by the keyboard's labels.
std::string keysAsLabelled(std::string_view keys, const PlatformProfile& profile) {
    std::string out;
    std::size_t start = 0;
    while (start <= keys.size()) {
        const auto end = std::min(keys.find(" + ", start), keys.size());
        const std::string key(keys.substr(start, end - start));
        std::string label = key == "command"   ? profile.commandKeyLabel
                            : key == "option"  ? profile.optionKeyLabel
                            : key == "control" ? "Ctrl"
                                               : key;
        if (!label.empty() && label[0] >= 'a' && label[0] <= 'z')
            label[0] = static_cast<char>(label[0] - 'a' + 'A');
        out += (out.empty() ? "" : "+") + label;
        start = end + 3;
    }
    return out;
}

// Seconds a year as words: "about 21 minutes a year", "about 2 hours and 5 minutes a year".
std::string yearlySaving(double seconds) {
    const auto minutes = static_cast<std::int64_t>(seconds / 60);
    if (minutes < 1)
        return "less than a minute a year";
    const auto count = [](std::int64_t n, const char* unit) {
        return std::to_string(n) + " " + unit + (n == 1 ? "" : "s");
    };
    if (minutes < 60)
        return "about " + count(minutes, "minute") + " a year";
    return "about " + count(minutes / 60, "hour") + (minutes % 60 ? " and " + count(minutes % 60, "minute") : "") +
           " a year";
}

template <class Shortcut>
void printCards(const std::vector<Shortcut>& list, const PlatformProfile& profile, std::ostream& out) {
    std::size_t nameWidth = 0, keysWidth = 0;
    for (const auto& item : list) {
        nameWidth = std::max(nameWidth, item.base.actionName.size());
        keysWidth = std::max(keysWidth, keysAsLabelled(item.base.shortcutKeys, profile).size());
    }
    for (const auto& item : list) {
        std::string note;
        if constexpr (std::is_same_v<Shortcut, ShortcutRecommendation>) {
            if (item.source == ShortcutSource::userAction)
                note = "saves " + yearlySaving(item.estimatedAnnualTimeSavings) + " (clicked " +
                       (item.count == 1 ? std::string("once") : std::to_string(item.count) + " times") + ")";
            else if (item.source == ShortcutSource::backfill)
                note = "a common shortcut here";
        }
        if (item.base.isBookmarked)
            note += note.empty() ? "bookmarked" : ", bookmarked";
        std::ostringstream line;
        line << "  " << std::left << std::setw(static_cast<int>(nameWidth + 2)) << item.base.actionName
             << std::setw(static_cast<int>(keysWidth + 2)) << keysAsLabelled(item.base.shortcutKeys, profile) << note;
        out << trimmed(line.str()).insert(0, "  ") << '\n';
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

void printCheatsheet(const AppDomain::State& state, const PlatformProfile& profile, std::ostream& out) {
    const auto& place = state.activeNamespace;
    out << (place.app.empty() ? std::string("Tavrin") : displayName(place.app));
    if (!place.domain.empty())
        out << ", on " << displayName(place.domain);
    if (!place.app.empty() && !place.isSupported)
        out << " (its shortcuts are not known yet)";
    out << '\n';
    if (state.pause)
        out << "  Paused" << (state.pause->until ? " until " + formatDate(*state.pause->until) + " UTC" : "")
            << ": nothing is counted.\n";
    const bool learned = state.selectedCategory == ShortcutCategory::learned;
    out << (learned ? "  Learned:\n" : "");
    if (learned ? state.learnedShortcuts.empty() : state.recommendations.empty())
        out << "  No shortcuts yet.\n";
    else if (learned)
        printCards(state.learnedShortcuts, profile, out);
    else
        printCards(state.recommendations, profile, out);
}

} // namespace tavrin
