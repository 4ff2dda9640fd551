#include "views/presenters/ShortcutCardPresenter.h"

#include <cctype>
#include <cmath>
#include <cstdint>

#include "views/presenters/CheatsheetPresenter.h"

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
    case CardCommand::declineGraduation:
        return AppDomain::declineGraduation{shortcutId};
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

std::string spokenKeys(const std::vector<KeyChip>& chips) {
    std::string out;
    for (const KeyChip& chip : chips) {
        if (!out.empty())
            out += " + ";
        std::string name = chip.text;
        if (!chip.image.empty()) // "up_arrow" as "Up Arrow": the image's name is no label
            for (std::size_t i = 0; i < name.size(); ++i) {
                if (name[i] == '_')
                    name[i] = ' ';
                if (i == 0 || name[i - 1] == ' ')
                    name[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[i])));
            }
        out += name;
    }
    return out;
}

std::string nudgeAnnouncement(const Nudge& nudge, const PlatformProfile& profile) {
    return nudge.actionName + ": " + spokenKeys(keyChips(nudge.keys, profile));
}

DesktopNotifications::Notification nudgeNotification(const Nudge& nudge, const PlatformProfile& profile) {
    const std::string keys = spokenKeys(keyChips(nudge.keys, profile));
    return {nudge.actionName + ": " + keys,
            "You clicked " + nudge.actionName + "; " + keys + " does it from the keyboard.",
            {{kGotIt, "Got it"}, {kNotForThisOne, "Not for this one"}}};
}

void coachCard(ShortcutCardPresentation& card, const CoachingNote* note, const std::optional<Nudge>& nudge,
               const PlatformProfile& profile, std::string_view locale) {
    if (nudge && nudge->shortcutId == card.shortcutId)
        card.nudgedAt = millisecondsSinceEpoch(nudge->at);
    if (!note)
        return;
    if (const auto& own = note->applicationKeys) {
        const std::string catalogueKeys = spokenKeys(card.chips);
        const std::string keysLine = "\nKeys: " + card.shortcutKeys + "\n";
        if (const auto at = card.tooltip.find(keysLine); at != std::string::npos)
            card.tooltip.replace(at, keysLine.size(), "\nKeys: " + own->keys + "\n");
        card.shortcutKeys = own->keys;
        card.chips = keyChips(own->keys, profile);
        const std::string application = cheatsheetTitle({own->application, "", {}, {}, true}, locale);
        const std::string where = own->menu.empty() ? application : application + "'s " + own->menu + " menu";
        card.tooltip += "\n\nKeys as " + where + " shows them (read " + formatDate(own->seenAt).substr(0, 10) +
                        "); the catalogue has " + catalogueKeys + ".";
    }
    if (note->offersGraduation) {
        card.coachNote = "You've got this: mark as learned?";
        card.offerButtons = {
            {"checkmark.circle", NamedColor::green, "Mark as Learned", CardCommand::toggleLearned, true},
            {"xmark.circle", NamedColor::gray, "Not Now, Ask Again in a Week", CardCommand::declineGraduation}};
    } else if (note->backForPractice) {
        card.coachNote = "back for practice";
    }
}

} // namespace tavrin
