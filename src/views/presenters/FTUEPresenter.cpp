#include "views/presenters/FTUEPresenter.h"

#include <algorithm>
#include <cmath>

#include "platform/PlatformProfile.h"

namespace tavrin::views::ftue {

using Step = FTUEState::Step;

std::optional<NavigationButton> navigationButton(const FTUEState& state) {
    switch (state.currentStep) {
    case Step::privacySetup:
        // Completing needs the accessibility permission, so the row stays empty until it is held.
        if (state.accessibilityPermissionGranted)
            return NavigationButton{"Next", ButtonStyle::primary};
        return std::nullopt;
    case Step::howToUseTavrin:
        if (state.commandRCounter >= kPracticeGoal)
            return NavigationButton{"Let's Do This!", ButtonStyle::primary, true};
        if (state.commandRCounter >= 1)
            return NavigationButton{"Skip", ButtonStyle::secondary};
        return std::nullopt;
    case Step::welcome:
    case Step::personalization:
    case Step::productivityPotential:
        break;
    }
    return NavigationButton{"Next", ButtonStyle::primary};
}

bool calculatePulses(const FTUEState& state) {
    return !state.potentialTimeSavings.has_value();
}

int textPixels(TextStyle style, double defaultFontPixels) {
    // The sizes the screens were drawn with, for a default font of kDrawnFontPixels.
    double drawn = kDrawnFontPixels;
    switch (style) {
    case TextStyle::largeTitle:
        drawn = 34;
        break;
    case TextStyle::title2:
        drawn = 22;
        break;
    case TextStyle::title3:
        drawn = 17;
        break;
    case TextStyle::headline:
        drawn = 16;
        break;
    case TextStyle::callout:
        drawn = 15;
        break;
    case TextStyle::body:
        drawn = 14;
        break;
    case TextStyle::subheadline:
        drawn = 13;
        break;
    case TextStyle::footnote:
        drawn = 12;
        break;
    }
    const double base = defaultFontPixels > 0 ? defaultFontPixels : kDrawnFontPixels;
    return std::max(1, static_cast<int>(std::lround(drawn * base / kDrawnFontPixels)));
}

double layoutScale(double defaultFontPixels) {
    return std::max(1.0, defaultFontPixels / kDrawnFontPixels);
}

ScreenArea frameSize(double defaultFontPixels) {
    const double scale = layoutScale(defaultFontPixels);
    return {kFrameWidth * scale, kFrameHeight * scale};
}

double frameScale(std::optional<ScreenArea> visible, ScreenArea frame) {
    if (!visible || !(visible->width > 0) || !(visible->height > 0))
        return 1.0;
    return std::min({visible->width / frame.width, visible->height / frame.height, 1.0});
}

std::vector<SavingsRow> savingsRows(const FTUEState& state) {
    if (!state.potentialTimeSavings)
        return {};
    const auto& s = *state.potentialTimeSavings;
    return {
        {"clock", std::to_string(s.minutesPerDay) + " minutes per day"},
        {"calendar", std::to_string(s.hoursPerMonth) + " hours per month"},
        {"hourglass", std::to_string(s.daysPerYear) + " days per year"},
    };
}

std::vector<ChromeShortcut> recommendedShortcuts(const FTUEState& state, const PlatformProfile& profile) {
    // The practice copy names the platform's modifier ("command + r" or "control + r"); the other
    // browser shortcuts use the same one.
    const std::string modifier = profile.practiceKeysCopy.substr(0, profile.practiceKeysCopy.find(" + "));
    const ChromeShortcut refresh{"Refresh", profile.practiceKeysCopy, true};
    const ChromeShortcut newTab{"New Tab", profile.practiceTabKeysCopy};
    const ChromeShortcut closeTab{"Close Tab", modifier + " + w"};
    const ChromeShortcut addressBar{"Go to Address Bar", modifier + " + l"};
    if (state.commandRCounter >= kPracticeGoal)
        return {newTab, closeTab, addressBar};
    return {refresh, newTab, closeTab};
}

PracticePanel practicePanel(const FTUEState& state) {
    const std::int64_t count = state.commandRCounter;
    PracticePanel panel;
    panel.finished = count >= kPracticeGoal;
    // Indicator i is ticked by count i + 2: the first press only starts the practice.
    for (std::int64_t i = 0; i < kPracticeGoal - 1; ++i) {
        const std::int64_t ticks = count - 1;
        const auto state = i < ticks    ? IndicatorState::done
                           : i == ticks ? IndicatorState::next
                                        : IndicatorState::waiting;
        panel.indicators.push_back({i + 1, state});
    }
    panel.remainingText = "Great! " + std::to_string(kPracticeGoal - count) + " more to go!";
    panel.remainingVisible = count > 1;
    return panel;
}

PermissionItem accessibilityItem(const FTUEState& state) {
    return {"rectangle.on.rectangle",
            "Accessibility",
            "To understand your workflow and suggest helpful shortcuts",
            std::string(copy::grantAccessibility),
            state.accessibilityPermissionGranted,
            !state.accessibilityPermissionGranted};
}

PermissionItem screenRecordingItem(const FTUEState& state) {
    return {"display", "Screen Recording",
            "To capture small snapshots around your cursor, helping us understand your actions better",
            std::string(copy::grantScreenRecording), state.screenRecordingPermissionGranted};
}

std::string restartNotice(const std::vector<std::string>& applications) {
    if (applications.empty())
        return {};
    std::string line = "Restart these applications once so that Tavrin can see their buttons: ";
    for (std::size_t i = 0; i < applications.size(); ++i)
        line += (i ? ", " : "") + applications[i];
    return line + ".";
}

std::string keySourceNotice(const InputCapabilities& input) {
    using Devices = InputCapabilities::Devices;
    const std::string listener = "Keys: only in applications that pass them to the accessibility bus (GTK, Qt).";
    switch (input.devices) {
    case Devices::notNeeded:
        return {};
    case Devices::read:
        if (input.keys == InputCapabilities::Keys::everyApplication)
            return "Keys: every key, read from your keyboards (you are in the group input, which lets every program "
                   "you run read them).";
        return listener;
    case Devices::unreadable:
        return listener +
               " To count keys in every application, let your programs read the keyboards: " + kEnableInputDevices +
               ", then log out and in again. Every program you run could then read every key you type, passwords "
               "too.";
    case Devices::absent:
        return listener;
    }
    return {};
}

CalendarMonth calendarMonth() {
    // January of the band's year, which begins on a Monday.
    return {{"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"}, 0, 31};
}

int nextHighlightedDay(int day, const CalendarMonth& month) {
    if (day < 1 || day >= month.dayCount)
        return 1;
    return day + 1;
}

} // namespace tavrin::views::ftue
