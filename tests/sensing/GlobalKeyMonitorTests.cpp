#include <gtest/gtest.h>

#include "platform/fake/VirtualScheduler.h"
#include "sensing/GlobalKeyMonitor.h"
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
    EXPECT_EQ(reported, (std::vector<KeySet>{
                            {"command"},
                            {"command + c"},
                            {"command", "c"},
                            {"command", "c"},
                            {"command", "c", "shift"},
                            {"command", "shift"},
                            {},
                            {},
                        }));
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
    SUCCEED();
}

} // namespace
} // namespace tavrin
