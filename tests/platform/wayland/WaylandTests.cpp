#include <gtest/gtest.h>

#include <X11/keysym.h>
#include <chrono>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

#include "app/SessionReport.h"
#include "platform/wayland/AccessibilityBusEvents.h"
#include "platform/wayland/ActiveWindow.h"
#include "platform/wayland/ForeignToplevels.h"
#include "platform/wayland/InputDevices.h"
#include "platform/fake/VirtualScheduler.h"
#include "platform/wayland/WaylandDesktop.h"
#include "platform/wayland/WaylandInputMonitor.h"
#include "support/TempDir.h"

namespace tavrin {

void PrintTo(const KeyEvent& e, std::ostream* out); // X11KeysTests.cpp

namespace {

constexpr std::uint64_t command = ModifierFlags::command, control = ModifierFlags::control,
                        shift = ModifierFlags::shift;
constexpr std::uint32_t kShift = 1, kControl = 4, kNumLock = 16;

KeyEvent flagsChanged(std::uint64_t flags) {
    return {KeyEvent::Type::flagsChanged, std::nullopt, false, flags};
}
KeyEvent down(const char* key, std::uint64_t flags, bool repeat = false) {
    return {KeyEvent::Type::keyDown, key, repeat, flags};
}
KeyEvent up(const char* key, std::uint64_t flags) {
    return {KeyEvent::Type::keyUp, key, false, flags};
}
using Events = std::vector<KeyEvent>;

// What the accessibility bus's key listener delivered on the sway desktop (mousepad focused): the
// mask is the state before each key, the keysym the one the toolkit saw.
TEST(WaylandKeysTest, TheListenersRecordedStreamGivesTheKeyMonitorsEvents) {
    struct Step {
        ForwardedKey key;
        Events expected;
        const char* what;
    };
    const std::vector<Step> steps = {
        {{true, XK_Control_L, kNumLock}, {flagsChanged(control)}, "Ctrl's own press; Num Lock is no modifier"},
        {{true, XK_n, kControl | kNumLock}, {down("n", control)}, "Ctrl+N"},
        {{true, XK_n, kControl}, {down("n", control, true)}, "held: a repeat"},
        {{false, XK_n, kControl}, {up("n", control)}, ""},
        {{true, XK_Z, kControl | kShift},
         {flagsChanged(control | shift), down("z", control | shift)},
         "Shift held before the start shows with the next key; Shift's upper case is the key's z"},
        {{false, XK_z, kControl | kShift}, {up("z", control | shift)}, "released as the lower case: the same key"},
        {{true, XK_z, kControl | kShift}, {down("z", control | shift)}, "so the next press is no repeat"},
        {{false, XK_Control_L, kControl | kShift}, {flagsChanged(shift)}, "Ctrl's release"},
        {{true, XK_Super_L, 0}, {flagsChanged(command)}, "Super is command; Shift's release was never seen"},
    };
    ForwardedKeyTranslator keys;
    for (const auto& step : steps)
        EXPECT_EQ(keys.translate(step.key), step.expected) << step.what;
}

// Keys as the input devices give them (evdev codes; 1 press, 2 repeat, 0 release), named by the
// layout's keymap: the same keys give other names on another layout, modifiers come from the
// keymap's state.
TEST(WaylandKeysTest, TheDevicesRecordedStreamIsNamedByTheLayout) {
    enum : unsigned { kCtrl = 29, kShiftKey = 42, kSuper = 125, kZ = 44, kOne = 2, kF5 = 63, kCaps = 58 };
    struct Step {
        unsigned code;
        int value;
        Events expected;
    };
    struct Row {
        const char* layout;
        std::vector<Step> steps;
    };
    const std::vector<Row> rows = {
        {"us",
         {{kCtrl, 1, {flagsChanged(control)}},
          {kZ, 1, {down("z", control)}},
          {kZ, 2, {down("z", control, true)}},
          {kZ, 0, {up("z", control)}},
          {kCtrl, 0, {flagsChanged(0)}},
          {kShiftKey, 1, {flagsChanged(shift)}},
          {kOne, 1, {down("1", shift)}}, // the key's own text, not the shifted "!"
          {kShiftKey, 0, {flagsChanged(0)}},
          {kOne, 0, {up("1", 0)}},
          {kCaps, 1, {down("caps_lock", 0)}}, // a key as on X11, but no modifier of a shortcut:
          {kCaps, 0, {up("caps_lock", 0)}},
          {kZ, 1, {down("z", 0)}}, // locked, it adds no Shift
          {kZ, 0, {up("z", 0)}},
          {kSuper, 1, {flagsChanged(command)}},
          {kF5, 1, {down("f5", command)}}}},
        {"de", {{kCtrl, 1, {flagsChanged(control)}}, {kZ, 1, {down("y", control)}}, {kZ, 0, {up("y", control)}}}},
        {"fr", {{kShiftKey, 1, {flagsChanged(shift)}}, {kOne, 1, {down("&", shift)}}}},
    };
    for (const auto& row : rows) {
        const auto keys = DeviceKeyTranslator::fromLayout(row.layout);
        ASSERT_NE(keys, nullptr) << row.layout;
        for (const auto& step : row.steps)
            EXPECT_EQ(keys->translate(step.code, step.value), step.expected) << row.layout << " " << step.code;
    }
    EXPECT_EQ(DeviceKeyTranslator::fromKeymap("xkb_keymap { nonsense"), nullptr);
}

WindowEvent event(WindowEvent::Kind kind, const char* path, const char* name = "") {
    WindowEvent e{kind, ":1.5", path, name};
    if (kind == WindowEvent::Kind::activate) {
        e.pid = 42;
        e.application = "mousepad";
    }
    return e;
}

TEST(WaylandActiveWindowTest, FollowsTheLastActivatedWindowAndItsTitle) {
    using K = WindowEvent::Kind;
    struct Step {
        WindowEvent event;
        bool changed;
        std::optional<std::string> title; // of the window in front; none: no window
        const char* what;
    };
    const std::vector<Step> steps = {
        {event(K::activate, "/w/1", "Untitled 1 - Mousepad"), true, "Untitled 1 - Mousepad", ""},
        {event(K::activate, "/w/1", "Untitled 1 - Mousepad"), false, "Untitled 1 - Mousepad", "again: no news"},
        {event(K::nameChanged, "/w/1", "Untitled 2 - Mousepad"), true, "Untitled 2 - Mousepad", "a new title"},
        {event(K::nameChanged, "/w/1/status", "File menu"), false, "Untitled 2 - Mousepad", "another object's name"},
        {event(K::activate, "/w/2", "Pick a Font"), true, "Pick a Font", "a dialog comes to the front"},
        {event(K::deactivate, "/w/1"), false, "Pick a Font", "the old window's deactivation, late"},
        {event(K::deactivate, "/w/2"), true, std::nullopt, "nothing in front"},
        {event(K::activate, "/w/1", "Untitled 2 - Mousepad"), true, "Untitled 2 - Mousepad", ""},
        {event(K::destroy, "/w/1"), true, std::nullopt, "the window went"},
    };
    ActiveWindow active;
    for (const auto& step : steps) {
        EXPECT_EQ(active.apply(step.event), step.changed) << step.what;
        ASSERT_EQ(active.current().has_value(), step.title.has_value()) << step.what;
        if (step.title) {
            EXPECT_EQ(active.current()->title, *step.title) << step.what;
            EXPECT_EQ(active.current()->pid, 42) << step.what;
        }
    }
}

// Menu learning and the clicked element's application need the processes of the accessible
// applications: those seen activated, as long as they run; the one in front is the last activated.
TEST(WaylandActiveWindowTest, TheActivatedApplicationsAreKnownByProcessWhileTheyRun) {
    const pid_t ended = fork();
    if (ended == 0)
        _exit(0);
    waitpid(ended, nullptr, 0);
    VirtualScheduler queue;
    WaylandDesktop desktop(queue, "sway");
    auto gone = event(WindowEvent::Kind::activate, "/w/1");
    gone.pid = ended;
    auto editor = event(WindowEvent::Kind::activate, "/w/2");
    editor.pid = getpid();
    desktop.windowEvent(editor);
    desktop.windowEvent(gone);
    EXPECT_EQ(desktop.frontProcess(), ended);
    const auto running = desktop.accessibleApplications();
    ASSERT_EQ(running.size(), 1u);
    EXPECT_EQ(running[0].pid, getpid());
    EXPECT_EQ(running[0].displayName, desktop.displayName("mousepad", getpid()));
}

TEST(WaylandSessionTest, SaysWhatEachSessionLetsTavrinSee) {
    struct Row {
        SessionCapabilities capabilities;
        std::vector<std::string> expected;
    };
    using Devices = InputCapabilities::Devices;
    const InputCapabilities x11;
    const std::vector<Row> rows = {
        {{"X11", true, x11},
         {"Session: X11", "  Application in front: yes", "  Keys: every application (the X server)",
          "  Clicks: every application"}},
        {{"Wayland (sway)", true, WaylandInputMonitor::capabilitiesWith(true, Devices::unreadable)},
         {"Session: Wayland (sway)", "  Application in front: yes",
          "  Keys: the applications that pass their keys to the accessibility bus (GTK, Qt), from the accessibility "
          "bus's key listener; keys typed in other applications are not counted",
          "  Clicks: X11 applications (XWayland) only; clicks in Wayland applications are not counted yet",
          "  Input devices: not readable. They would give every key in every application and the moment of each "
          "click, but the group that allows it (`input`) lets every program you run read every key you type, "
          "passwords too. To allow it: sudo usermod -aG input $USER, then log out and in again"}},
        {{"Wayland (GNOME)", false, WaylandInputMonitor::capabilitiesWith(false, Devices::read)},
         {"Session: Wayland (GNOME)", "  Application in front: yes; the window title only of the window in front",
          "  Keys: every application (the input devices, named with the compositor's keymap)",
          "  Clicks: none can be seen in this session (no XWayland); keys and the application in front still count",
          "  Input devices: read, as a member of the group `input`, which lets every program you run read every key "
          "you type (`sudo gpasswd -d $USER input` and a new login take it back)"}},
        {{"Wayland", true, WaylandInputMonitor::capabilitiesWith(false, Devices::absent)},
         {"Session: Wayland", "  Application in front: yes",
          "  Keys: the applications that pass their keys to the accessibility bus (GTK, Qt), from the accessibility "
          "bus's key listener; keys typed in other applications are not counted",
          "  Clicks: none can be seen in this session (no XWayland); keys and the application in front still count",
          "  Input devices: none on this machine (/dev/input)"}},
        {{}, {"Session: none (neither DISPLAY nor WAYLAND_DISPLAY is set): nothing is watched here."}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(describeSession(row.capabilities), row.expected) << row.capabilities.session;
}

// A compositor or an accessibility bus that is not there: a reason, no hang.
TEST(WaylandSessionTest, MissingCompositorAndBusAreReportedWithoutWaiting) {
    testing::TempDir runtime;
    setenv("XDG_RUNTIME_DIR", runtime.path().c_str(), 1);
    setenv("WAYLAND_DISPLAY", "wayland-0", 1);
    std::string problem;
    EXPECT_EQ(ForeignToplevels::connect([] {}, problem), nullptr);
    EXPECT_EQ(problem, "no Wayland compositor answers (WAYLAND_DISPLAY)");
    unsetenv("WAYLAND_DISPLAY");
    unsetenv("XDG_RUNTIME_DIR");

    const char* saved = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    const std::string previous = saved ? saved : "";
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/tavrin-test-bus", 1);
    const auto start = std::chrono::steady_clock::now();
    {
        AccessibilityBusEvents events({.window = [](const WindowEvent&) {}, .key = [](const ForwardedKey&) {}});
        EXPECT_FALSE(events.connected());
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << "the stop does not wait on it";
    if (saved)
        setenv("DBUS_SESSION_BUS_ADDRESS", previous.c_str(), 1);
    else
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

} // namespace
} // namespace tavrin
