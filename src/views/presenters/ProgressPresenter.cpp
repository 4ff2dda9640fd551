#include "views/presenters/ProgressPresenter.h"

#include <algorithm>
#include <chrono>
#include <sstream>
#include <utility>

#include "views/presenters/CheatsheetPresenter.h"

namespace tavrin {

namespace {

std::string counted(std::int64_t n, const std::string& word) {
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

} // namespace

std::string shortDay(Date date) {
    static const char* const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::chrono::year_month_day day{std::chrono::floor<std::chrono::days>(date)};
    return std::string(months[static_cast<unsigned>(day.month()) - 1]) + " " +
           std::to_string(static_cast<unsigned>(day.day()));
}

ProgressPresentation presentProgress(const ProgressReport& report, const PlatformProfile& profile,
                                     std::string_view locale) {
    ProgressPresentation out;
    for (const auto& week : report.weeks) {
        const std::string label = shortDay(week.start);
        out.weeks.push_back(
            {label, week.clicks, week.uses,
             "Week of " + label + ": " + counted(week.clicks, "click") + ", " + counted(week.uses, "shortcut use")});
        out.scaleStep = std::max({out.scaleStep, (week.clicks + 3) / 4, (week.uses + 3) / 4});
    }
    out.scaleTop = 4 * out.scaleStep;
    for (const auto& shortcut : report.learned) {
        const std::chrono::year_month_day day{std::chrono::floor<std::chrono::days>(shortcut.learnedAt)};
        ProgressPresentation::Learned learned{shortcut.actionName,
                                              cheatsheetTitle({shortcut.place, "", {}, {}, true}, locale),
                                              spokenKeys(keyChips(shortcut.keys, profile)),
                                              shortDay(shortcut.learnedAt) + ", " +
                                                  std::to_string(static_cast<int>(day.year())),
                                              {}};
        learned.spoken =
            learned.actionName + ", " + learned.keys + ", in " + learned.place + ", learned " + learned.when;
        out.learned.push_back(std::move(learned));
    }
    if (out.learned.empty())
        out.noneLearned = "None yet: a shortcut you use more than you click offers itself on its card.";
    const TimePhrase saved = timePhrase(report.secondsSaved());
    std::ostringstream perUse;
    perUse << kSecondsSavedPerUse;
    out.timeSaved = "Shortcut uses saved you " + saved.value + " " + saved.unit + " so far (" +
                    counted(report.totalUses, "use") + ", " + perUse.str() + " s each).";
    return out;
}

} // namespace tavrin
