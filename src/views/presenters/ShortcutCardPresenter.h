#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "State/AppDomain.h"
#include "State/ClickAnalysis.h"
#include "State/Coaching.h"
#include "database/Models.h"
#include "platform/DesktopNotifications.h"
#include "platform/PlatformProfile.h"
#include "views/presenters/KeyChips.h"

namespace tavrin {

// The few colours the views name; ViewColors.h turns them into RGB for the scheme in force.
enum class NamedColor { gray, blue, green, red, yellow, white };

enum class ColorScheme { light, dark };

// A named colour at an opacity.
struct Tint {
    NamedColor color = NamedColor::gray;
    double opacity = 1;
    bool operator==(const Tint&) const = default;
};

// What a card's button sends, with the card's shortcut id.
enum class CardCommand { toggleBookmark, toggleLearned, flag, declineGraduation };

// How long after the tap the mark-as-learned button's command goes out: once its check has played.
inline constexpr int kLearnedActionDelayMs = 1000;

struct CardButton {
    std::string icon; // a named image, see Icons.h
    NamedColor color = NamedColor::gray;
    std::string helpText;
    CardCommand command = CardCommand::toggleBookmark;
    // The mark-as-learned button of a shortcut not yet learned: the card plays its ink fill and
    // the command goes out kLearnedActionDelayMs after the tap; every other button sends at once.
    bool playsLearnedAnimation = false;
    int sendDelayMs() const { return playsLearnedAnimation ? kLearnedActionDelayMs : 0; }
    bool operator==(const CardButton&) const = default;
};

// What a button's command sends for the card's shortcut.
AppDomain::Action cardAction(CardCommand command, std::int64_t shortcutId);

// A number of seconds as the words of a sentence: "1 hour and 30" with "minutes".
struct TimePhrase {
    std::string value;
    std::string unit;
    bool operator==(const TimePhrase&) const = default;
};

// Whole hours and minutes of `seconds` (fractions dropped); below a minute "less than 1"
// "minute". Takes finite values.
TimePhrase timePhrase(double seconds);

// The card's buttons for the tab it stands in and the shortcut's marks: bookmark and remove-from-
// learned in the learned tab; bookmark, mark-as-learned and flag in the recommended one.
std::vector<CardButton> cardButtons(ShortcutCategory context, const ShortcutBase& shortcut);

// Everything one card shows.
struct ShortcutCardPresentation {
    std::int64_t shortcutId = 0;
    std::string actionName;
    std::string shortcutKeys;
    std::vector<KeyChip> chips;
    std::string badgeImage; // empty: no badge
    NamedColor badgeColor = NamedColor::white;
    Tint background;
    // The card's help text; screen readers read it as the card's description.
    std::string tooltip;
    std::vector<CardButton> buttons;
    // The coach's words under the name: "You've got this: mark as learned?" with offerButtons (accept,
    // then turn down), or "back for practice" as a badge without buttons; empty: none.
    std::string coachNote;
    std::vector<CardButton> offerButtons;
    // The card of the nudge in force: marked, and brought into view for a moment when `nudgedAt`
    // (the nudge's time in milliseconds, 0 for none) changes.
    std::int64_t nudgedAt = 0;
    bool operator==(const ShortcutCardPresentation&) const = default;
};

// Keys as a screen reader says them and the nudge announces them: "Ctrl + S".
std::string spokenKeys(const std::vector<KeyChip>& chips);

// The nudge as a screen reader announces it: "Save: Ctrl + S".
std::string nudgeAnnouncement(const Nudge& nudge, const PlatformProfile& profile);

// The nudge as a desktop notification: the action and its keys, with the buttons "Got it"
// (kGotIt) and "Not for this one" (kNotForThisOne).
DesktopNotifications::Notification nudgeNotification(const Nudge& nudge, const PlatformProfile& profile);
inline constexpr const char* kGotIt = "got-it";
inline constexpr const char* kNotForThisOne = "not-for-this-one";

// What the coach adds to a card: the application's own keys in place of the catalogue's (the
// tooltip says where they were read), the graduation offer or the "back for practice" badge, and
// the mark of the nudge in force.
void coachCard(ShortcutCardPresentation& card, const CoachingNote* note, const std::optional<Nudge>& nudge,
               const PlatformProfile& profile, std::string_view locale = "");

// A recommendation: badge and background by its source; the saving sentence only for a shortcut
// recommended from the user's own clicks.
ShortcutCardPresentation presentCard(const ShortcutRecommendation& shortcut, ShortcutCategory context,
                                     ColorScheme scheme, const PlatformProfile& profile);
// A learned shortcut: no badge, the gray background, the plain tooltip.
ShortcutCardPresentation presentCard(const LearnedShortcut& shortcut, ShortcutCategory context, ColorScheme scheme,
                                     const PlatformProfile& profile);

} // namespace tavrin
