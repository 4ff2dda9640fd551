#include <gtest/gtest.h>

#include "foundation/KeyText.h"

namespace tavrin {
namespace {

using KeyText::canonical;
using KeyText::fromKeyBinding;
using KeyText::isLearnable;
using KeyText::NamedShortcut;
using KeyText::splitName;

TEST(KeyTextTest, ToolkitTextsGiveTheCatalogueKeyText) {
    const std::pair<const char*, const char*> table[] = {
        // GTK accelerators, Qt and menu texts, in any order of the modifiers
        {"<Primary><Shift>z", "control + shift + z"},
        {"Ctrl+Shift+Z", "control + shift + z"},
        {"Shift+Ctrl+Z", "control + shift + z"},
        {"<Shift><Primary>Z", "control + shift + z"},
        {"<Primary>s", "control + s"},
        {"Ctrl+S", "control + s"},
        {"(Ctrl+S)", "control + s"},
        {"<Control>T", "control + t"},
        {"Alt+F4", "option + f4"},
        {"F11", "f11"},
        {"<Super>e", "command + e"},
        {"Meta+Shift+Tab", "command + shift + tab"},
        {"<Primary><Alt>o", "control + option + o"},
        {"Ctrl+Alt+Shift+V", "control + option + shift + v"},
        // Keys named as the key monitor sees them: level 0 of a US keyboard, keysym names
        {"<Control>plus", "control + shift + ="},
        {"Ctrl++", "control + shift + ="},
        {"<Primary>question", "control + shift + /"},
        {"Ctrl+?", "control + shift + /"},
        {"Ctrl+Shift+.", "control + shift + ."},
        {"Ctrl+PgUp", "control + prior"},
        {"<Primary>Page_Down", "control + next"},
        {"Ctrl+Shift+Del", "control + shift + delete"},
        {"Alt+Return", "option + return"},
        {"Ctrl+Space", "control + space"},
        {"<Alt>Left", "option + left"},
        {"<Primary>KP_Add", "control + kp_add"},
    };
    for (const auto& [text, expected] : table)
        EXPECT_EQ(canonical(text), std::optional<std::string>(expected)) << text;
}

TEST(KeyTextTest, TextsThatAreNoShortcutGiveNothing) {
    for (const char* text : {"", "()", "<Primary>", "Ctrl+", "<Hyperdrive>s", "Foo+S", "Save As...", "<Primary",
                             "Ctrl+Page Up", "<Primary>é…"})
        EXPECT_EQ(canonical(text), std::nullopt) << text;
}

TEST(KeyTextTest, OnlyShortcutsWorthTeachingAreLearnable) {
    for (const char* keys : {"control + s", "command + e", "option + f4", "f11", "shift + delete", "option + return",
                             "option + left", "control + option + o"})
        EXPECT_TRUE(isLearnable(keys)) << keys;
    // Mnemonics, plain characters, shift with a character: no shortcut to teach.
    for (const char* keys : {"option + s", "option + shift + s", "n", "delete", "shift + a", "/"})
        EXPECT_FALSE(isLearnable(keys)) << keys;
}

TEST(KeyTextTest, KeyBindingsGiveTheirAcceleratorNotTheMnemonic) {
    EXPECT_EQ(fromKeyBinding("s;<Alt>f:s;<Primary>s"), "control + s");
    EXPECT_EQ(fromKeyBinding("f;<Alt>v:f;F11"), "f11");
    EXPECT_EQ(fromKeyBinding("s;<Alt>f:m:s;<Shift>F11"), "shift + f11");
    EXPECT_EQ(
        fromKeyBinding("t;<Primary><Shift><Alt><Mod2><Mod3><Mod4><Mod5><Meta><Hyper><Super>f:t;<Primary><Shift>t"),
        "control + shift + t");
    EXPECT_EQ(fromKeyBinding("Ctrl+Shift+N"), "control + shift + n");
    EXPECT_EQ(fromKeyBinding(";;<Primary>1"), "control + 1");
    // A menu item without an accelerator, a GTK button's or a Qt item's mnemonic, GTK 4's filler.
    for (const char* binding : {"n;<Alt>f:n;", "<Alt>s", "Alt+R", "Alt+w", "<Space>", ""})
        EXPECT_EQ(fromKeyBinding(binding), std::nullopt) << binding;
}

TEST(KeyTextTest, NamesCarryingTheirShortcutAreSplit) {
    EXPECT_EQ(splitName("Open a new tab (Ctrl+T)"), (NamedShortcut{"Open a new tab", "control + t"}));
    EXPECT_EQ(splitName("New tab Ctrl+T"), (NamedShortcut{"New tab", "control + t"}));
    EXPECT_EQ(splitName("Delete browsing data\u2026 Ctrl+Shift+Del"),
              (NamedShortcut{"Delete browsing data\u2026", "control + shift + delete"}));
    EXPECT_EQ(splitName("Zoom In (Ctrl++)"), (NamedShortcut{"Zoom In", "control + shift + ="}));
    EXPECT_EQ(splitName("Full screen F11"), (NamedShortcut{"Full screen", "f11"}));
    for (const char* name : {"Save", "Documents (3)", "Page 2 of 4", "(Ctrl+T)", "Compose (c)", "Version 1+2"})
        EXPECT_EQ(splitName(name), std::nullopt) << name;
}

} // namespace
} // namespace tavrin
