#include "app/ProgressCommand.h"

#include <cmath>
#include <iomanip>
#include <ostream>

#include "State/StateJson.h"
#include "database/DatabaseManager.h"

namespace tavrin {

namespace {

std::string day(Date date) {
    return formatDate(date).substr(0, 10);
}

std::string plural(std::int64_t n, const char* word) {
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

} // namespace

std::string timeSavedText(double seconds) {
    const auto minutes = static_cast<std::int64_t>(std::floor(std::max(0.0, seconds) / 60.0));
    if (minutes < 1)
        return "less than a minute";
    const auto hours = minutes / 60;
    if (hours < 1)
        return plural(minutes, "minute");
    return plural(hours, "hour") + (minutes % 60 ? " " + plural(minutes % 60, "minute") : "");
}

std::string progressJson(const ProgressReport& report) {
    OutputJson weeks = OutputJson::array();
    for (const auto& week : report.weeks)
        weeks.push_back({{"weekOf", day(week.start)}, {"clicks", week.clicks}, {"uses", week.uses}});
    OutputJson learned = OutputJson::array();
    for (const auto& shortcut : report.learned)
        learned.push_back({{"shortcutId", shortcut.shortcutId},
                           {"namespaceId", shortcut.namespaceId},
                           {"place", shortcut.place},
                           {"actionName", shortcut.actionName},
                           {"shortcutKeys", shortcut.keys},
                           {"learnedAt", formatDate(shortcut.learnedAt)}});
    const OutputJson out = {{"weeks", std::move(weeks)},
                            {"learned", std::move(learned)},
                            {"uses", report.totalUses},
                            {"secondsPerUse", kSecondsSavedPerUse},
                            {"secondsSaved", report.secondsSaved()}};
    return out.dump(2);
}

int runProgress(StoredData& data, const ProgressOptions& options, std::ostream& out) {
    const auto report = data.database.progress(data.clock.now(), options.weeks);
    if (options.json) {
        out << progressJson(report) << '\n';
        return 0;
    }
    out << "Clicks against shortcut uses, for the shortcuts you are learning (weeks from Monday, UTC):\n";
    out << "  Week of       Clicks    Uses\n";
    for (const auto& week : report.weeks)
        out << "  " << day(week.start) << std::right << std::setw(10) << week.clicks << std::setw(8) << week.uses
            << '\n';
    out << "Shortcuts learned:";
    if (report.learned.empty())
        out << " none yet";
    out << '\n';
    for (const auto& shortcut : report.learned)
        out << "  " << day(shortcut.learnedAt) << "  " << std::left << std::setw(28) << shortcut.actionName
            << std::setw(24) << shortcut.keys << shortcut.place << '\n';
    out << "Time saved so far by shortcut uses: " << timeSavedText(report.secondsSaved()) << " ("
        << plural(report.totalUses, "use") << ", " << kSecondsSavedPerUse << " s each)\n";
    return 0;
}

} // namespace tavrin
