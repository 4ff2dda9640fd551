#include "views/presenters/ShortcutCardPresenter.h"

#include <cmath>
#include <cstdint>

namespace tavrin {

namespace {

std::string plainTooltip(const ShortcutBase& base) {
    return "Shortcut: " + base.actionName + "\nKeys: " + base.shortcutKeys +
           "\n\nPress the key combination to activate this shortcut.";
}

double schemeOpacity(ColorScheme scheme) {
    return scheme == ColorScheme::light ? 0.1 : 0.2;
}

ShortcutCardPresentation presentBase(const ShortcutBase& base, ShortcutCategory context,
                                     const PlatformProfile& profile) {
    ShortcutCardPresentation card;
    card.shortcutId = base.shortcutId;
    card.actionName = base.actionName;
    card.shortcutKeys = base.shortcutKeys;
    card.chips = keyChips(base.shortcutKeys, profile);
    card.tooltip = plainTooltip(base);
    card.buttons = cardButtons(context, base);
    return card;
}

} // namespace

TimePhrase timePhrase(double seconds) {
    const auto hours = static_cast<std::int64_t>(seconds / 3600);
    const auto minutes = static_cast<std::int64_t>(std::fmod(seconds, 3600) / 60);
    const std::string minuteUnit = minutes == 1 ? "minute" : "minutes";
    if (hours < 1) {
        if (minutes < 1)
            return {"less than 1", "minute"};
        return {std::to_string(minutes), minuteUnit};
    }
    const std::string hourWord = hours == 1 ? "hour" : "hours";
    if (minutes < 1)
        return {std::to_string(hours), hourWord};
    return {std::to_string(hours) + " " + hourWord + " and " + std::to_string(minutes), minuteUnit};
}

AppDomain::Action cardAction(CardCommand command, std::int64_t shortcutId) {
    switch (command) {
    case CardCommand::toggleBookmark:
        return AppDomain::toggleShortcutBookmark{shortcutId};
    case CardCommand::toggleLearned:
        return AppDomain::toggleShortcutLearned{shortcutId};
    case CardCommand::flag:
        break;
    }
    return AppDomain::flagShortcut{shortcutId};
}

std::vector<CardButton> cardButtons(ShortcutCategory context, const ShortcutBase& shortcut) {
    std::vector<CardButton> buttons;
    buttons.push_back(
        shortcut.isBookmarked
            ? CardButton{"bookmark.fill", NamedColor::blue, "Remove Bookmark", CardCommand::toggleBookmark}
            : CardButton{"bookmark", NamedColor::gray, "Bookmark this Shortcut", CardCommand::toggleBookmark});
    if (context == ShortcutCategory::learned) {
        buttons.push_back({"xmark.circle", NamedColor::red, "Remove from Learned", CardCommand::toggleLearned});
        return buttons;
    }
    buttons.push_back(
        shortcut.isLearned
            ? CardButton{"checkmark.circle.fill", NamedColor::green, "Unmark as Learned", CardCommand::toggleLearned}
            : CardButton{"checkmark.circle", NamedColor::gray, "Mark as Learned", CardCommand::toggleLearned, true});
    buttons.push_back({"flag", NamedColor::red, "Report Issue with Shortcut", CardCommand::flag});
    return buttons;
}

ShortcutCardPresentation presentCard(const ShortcutRecommendation& shortcut, ShortcutCategory context,
                                     ColorScheme scheme, const PlatformProfile& profile) {
    ShortcutCardPresentation card = presentBase(shortcut.base, context, profile);
    const double opacity = schemeOpacity(scheme);
    switch (shortcut.source) {
    case ShortcutSource::userBookmarked:
        card.badgeImage = "bookmark.fill";
        card.badgeColor = NamedColor::white;
        card.background = {NamedColor::blue, opacity};
        break;
    case ShortcutSource::userAction: {
        card.badgeImage = "lightbulb.fill";
        card.badgeColor = NamedColor::yellow;
        card.background = {NamedColor::yellow, opacity};
        const TimePhrase saving = timePhrase(shortcut.estimatedAnnualTimeSavings);
        card.tooltip +=
            "\n\n\U0001F4A1 We noticed you frequently use this action!\n\nLearning this shortcut could save "
            "you approximately " +
            saving.value + " " + saving.unit + " per year, if you maintain this frequency.";
        break;
    }
    case ShortcutSource::backfill:
        card.background = {NamedColor::gray, opacity};
        break;
    }
    return card;
}

ShortcutCardPresentation presentCard(const LearnedShortcut& shortcut, ShortcutCategory context, ColorScheme scheme,
                                     const PlatformProfile& profile) {
    ShortcutCardPresentation card = presentBase(shortcut.base, context, profile);
    card.background = {NamedColor::gray, schemeOpacity(scheme)};
    return card;
}

} // namespace tavrin
