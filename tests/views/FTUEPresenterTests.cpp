#include <gtest/gtest.h>

#include "platform/PlatformProfile.h"
#include "views/presenters/FTUEPresenter.h"

namespace tavrin::views::ftue {
namespace {

using Step = FTUEState::Step;

FTUEState at(Step step, std::int64_t counter = 0, bool accessibility = false) {
    FTUEState state;
    state.currentStep = step;
    state.commandRCounter = counter;
    state.accessibilityPermissionGranted = accessibility;
    return state;
}

TEST(FTUENavigationTest, OffersTheButtonOfEachStep) {
    const NavigationButton next{"Next", ButtonStyle::primary};
    for (const auto step : {Step::welcome, Step::personalization, Step::productivityPotential}) {
        EXPECT_EQ(navigationButton(at(step)), next);
        EXPECT_EQ(navigationButton(at(step, 7, true)), next); // nothing else matters there
    }

    // The practice: nothing before the first press, a way out while it runs, a cheer at the end.
    EXPECT_EQ(navigationButton(at(Step::howToUseTavrin, 0)), std::nullopt);
    for (const std::int64_t counter : {1, 2, 3})
        EXPECT_EQ(navigationButton(at(Step::howToUseTavrin, counter)),
                  (NavigationButton{"Skip", ButtonStyle::secondary}));
    for (const std::int64_t counter : {4, 5, 40}) // the one that pulses
        EXPECT_EQ(navigationButton(at(Step::howToUseTavrin, counter)),
                  (NavigationButton{"Let's Do This!", ButtonStyle::primary, true}));
    EXPECT_EQ(navigationButton(at(Step::howToUseTavrin, 0, true)), std::nullopt);

    // The last step cannot be left without the accessibility permission, whatever else holds.
    FTUEState privacy = at(Step::privacySetup, 4);
    privacy.screenRecordingPermissionGranted = true;
    EXPECT_EQ(navigationButton(privacy), std::nullopt);
    privacy.accessibilityPermissionGranted = true;
    EXPECT_EQ(navigationButton(privacy), next);
}

TEST(FTUEFrameTest, TextFollowsTheDesktopFontAndTheFrameGrowsWithLargerText) {
    EXPECT_EQ(textPixels(TextStyle::largeTitle, 14), 34); // as drawn
    EXPECT_EQ(textPixels(TextStyle::body, 14), 14);
    EXPECT_EQ(textPixels(TextStyle::largeTitle, 21), 51);
    EXPECT_EQ(textPixels(TextStyle::footnote, 21), 18);
    EXPECT_EQ(textPixels(TextStyle::title2, 12), 19); // a smaller desktop font: smaller text
    EXPECT_EQ(textPixels(TextStyle::body, 0), 14);    // no font known: as drawn

    EXPECT_EQ(frameSize(14), (ScreenArea{1100, 600}));
    EXPECT_EQ(frameSize(10), (ScreenArea{1100, 600})); // never smaller than drawn
    EXPECT_EQ(frameSize(21), (ScreenArea{1650, 900}));
    EXPECT_DOUBLE_EQ(layoutScale(21), 1.5);
    // Then fitted to the screen like any frame.
    EXPECT_DOUBLE_EQ(frameScale(ScreenArea{1280, 800}, frameSize(21)), 1280.0 / 1650);
    EXPECT_DOUBLE_EQ(frameScale(ScreenArea{2560, 1400}, frameSize(21)), 1.0);
}

TEST(FTUEFrameTest, ScalesDownToTheVisibleAreaAndNeverUp) {
    EXPECT_DOUBLE_EQ(frameScale(ScreenArea{1100, 600}), 1.0);
    EXPECT_DOUBLE_EQ(frameScale(ScreenArea{2560, 1400}), 1.0);
    EXPECT_DOUBLE_EQ(frameScale(ScreenArea{1024, 768}), 1024.0 / 1100); // width binds
    EXPECT_DOUBLE_EQ(frameScale(ScreenArea{1280, 480}), 0.8);           // height binds
    EXPECT_DOUBLE_EQ(frameScale(ScreenArea{550, 300}), 0.5);
    // No screen, or one without a size, leaves the frame as it is.
    EXPECT_DOUBLE_EQ(frameScale(std::nullopt), 1.0);
    EXPECT_DOUBLE_EQ(frameScale(ScreenArea{0, 0}), 1.0);
    EXPECT_DOUBLE_EQ(frameScale(ScreenArea{1280, -5}), 1.0);
}

TEST(FTUEPracticeTest, TicksAnIndicatorForEachPressAfterTheFirst) {
    const auto indicators = [](std::int64_t counter) {
        std::string marks;
        for (const auto& i : practicePanel(at(Step::howToUseTavrin, counter)).indicators)
            marks += i.state == IndicatorState::done ? 'x' : i.state == IndicatorState::next ? '>' : '.';
        return marks;
    };
    EXPECT_EQ(indicators(0), "...");
    EXPECT_EQ(indicators(1), ">..");
    EXPECT_EQ(indicators(2), "x>.");
    EXPECT_EQ(indicators(3), "xx>");
    EXPECT_EQ(indicators(4), "xxx");
    EXPECT_EQ(indicators(9), "xxx");

    const auto numbers = practicePanel(at(Step::howToUseTavrin)).indicators;
    ASSERT_EQ(numbers.size(), 3u);
    EXPECT_EQ(numbers[0].number, 1);
    EXPECT_EQ(numbers[2].number, 3);

    // The encouragement appears from the second press and counts down to the goal.
    EXPECT_FALSE(practicePanel(at(Step::howToUseTavrin, 1)).remainingVisible);
    const auto second = practicePanel(at(Step::howToUseTavrin, 2));
    EXPECT_TRUE(second.remainingVisible);
    EXPECT_EQ(second.remainingText, "Great! 2 more to go!");
    EXPECT_EQ(practicePanel(at(Step::howToUseTavrin, 3)).remainingText, "Great! 1 more to go!");
    EXPECT_FALSE(second.finished);
    EXPECT_TRUE(practicePanel(at(Step::howToUseTavrin, 4)).finished);
    EXPECT_TRUE(practicePanel(at(Step::howToUseTavrin, 6)).finished);
}

TEST(FTUEPracticeTest, ShowsTheBrowserShortcutsWithThePlatformsKeys) {
    const auto linuxList = recommendedShortcuts(at(Step::howToUseTavrin), PlatformProfile::linuxDesktop());
    ASSERT_EQ(linuxList.size(), 3u);
    EXPECT_EQ(linuxList[0], (ChromeShortcut{"Refresh", "control + r", true})); // the one to practise
    EXPECT_EQ(linuxList[1], (ChromeShortcut{"New Tab", "control + t"}));
    EXPECT_EQ(linuxList[2], (ChromeShortcut{"Close Tab", "control + w"}));
    EXPECT_EQ(recommendedShortcuts(at(Step::howToUseTavrin), PlatformProfile::macOS())[0],
              (ChromeShortcut{"Refresh", "command + r", true}));

    // Once Refresh is learned, the next suggestions take its place.
    const auto after = recommendedShortcuts(at(Step::howToUseTavrin, 4), PlatformProfile::linuxDesktop());
    ASSERT_EQ(after.size(), 3u);
    EXPECT_EQ(after[0].name, "New Tab");
    EXPECT_EQ(after[2], (ChromeShortcut{"Go to Address Bar", "control + l"}));
    EXPECT_FALSE(after[0].isHighlighted);
}

TEST(FTUEScreensTest, ShowTheEstimateAndPermissionsFromTheState) {
    FTUEState state = at(Step::productivityPotential);
    EXPECT_TRUE(savingsRows(state).empty()); // until it is calculated
    EXPECT_TRUE(calculatePulses(state));
    state.potentialTimeSavings = FTUEDomain::timeSavings(0);
    EXPECT_FALSE(calculatePulses(state));
    ASSERT_EQ(savingsRows(state).size(), 3u);
    EXPECT_EQ(savingsRows(state)[0], (SavingsRow{"clock", "0 minutes per day"}));
    state.potentialTimeSavings = FTUEDomain::timeSavings(6);
    const auto rows = savingsRows(state);
    EXPECT_EQ(rows[0].text, "30 minutes per day");
    EXPECT_EQ(rows[1], (SavingsRow{"calendar", "15 hours per month"}));
    EXPECT_EQ(rows[2], (SavingsRow{"hourglass", "7 days per year"}));

    state.screenRecordingPermissionGranted = true;
    EXPECT_FALSE(accessibilityItem(state).isGranted);
    EXPECT_TRUE(accessibilityItem(state).buttonPulses); // the permission Tavrin needs
    EXPECT_FALSE(screenRecordingItem(state).buttonPulses);
    EXPECT_TRUE(screenRecordingItem(state).isGranted);
    EXPECT_EQ(accessibilityItem(state).buttonTitle, "Grant Accessibility Permission");
    EXPECT_EQ(screenRecordingItem(state).icon, "display");
    state.accessibilityPermissionGranted = true;
    EXPECT_FALSE(accessibilityItem(state).buttonPulses);

    EXPECT_EQ(restartNotice({}), "");
    EXPECT_EQ(restartNotice({"Chromium Web Browser", "Mousepad"}),
              "Restart these applications once so that Tavrin can see their buttons: Chromium Web Browser, Mousepad.");

    // Where the keys come from: nothing to say on X11; on Wayland the source, its cost, the command.
    using Devices = InputCapabilities::Devices;
    EXPECT_EQ(keySourceNotice({}), "");
    EXPECT_EQ(
        keySourceNotice({.keys = InputCapabilities::Keys::accessibleApplications, .devices = Devices::unreadable}),
        "Keys: only in applications that pass them to the accessibility bus (GTK, Qt). To count keys in every "
        "application, let your programs read the keyboards: sudo usermod -aG input $USER, then log out and in "
        "again. Every program you run could then read every key you type, passwords too.");
    EXPECT_EQ(keySourceNotice({.keys = InputCapabilities::Keys::accessibleApplications, .devices = Devices::read}),
              "Keys: only in applications that pass them to the accessibility bus (GTK, Qt).")
        << "readable, but without a keymap the listener's keys are counted";
}

TEST(FTUECalendarTest, MovesTheHighlightThroughTheMonthAndWraps) {
    const auto month = calendarMonth();
    EXPECT_EQ(nextHighlightedDay(1, month), 2);
    EXPECT_EQ(nextHighlightedDay(30, month), 31);
    EXPECT_EQ(nextHighlightedDay(31, month), 1);
    EXPECT_EQ(nextHighlightedDay(0, month), 1); // before the first tick
}

} // namespace
} // namespace tavrin::views::ftue
