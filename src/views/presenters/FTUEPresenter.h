#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "State/FTUEDomain.h"
#include "platform/InputMonitor.h"

namespace tavrin {
struct PlatformProfile;
}

// What the first-run screens show, decided from the first-run state: texts, which button the
// navigation row offers, the practice panel, the permission items and the frame's scale. The QML
// only lays these out and animates them.
namespace tavrin::views::ftue {

using FTUEState = FTUEDomain::State;

// The copy of the screens, as the product says it.
namespace copy {
inline constexpr std::string_view welcomeTitle = "Unlock 8 extra days in your year";
inline constexpr std::string_view welcomeSubtitle = "That's a whole week of Netflix binging, folks!";
inline constexpr std::string_view calendarYear = "2024";

inline constexpr std::string_view personalizationTitle = "Let's get to know you";
inline constexpr std::string_view personalizationSubtitle = "(don't worry, we won't gossip)";
inline constexpr std::string_view roleQuestion = "What's your daily grind look like?";
inline constexpr std::string_view appsQuestion = "Which apps make you go 'ugh' most often?";

inline constexpr std::string_view potentialTitle = "Your Productivity Potential";
inline constexpr std::string_view potentialSubtitle = "Let's crunch those numbers!";
inline constexpr std::string_view calculateButton = "Calculate My Savings";
inline constexpr std::string_view savingsIntro = "With Tavrin, you could save:";

inline constexpr std::string_view howTitle = "How Tavrin Works";
inline constexpr std::string_view performPanelTitle = "1. Perform Actions";
inline constexpr std::string_view browserExample = "Example in Google Chrome:";
inline constexpr std::string_view clickRefresh = "Click Refresh ➡️";
inline constexpr std::string_view browserAddress = "www.google.com";
inline constexpr std::string_view recommendPanelTitle = "2. Tavrin Recommends Shortcuts";
inline constexpr std::string_view recommendIntro = "For actions you perform:";
inline constexpr std::string_view tryShortcut = "⬅️ Try this shortcut 3 times!";
inline constexpr std::string_view practiceProgress = "Practice Progress";
inline constexpr std::string_view greatJob = "Great job!";
inline constexpr std::string_view learnedShortcut = "You've learned a new shortcut.";
inline constexpr std::string_view suggestMore1 = "Tavrin will suggest more as";
inline constexpr std::string_view suggestMore2 = "you use Chrome and other apps.";

inline constexpr std::string_view privacyTitle = "Your Privacy Matters";
inline constexpr std::string_view privacySubtitle = "We need permission to work our magic";
inline constexpr std::string_view needsPermission = "Tavrin needs this permission:";
inline constexpr std::string_view optionalScreenRecording = "Optional: Screen Recording";
inline constexpr std::string_view revokeLater =
    "You can always grant or revoke this permission later in the app settings.";
inline constexpr std::string_view grantAccessibility = "Grant Accessibility Permission";
inline constexpr std::string_view grantScreenRecording = "Grant Screen Recording Permission";
inline constexpr std::string_view dataShareText =
    "By agreeing, you allow us to collect anonymous data about your app usage. This helps us improve Tavrin's "
    "features and performance. Your privacy is our priority, and no personally identifiable information will be "
    "collected.";
inline constexpr std::string_view dataShareToggle = "I agree to share anonymous usage data to help improve Tavrin";
} // namespace copy

// The navigation row. Every button it offers sends `nextStep`.
enum class ButtonStyle { primary, secondary };
struct NavigationButton {
    std::string title;
    ButtonStyle style = ButtonStyle::primary;
    bool pulses = false; // draws the eye: the way on once the practice is done
    bool operator==(const NavigationButton&) const = default;
};
// No value: the row is empty (the practice not started, or the accessibility permission missing).
std::optional<NavigationButton> navigationButton(const FTUEState& state);
// "Calculate My Savings" pulses until it has been pressed once.
bool calculatePulses(const FTUEState& state);

// Text follows the desktop's default font: each style is a multiple of it, as the screens were
// drawn for a default of 14 pixels. Larger text makes the frame, and every length in it, grow by
// the same factor, so that nothing is cut; smaller text leaves them as drawn.
inline constexpr double kDrawnFontPixels = 14;
enum class TextStyle { largeTitle, title2, title3, headline, callout, body, subheadline, footnote };
int textPixels(TextStyle style, double defaultFontPixels);
double layoutScale(double defaultFontPixels);

// The content's frame, 1100 by 600 as drawn, scaled about its centre to fit the visible part of
// the screen, never up.
inline constexpr double kFrameWidth = 1100;
inline constexpr double kFrameHeight = 600;
struct ScreenArea {
    double width = 0;
    double height = 0;
    bool operator==(const ScreenArea&) const = default;
};
// The frame for the desktop's default font.
ScreenArea frameSize(double defaultFontPixels = kDrawnFontPixels);
// Without a screen, or with one that reports no size, the scale is 1.
double frameScale(std::optional<ScreenArea> visible, ScreenArea frame = frameSize());

// The estimate's rows, shown once it has been calculated.
struct SavingsRow {
    std::string icon; // a symbol name: "clock", "calendar", "hourglass"
    std::string text;
    bool operator==(const SavingsRow&) const = default;
};
std::vector<SavingsRow> savingsRows(const FTUEState& state);

// A shortcut of the mock browser's recommendation panel.
struct ChromeShortcut {
    std::string name;
    std::string keys;
    bool isHighlighted = false; // the one to practise: highlighted, its keys pulsing
    bool operator==(const ChromeShortcut&) const = default;
};
// The panel's list: the practised shortcut first (highlighted) while the practice runs, the next
// suggestions once it is done. The keys follow the platform.
std::vector<ChromeShortcut> recommendedShortcuts(const FTUEState& state, const PlatformProfile& profile);

// The practice: the first press of the shortcut starts it, three indicators follow, and the
// fourth count ends it.
inline constexpr std::int64_t kPracticeGoal = 4;
enum class IndicatorState { done, next, waiting };
struct PracticeIndicator {
    std::int64_t number = 0; // shown while not done
    IndicatorState state = IndicatorState::waiting;
    bool operator==(const PracticeIndicator&) const = default;
};
struct PracticePanel {
    bool finished = false; // "Great job!" replaces the progress
    std::vector<PracticeIndicator> indicators;
    std::string remainingText; // "Great! %lld more to go!"
    bool remainingVisible = false;
    bool operator==(const PracticePanel&) const = default;
};
PracticePanel practicePanel(const FTUEState& state);

// One permission of the privacy step, with its button (which does nothing more once granted).
struct PermissionItem {
    std::string icon;
    std::string title;
    std::string description;
    std::string buttonTitle;
    bool isGranted = false;
    bool buttonPulses = false; // the permission Tavrin needs, until it is granted
    bool operator==(const PermissionItem&) const = default;
};
PermissionItem accessibilityItem(const FTUEState& state);
PermissionItem screenRecordingItem(const FTUEState& state);
// Applications that were running before accessibility was switched on stay unseen until they
// restart: the line that names them, or nothing when there are none.
std::string restartNotice(const std::vector<std::string>& applications);
// Where the keys come from in this session, what the better source costs and the command that
// enables it (a Wayland session); nothing where every key is seen anyway (X11).
std::string keySourceNotice(const InputCapabilities& input);

// The welcome screen's calendar: a month of the year on the band, weeks starting on Monday.
struct CalendarMonth {
    std::vector<std::string> daysOfWeek;
    int leadingBlanks = 0; // empty cells before the first day
    int dayCount = 0;
    bool operator==(const CalendarMonth&) const = default;
};
CalendarMonth calendarMonth();
// The day the highlight moves to at the next tick: the next day, back to the first after the last.
int nextHighlightedDay(int day, const CalendarMonth& month);

} // namespace tavrin::views::ftue
