#include <gtest/gtest.h>

#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <X11/keysym.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/common/JsonFileUserDefaults.h"
#include "platform/linux/DesktopEntries.h"
#include "platform/linux/FileWatcher.h"
#include "platform/linux/InstanceLock.h"
#include "platform/linux/X11Keys.h"
#include "support/TempDir.h"

namespace tavrin {

void PrintTo(const KeyEvent& e, std::ostream* out) {
    *out << "{type " << static_cast<int>(e.type) << ", " << e.characters.value_or("-") << ", repeat " << e.isRepeat
         << ", flags 0x" << std::hex << e.modifierFlags << "}";
}

namespace {

constexpr int kSuper = 133, kShiftL = 50, kShiftR = 62, kC = 54, kT = 28;
constexpr std::uint64_t command = ModifierFlags::command, shift = ModifierFlags::shift;

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

TEST(X11KeysTest, ModifierBitsOfTheKeymapGiveTheCatalogueFlags) {
    const ModifierMasks masks{
        .command = Mod4Mask, .control = ControlMask, .option = Mod1Mask | Mod5Mask, .shift = ShiftMask};
    EXPECT_EQ(modifierFlags(Mod4Mask | ShiftMask, masks), command | shift);
    EXPECT_EQ(modifierFlags(Mod5Mask, masks), ModifierFlags::option) << "AltGr is option";
    EXPECT_EQ(modifierFlags(LockMask | Mod2Mask, masks), 0u) << "Caps Lock and Num Lock are no modifiers here";
    EXPECT_EQ(modifierFlag(XK_Super_L), command);
    EXPECT_EQ(keyText(XK_C), "c");
    EXPECT_EQ(keyText(XK_Return), "return");
    EXPECT_EQ(keyText(XK_space), "space") << "as the catalogue writes it: a blank would never match";
    EXPECT_EQ(keyText(XK_eacute), "\u00e9");
    EXPECT_EQ(keyText(XK_Cyrillic_ve), "\u0432") << "beyond Latin-1, the character too";
    EXPECT_EQ(keyText(XK_KP_Add), "kp_add") << "the keypad by its name, not its character";
}

// Sequences of raw keys (pressed or released) and keyboard states (the modifiers XKB reports),
// each step with the events it gives. Without XKB the flags come from the keys alone.
TEST(X11KeysTest, SequencesGiveTheirEvents) {
    enum Kind { press, release, keyboard };
    struct Step {
        Kind kind;
        int keycode; // for keyboard: the modifier flags
        KeySym sym;
        Events events;
    };
    const std::vector<std::pair<const char*, std::vector<Step>>> sequences = {
        {"a lost release leaves no modifier behind",
         {{keyboard, 0, 0, {}},            // nothing held at the start
          {press, kSuper, XK_Super_L, {}}, // the keyboard's state tells the change
          {keyboard, command, 0, {flagsChanged(command)}},
          {press, kC, XK_c, {down("c", command)}},
          {release, kC, XK_c, {up("c", command)}},
          // The key events never show Super's release (a VT switch, a grab); the keyboard does.
          {keyboard, 0, 0, {flagsChanged(0)}},
          {press, kT, XK_t, {down("t", 0)}},
          {keyboard, 0, 0, {}}}}, // a change of other modifiers (Caps Lock) says nothing
        {"a modifier held before the start counts",
         {{keyboard, command | shift, 0, {flagsChanged(command | shift)}},
          {press, kC, XK_c, {down("c", command | shift)}},
          {press, kC, XK_c, {down("c", command | shift, true)}}, // a repeat
          {release, kShiftL, XK_Shift_L, {}},
          {keyboard, command, 0, {flagsChanged(command)}}}},
        {"without XKB the flags come from presses and releases",
         {{press, kSuper, XK_Super_L, {flagsChanged(command)}},
          {press, kShiftL, XK_Shift_L, {flagsChanged(command | shift)}},
          {press, kShiftR, XK_Shift_R, {flagsChanged(command | shift)}},
          {release, kShiftL, XK_Shift_L, {flagsChanged(command | shift)}}, // the other Shift still holds
          {press, kC, XK_c, {down("c", command | shift)}},
          {release, kShiftR, XK_Shift_R, {flagsChanged(command)}},
          {release, kSuper, XK_Super_L, {flagsChanged(0)}},
          {release, kSuper, XK_Super_L, {}}, // the same release again
          {release, kC, XK_c, {up("c", 0)}}}}};
    for (const auto& [name, steps] : sequences) {
        KeyEventTranslator keys;
        for (std::size_t i = 0; i < steps.size(); ++i) {
            const auto& step = steps[i];
            EXPECT_EQ(step.kind == keyboard ? keys.keyboardModifiers(static_cast<std::uint64_t>(step.keycode))
                                            : keys.key(step.kind == press, step.keycode, step.sym),
                      step.events)
                << name << ", step " << i + 1;
        }
    }
}

void write(const std::filesystem::path& file, const std::string& text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << text;
}

TEST(DesktopEntriesTest, DisplayNamesComeFromWMClassThenIdThenProgram) {
    testing::TempDir dir;
    const auto user = dir / "user/applications", system = dir / "system/applications";
    write(system / "firefox-esr.desktop",
          "[Desktop Entry]\nType=Application\nName=Firefox ESR\nExec=/usr/lib/firefox-esr/firefox-esr %u\n"
          "StartupWMClass=Firefox-esr\n[Desktop Action new-window]\nName=New Window\n");
    write(system / "chromium.desktop",
          "[Desktop Entry]\nType=Application\nName=Chromium Web Browser\nExec=chromium %U\n");
    write(system / "org.xfce.mousepad.desktop", "[Desktop Entry]\nType=Application\nName=Mousepad\nExec=mousepad %U\n");
    write(system / "kde/org.kde.kate.desktop",
          "[Desktop Entry]\nType=Application\nName=Kate\nExec=env A=1 kate -b %U\n");
    write(system / "gone.desktop", "[Desktop Entry]\nType=Application\nName=Gone\nHidden=true\nExec=gone\n");
    write(system / "link.desktop", "[Desktop Entry]\nType=Link\nName=A link\nURL=https://example.com\n");
    // The user's own entry hides the system's one with the same id.
    write(user / "chromium.desktop", "[Desktop Entry]\nType=Application\nName=My Chromium\nExec=chromium\n");

    const auto index = DesktopEntryIndex::load({user, system, dir / "missing"});
    EXPECT_EQ(index.displayNameFor("Navigator", "firefox-esr"), "Firefox ESR");
    EXPECT_EQ(index.displayNameFor("chromium", "Chromium"), "My Chromium");
    EXPECT_EQ(index.displayNameFor("mousepad", "Mousepad"), "Mousepad") << "the last dotted part of the id";
    EXPECT_EQ(index.displayNameFor("kate", "kate"), "Kate") << "the program of Exec, past env";
    EXPECT_EQ(index.displayNameFor("gone", "Gone"), std::nullopt);
    EXPECT_EQ(index.displayNameFor("unknown", "Unknown"), std::nullopt);
    EXPECT_EQ(index.displayNameFor("", ""), std::nullopt);
}

TEST(DesktopEntriesTest, TheLoginItemIsAnAutostartEntry) {
    testing::TempDir dir;
    const auto folder = dir / "autostart";
    ASSERT_TRUE(setAutostartEntry(folder, "/opt/tavrin/bin/tavrin", true));
    const auto entry = DesktopEntryIndex::parse(folder / "tavrin.desktop", "tavrin");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->exec, "\"/opt/tavrin/bin/tavrin\"");
    EXPECT_EQ(std::system(("desktop-file-validate " + (folder / "tavrin.desktop").string()).c_str()), 0);

    // A build folder with characters the Exec line must escape.
    ASSERT_TRUE(setAutostartEntry(folder, "/home/a b/100% \"$x\"/tavrin", true));
    EXPECT_EQ(DesktopEntryIndex::parse(folder / "tavrin.desktop", "tavrin")->exec,
              "\"/home/a b/100%% \\\"\\$x\\\"/tavrin\"");
    EXPECT_EQ(std::system(("desktop-file-validate " + (folder / "tavrin.desktop").string()).c_str()), 0);
    EXPECT_TRUE(setAutostartEntry(folder, "/opt/tavrin/bin/tavrin", true)) << "twice leaves it as it was";
    EXPECT_TRUE(setAutostartEntry(folder, {}, false));
    EXPECT_FALSE(std::filesystem::exists(folder / "tavrin.desktop"));
    EXPECT_TRUE(setAutostartEntry(folder, {}, false)) << "removing a missing entry succeeds";
}

// Sets an environment variable for the life of a test.
struct ScopedEnv {
    std::string name;
    std::optional<std::string> previous;
    ScopedEnv(std::string n, const char* value) : name(std::move(n)) {
        if (const char* old = std::getenv(name.c_str()))
            previous = old;
        value ? ::setenv(name.c_str(), value, 1) : ::unsetenv(name.c_str());
    }
    ~ScopedEnv() { previous ? ::setenv(name.c_str(), previous->c_str(), 1) : ::unsetenv(name.c_str()); }
};

TEST(InstanceLockTest, OneHolderAtATimeAndTheOthersLearnWhoHoldsIt) {
    testing::TempDir dir;
    std::optional<InstanceLock::Holder> holder;
    std::string problem;
    auto first = InstanceLock::acquire(dir.path(), "app", holder, problem);
    ASSERT_TRUE(first) << problem;
    EXPECT_FALSE(holder);
    EXPECT_EQ(first->socketPath(), dir / "tavrin.sock");

    EXPECT_FALSE(InstanceLock::acquire(dir.path(), "watch", holder, problem));
    ASSERT_TRUE(holder);
    EXPECT_EQ(holder->role, "app");
    EXPECT_EQ(holder->pid, ::getpid());
    EXPECT_EQ(describeHolder(*holder), "the Tavrin application (process " + std::to_string(::getpid()) + ")");

    first.reset();
    auto second = InstanceLock::acquire(dir.path(), "watch", holder, problem);
    EXPECT_TRUE(second);
    EXPECT_FALSE(holder);
}

TEST(InstanceLockTest, AHolderKilledOutrightLeavesTheLockFree) {
    testing::TempDir dir;
    const pid_t child = ::fork();
    if (child == 0) {
        std::optional<InstanceLock::Holder> holder;
        std::string problem;
        auto lock = InstanceLock::acquire(dir.path(), "app", holder, problem);
        ::raise(SIGKILL);
        ::_exit(1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    std::optional<InstanceLock::Holder> holder;
    std::string problem;
    EXPECT_TRUE(InstanceLock::acquire(dir.path(), "app", holder, problem)) << problem;
}

TEST(InstanceLockTest, WithoutARuntimeFolderAPrivateOneIsMadeAndAnOpenOneRefused) {
    testing::TempDir temp;
    ScopedEnv runtime("XDG_RUNTIME_DIR", nullptr);
    ScopedEnv tmp("TMPDIR", temp.path().c_str());
    std::string problem;
    const auto folder = InstanceLock::runtimeDirectory(problem);
    ASSERT_TRUE(folder) << problem;
    EXPECT_EQ(*folder, temp / ("tavrin-" + std::to_string(::getuid())));
    struct stat info {};
    ASSERT_EQ(::stat(folder->c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);

    ::chmod(folder->c_str(), 0755);
    EXPECT_FALSE(InstanceLock::runtimeDirectory(problem));
    EXPECT_NE(problem.find("not a private folder"), std::string::npos) << problem;

    ScopedEnv set("XDG_RUNTIME_DIR", "/run/user/4242");
    EXPECT_EQ(InstanceLock::runtimeDirectory(problem), std::filesystem::path("/run/user/4242"));
}

using namespace std::chrono_literals;

// How a running application hears of a command's change to the preferences.
TEST(FileWatcherTest, AReplacedFileIsReportedAndItsNeighboursAreNot) {
    testing::TempDir dir;
    const auto file = dir / "defaults.json";
    JsonFileUserDefaults app(file), command(file);
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::vector<std::string>> seen;
    app.setChangeHandler([&](const std::vector<std::string>& keys) {
        std::lock_guard lock(mutex);
        seen.push_back(keys);
        changed.notify_all();
    });
    int calls = 0;
    {
        FileWatcher watcher(file, [&] {
            ++calls;
            app.reload();
        });
        std::ofstream(dir / "defaults.json.other") << "{}"; // not the file
        command.setObject(nlohmann::json{{"since", "x"}}, "Pause");
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, 10s, [&] { return !seen.empty(); }));
        EXPECT_EQ(seen.front(), (std::vector<std::string>{"Pause"}));
    }
    const int before = calls;
    command.setObject(std::nullopt, "Pause");
    EXPECT_EQ(calls, before) << "a destroyed watcher calls no more";
}

} // namespace
} // namespace tavrin
