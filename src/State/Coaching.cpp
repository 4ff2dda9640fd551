#include "State/Coaching.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace tavrin {

nlohmann::json CoachingPreferences::toStored() const {
    return {{"nudgeEvery", nudgeEvery}, {"notifications", notifications}};
}

CoachingPreferences CoachingPreferences::fromStored(const std::optional<nlohmann::json>& value) {
    CoachingPreferences preferences;
    if (!value || !value->is_object())
        return preferences;
    if (const auto it = value->find("nudgeEvery"); it != value->end() && it->is_number_integer())
        preferences.nudgeEvery = std::clamp<std::int64_t>(it->get<std::int64_t>(), 1, 1000);
    if (const auto it = value->find("notifications"); it != value->end() && it->is_boolean())
        preferences.notifications = it->get<bool>();
    return preferences;
}

namespace CoachingRules {

bool nudges(const NudgeSpacing::Count& count, std::int64_t nudgeEvery, Date now) {
    if (!count.nudgedAt)
        return true;
    return count.quietMisses + 1 >= nudgeEvery && now - *count.nudgedAt >= nudgeInterval;
}

bool offersGraduation(const CoachedShortcut& shortcut, const PracticeBalance& lastWeek, Date now) {
    if (shortcut.learnedAt || shortcut.flagged)
        return false;
    if (shortcut.offerDeclinedAt && now - *shortcut.offerDeclinedAt < offerPause)
        return false;
    // Back for practice: a whole week of it first.
    if (shortcut.returnedAt && now - *shortcut.returnedAt < graduationSpan)
        return false;
    return lastWeek.firstUse && now - *lastWeek.firstUse >= graduationSpan && lastWeek.uses >= graduationUses &&
           lastWeek.uses > lastWeek.clicks;
}

Date returnBalanceStart(const CoachedShortcut& shortcut, Date now) {
    const Date twoWeeks = now - returnSpan;
    return shortcut.learnedAt ? std::max(twoWeeks, *shortcut.learnedAt) : twoWeeks;
}

bool returnsForPractice(const CoachedShortcut& shortcut, const PracticeBalance& balance) {
    return shortcut.learnedAt && !shortcut.flagged && balance.clicks >= returnClicks && balance.clicks > balance.uses;
}

} // namespace CoachingRules

} // namespace tavrin
