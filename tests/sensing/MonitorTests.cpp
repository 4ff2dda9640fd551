#include <gtest/gtest.h>

#include "platform/fake/FakeDesktop.h"
#include "platform/fake/VirtualScheduler.h"
#include "sensing/AccessibilityManager.h"
#include "sensing/GlobalKeyMonitor.h"
#include "support/CapturingLogSink.h"
#include "support/Fakes.h"

namespace tavrin {

namespace {

using KeySet = GlobalKeyMonitor::KeySet;

KeyEvent down(std::string key, std::uint64_t flags = 0, bool repeat = false) {
    return {KeyEvent::Type::keyDown, std::move(key), repeat, flags};
}
KeyEvent up(std::string key) {
    return {KeyEvent::Type::keyUp, std::move(key), false, 0};
}
KeyEvent flags(std::uint64_t value) {
    return {KeyEvent::Type::flagsChanged, std::nullopt, false, value};
}

struct GlobalKeyMonitorTest : ::testing::Test {
    VirtualScheduler clock;
    testing::FakeInput input;
    GlobalKeyMonitor monitor{input, clock};
    std::vector<KeySet> reported;

    GlobalKeyMonitorTest() {
        monitor.keyEventHandler = [this](const KeySet& keys) { reported.push_back(keys); };
        monitor.start();
    }
};

TEST_F(GlobalKeyMonitorTest, CommandCombinationsComeBeforeTheHeldSet) {
    input.key(flags(ModifierFlags::command));
    input.key(down("C", ModifierFlags::command));
    input.key(down("c", ModifierFlags::command, true)); // auto-repeat: no combination
    input.key(flags(ModifierFlags::command | ModifierFlags::shift));
    input.key(up("c"));
    input.key(flags(0));
    input.key(up("x")); // never recorded
    EXPECT_EQ(reported, (std::vector<KeySet>{{"command"},
                                             {"command + c"},
                                             {"command", "c"},
                                             {"command", "c"},
                                             {"command", "c", "shift"},
                                             {"command", "shift"},
                                             {},
                                             {}}));
    // Only command makes a combination.
    input.key(flags(ModifierFlags::control | ModifierFlags::option));
    input.key(down("t", ModifierFlags::control | ModifierFlags::option));
    EXPECT_EQ(reported.back(), (KeySet{"control", "option", "t"}));
    EXPECT_EQ(reported.size(), 10u);
}

TEST_F(GlobalKeyMonitorTest, AHeldKeyExpiresLazilyAfterThreeSeconds) {
    input.key(down("c"));
    clock.advance(Duration{3.0});
    input.key(down("c", 0, true)); // exactly 3.0 s old: kept
    EXPECT_EQ(reported.back(), (KeySet{"c"}));
    clock.advance(Duration{0.0005});
    input.key(down("c", 0, true)); // half a millisecond more: forgotten, repeats do not renew it
    EXPECT_EQ(reported.back(), KeySet{});
    input.key(down("c", 0, true));
    EXPECT_EQ(reported.back(), KeySet{});

    // Each modifier event renews the time of every held modifier.
    input.key(flags(ModifierFlags::shift));
    clock.advance(Duration{2.5});
    input.key(flags(ModifierFlags::shift | ModifierFlags::option));
    clock.advance(Duration{2.5});
    input.key(down("k"));
    EXPECT_EQ(reported.back(), (KeySet{"k", "option", "shift"}));
}

TEST_F(GlobalKeyMonitorTest, StopRemovesTheMonitorAndKeepsTheHeldSet) {
    input.key(down("a"));
    monitor.stop();
    input.key(down("b"));
    EXPECT_EQ(monitor.pressedKeys(), KeySet{"a"});
    EXPECT_TRUE(input.keys.empty());

    testing::FakeInput refusing;
    refusing.refuse = true;
    GlobalKeyMonitor silent(refusing, clock);
    silent.start(); // a refused monitor leaves that direction silent
    silent.stop();
    refusing.refuse = false;
    silent.start();
    EXPECT_EQ(refusing.keys.size(), 1u) << "a refused start may be tried again";
}

struct AccessibilityManagerTest : ::testing::Test {
    VirtualScheduler scheduler;
    FakeDesktop desktop;
    testing::ScopedLogCapture log;
    AccessibilityManager manager{desktop, desktop, scheduler, PlatformProfile::macOS()};
    std::vector<PlaceReport> reports;

    AccessibilityManagerTest() {
        manager.setOnStateChange([this](const PlaceReport& r) { reports.push_back(r); });
    }
};

TEST_F(AccessibilityManagerTest, QuickSwitchesGiveOneReportOfWhereTheyEnded) {
    desktop.frontApp = "Mail";
    manager.startMonitoring();
    scheduler.advance(Duration{1.0}); // first poll
    scheduler.advance(Duration{0.3});
    EXPECT_EQ(reports, (std::vector<PlaceReport>{{"Mail", std::nullopt}}));

    desktop.activate("Notes", {});
    scheduler.advance(Duration{0.1});
    desktop.activate("Mail", {});
    scheduler.advance(Duration{0.29});
    EXPECT_EQ(reports.size(), 1u) << "the debounce restarted at the second switch";
    scheduler.advance(Duration{0.01});
    EXPECT_EQ(reports, (std::vector<PlaceReport>{{"Mail", std::nullopt}, {"Mail", std::nullopt}}))
        << "a change and its reversal still report, the state as it ended";

    scheduler.advance(Duration{5.0}); // polls find nothing new
    EXPECT_EQ(reports.size(), 2u);
}

TEST_F(AccessibilityManagerTest, BrowsersReportTheLastPieceOfTheFrontWindowTitle) {
    manager.startMonitoring();
    desktop.activate("Google Chrome", {{"Dock", "Dock"},
                                       {"google chrome", "Inbox (3) - me@example.com - Gmail  "},
                                       {"Google Chrome", "Older window - News"}});
    scheduler.advance(Duration{0.3});
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports.back(), (PlaceReport{"Google Chrome", "Gmail"}));

    desktop.windows = std::vector<WindowInfo>{{"Google Chrome", "Docs"}};
    scheduler.advance(Duration{1.3});
    EXPECT_EQ(reports.back(), (PlaceReport{"Google Chrome", "Docs"})) << "a title without \" - \" is the site";

    desktop.windows = std::vector<WindowInfo>{{"Google Chrome", "Pull requests - - Hub"}};
    scheduler.advance(Duration{1.3});
    EXPECT_EQ(reports.back(), (PlaceReport{"Google Chrome", "- Hub"})) << "pieces are cut from the left";

    desktop.windows = std::vector<WindowInfo>{{"Google Chrome", "Something - "}};
    scheduler.advance(Duration{1.3});
    EXPECT_EQ(reports.back(), (PlaceReport{"Google Chrome", ""})) << "a present, empty site";

    desktop.windows = std::vector<WindowInfo>{{"Google Chrome", std::nullopt}, {"Google Chrome", ""}};
    scheduler.advance(Duration{3.0});
    EXPECT_EQ(reports.size(), 4u) << "no titled window: the earlier report stands";
    EXPECT_EQ(manager.currentState(), (PlaceReport{"Google Chrome", ""}));

    desktop.activate("Chrome \u00E9dition", {{"CHROME \u00C9DITION", "Inbox - Gmail\u00A0\u3000"}});
    scheduler.advance(Duration{0.3});
    EXPECT_EQ(reports.back(), (PlaceReport{"Chrome \u00E9dition", "Gmail"}))
        << "owner names compare in Unicode lower case; a title loses Unicode white space at its ends";

    desktop.activate("Knowledge Hedge", {});
    scheduler.advance(Duration{0.3});
    EXPECT_EQ(reports.size(), 5u) << "\"edge\" inside a word makes a browser, and it has no titled window";
}

TEST_F(AccessibilityManagerTest, APermissionGrantedAfterTenSecondsStartsMonitoring) {
    std::vector<bool> answers;
    manager.requestPermission([&](bool granted) { answers.push_back(granted); });
    EXPECT_EQ(desktop.trustPrompts, 1);
    manager.waitForPermission([&](bool granted) { answers.push_back(granted); });
    EXPECT_EQ(answers, (std::vector<bool>{false})) << "a second wait answers false at once";
    EXPECT_TRUE(manager.isWaitingForPermissions());

    scheduler.advance(Duration{9.9});
    desktop.trusted = true;
    scheduler.advance(Duration{0.1});
    EXPECT_EQ(answers, (std::vector<bool>{false, true}));
    EXPECT_FALSE(manager.isWaitingForPermissions());
    EXPECT_EQ(desktop.activationObserverCount(), 1u) << "monitoring started";
    EXPECT_EQ(log->printed().back(), "Accessibility permissions granted after waiting");

    manager.requestPermission([&](bool granted) { answers.push_back(granted); });
    EXPECT_EQ(answers.back(), true);
    EXPECT_EQ(desktop.trustPrompts, 1) << "no prompt when trusted";
    EXPECT_EQ(log->printed().back(), "Accessibility permissions already granted");
}

// Runs every timer twice as late as asked, like a main thread kept busy elsewhere.
class SluggishQueue final : public MainQueue {
public:
    explicit SluggishQueue(VirtualScheduler& scheduler) : scheduler_(scheduler) {}
    void post(Task task) override { scheduler_.post(std::move(task)); }
    TimerId postAfter(Duration delay, Task task) override { return scheduler_.postAfter(delay * 2, std::move(task)); }
    void cancelTimer(TimerId id) override { scheduler_.cancelTimer(id); }
    Duration monotonicNow() const override { return scheduler_.monotonicNow(); }

private:
    VirtualScheduler& scheduler_;
};

TEST_F(AccessibilityManagerTest, TheWaitGivesUpAfterSixtySecondsOnTheClockNotInPolls) {
    std::optional<bool> answer, late;
    SluggishQueue sluggish(scheduler);
    AccessibilityManager lateManager(desktop, desktop, sluggish, PlatformProfile::macOS());
    lateManager.waitForPermission([&](bool granted) { late = granted; });
    manager.waitForPermission([&](bool granted) { answer = granted; });
    scheduler.advance(Duration{60.0});
    EXPECT_FALSE(answer) << "at exactly 60 s it goes on";
    scheduler.advance(Duration{0.5});
    EXPECT_EQ(answer, false);
    EXPECT_EQ(log->printed().back(), "Timed out waiting for accessibility permissions");
    scheduler.advance(Duration{0.5});
    EXPECT_EQ(late, false) << "61 s on the clock have passed, though the late polls add up to half of that";

    answer.reset();
    manager.waitForPermission([&](bool granted) { answer = granted; });
    manager.cancelWait();
    EXPECT_EQ(answer, false);
    EXPECT_EQ(log->printed().back(), "Waiting for accessibility permissions was cancelled");
}

} // namespace
} // namespace tavrin
