#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "platform/linux/DesktopEntries.h"
#include "support/TempDir.h"

namespace tavrin {
namespace {

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

} // namespace
} // namespace tavrin
