#include <gtest/gtest.h>


#include "database/CatalogueExports.h"
#include "foundation/KeyText.h"
#include "foundation/MenuHarvest.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"

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
        {"<Primary>KP_Add", "control + kp_add"}};
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

MenuNode item(std::string name, std::string binding, std::string role = "menu item",
              std::vector<std::string> path = {"File"}) {
    return MenuNode{.role = std::move(role),
                    .name = std::move(name),
                    .keyBinding = std::move(binding),
                    .menuPath = std::move(path)};
}

TEST(MenuHarvestTest, EveryToolkitsWayOfShowingAShortcutIsRead) {
    EXPECT_EQ(harvestItem(item("Save As...", "a;<Alt>f:a;<Primary><Shift>s")),
              (HarvestedItem{"Save As...", "control + shift + s", "AXTitle", "Save As...", "", "File"}));
    // Qt gives the shortcut itself.
    EXPECT_EQ(harvestItem(item("Rename...", "F2"))->keys, "f2");
    // Chromium's app menu writes it into the name, which is what a click reads.
    const auto chromium = harvestItem(item("New tab Ctrl+T", "t", "menu item", {}));
    ASSERT_TRUE(chromium);
    EXPECT_EQ(chromium->name, "New tab");
    EXPECT_EQ(chromium->value, "New tab Ctrl+T");
    // A toolbar button with the shortcut in its tooltip.
    auto save = item("Save", "", "push button", {});
    save.description = "Save document (Ctrl+S)";
    EXPECT_EQ(harvestItem(save), (HarvestedItem{"Save", "control + s", "AXTitle", "Save", "Save document", ""}));
    // An unnamed icon button: a click reads its description.
    auto icon = item("GtkButton", "", "push button", {});
    icon.description = "New tab (Ctrl+T)";
    EXPECT_EQ(harvestItem(icon),
              (HarvestedItem{"New tab", "control + t", "AXDescription", "New tab (Ctrl+T)", "", ""}));
    // Web content's attribute.
    auto mail = item("Mail", "", "toggle button", {});
    mail.keyShortcuts = "Control+1";
    EXPECT_EQ(harvestItem(mail)->keys, "control + 1");
}

TEST(MenuHarvestTest, NothingPrivateAndNothingWithoutARealShortcutIsTaken) {
    auto field = item("Search", "<Primary>f", "text", {});
    EXPECT_FALSE(harvestItem(field)) << "a text field";
    field.role = "password text";
    EXPECT_FALSE(harvestItem(field)) << "a password field";
    auto editable = item("Location", "<Primary>l", "push button", {});
    editable.editable = true;
    EXPECT_FALSE(harvestItem(editable)) << "anything editable";
    EXPECT_FALSE(harvestItem(item("Find Next", "n;<Alt>s:n;Return"))) << "no modifier";
    EXPECT_FALSE(harvestItem(item("Save As\u2026", "<Alt>s", "push button", {}))) << "a GTK button's mnemonic";
    EXPECT_FALSE(harvestItem(item("Reload", "Alt+R"))) << "a Qt item's mnemonic";
    EXPECT_FALSE(harvestItem(item("notes.txt", ";;<Primary>1", "menu item", {"File", "Open Recent"})));
    EXPECT_FALSE(harvestItem(item("GitHub", "<Primary>1", "menu item", {"Bookmarks"})));
    EXPECT_FALSE(harvestItem(item("1. report.odt", "<Primary>1")));
    EXPECT_FALSE(harvestItem(item("file-open-recent-01", "<Primary>1")));
    EXPECT_FALSE(harvestItem(item(std::string(61, 'x'), "<Primary>x"))) << "a name over 60 characters";
    EXPECT_TRUE(harvestItem(item(std::string(60, 'x'), "<Primary>x")));
    EXPECT_FALSE(harvestItem(item("GtkMenuButton", "<Primary>m"))) << "a widget type is no name";
}

TEST(MenuHarvestTest, ANameListedTwiceIsHarvestedOnce) {
    const auto items = harvestItems({item("Bold", "b;<Alt>o:b;<Primary>b"), item("Bold", "<Control>b"),
                                     item("Italic", "i;<Alt>o:i;<Primary>i"), item("Plain", "")});
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0].name, "Bold");
    EXPECT_EQ(items[1].name, "Italic");
}

TEST(MenuHarvestTest, OnlyADisabledMenuItemThatWouldBeHarvestedAwaitsItsShortcut) {
    const auto disabled = [](MenuNode node) {
        node.enabled = false;
        return node;
    };
    const struct {
        MenuNode node;
        bool awaits;
    } cases[] = {
        {disabled(item("Save", "")), true},
        {disabled(item("Save As\u2026", "", "menu item", {"File", "Save"})), true},
        {item("Save", ""), false},                                              // enabled: it shows what it has
        {disabled(item("Save", ";;<Primary>s")), false},                        // shows its shortcut already
        {disabled(item("Save", "", "push button", {})), false},                 // a button, not a menu item
        {disabled(item("notes.txt", "", "menu item", {"Open Recent"})), false}, // the user's own things
        {disabled(item("1. report.odt", "")), false},
        {disabled(item("GtkMenuItem", "")), false},
        {disabled(item("", "")), false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(awaitsShortcut(c.node), c.awaits) << c.node.name << " " << c.node.role;
    // Each name once, and none already harvested under that name.
    const auto nodes = std::vector{disabled(item("Copy", "")), disabled(item("Copy", "")), disabled(item("Bold", "")),
                                   item("Bold", "<Primary>b")};
    const auto awaiting = awaitingItems(nodes, harvestItems(nodes));
    ASSERT_EQ(awaiting.size(), 1u);
    EXPECT_EQ(awaiting[0].name, "Copy");
    EXPECT_TRUE(namesSameCommand("Save As", "Save As\u2026"));
    EXPECT_FALSE(namesSameCommand("Save", "Save As..."));
    EXPECT_FALSE(namesSameCommand("", ""));
}

TEST(CatalogueExportsTest, AHarvestAddsWhatTheNamespaceLacksAndKeepsEverythingElse) {
    testing::TempDir dir;
    testing::writeCatalogue(dir / "c",
                            "app|mousepad,app,mousepad,true,false,false\n"
                            "app|other,app,other,true,false,false\n",
                            "100,app|mousepad,Find and Replace,Find and replace text,true,4,100,control + r\n"
                            "500,app|other,\"Copy, then paste\",,true,1,500,control + c\n",
                            "app|mousepad,Find and Replace,AXTitle,Find and Replace\n");
    std::string problem;
    auto exports = CatalogueExports::read(dir / "c", problem);
    ASSERT_TRUE(exports) << problem;
    const std::vector<HarvestedItem> harvest = {
        {"Find and Replace...", "control + r", "AXTitle", "Find and Replace...", "", "Search"},
        {"Save As...", "control + shift + s", "AXTitle", "Save As...", "Save under, another name", "File"},
        {"Quit", "control + q", "AXTitle", "Quit", "", "File"}};
    const auto merged = exports->merge("app|mousepad", "mousepad", harvest);
    EXPECT_FALSE(merged.namespaceAdded);
    EXPECT_EQ(merged.actionsAdded, 2);
    EXPECT_EQ(merged.alreadyKnown, 1) << "the reviewed action with the same keys keeps its name";
    EXPECT_EQ(merged.mappingsAdded, 4) << "\"Find and Replace...\", \"Save As...\", \"Save As\", \"Quit\"";
    ASSERT_TRUE(exports->write(dir / "c", problem)) << problem;

    // Read back as the store reads it: new ids above every id, priorities after the namespace's.
    auto again = CatalogueExports::read(dir / "c", problem);
    ASSERT_TRUE(again);
    ASSERT_EQ(again->actions.rows.size(), 4u);
    const auto& rows = again->actions.rows;
    EXPECT_EQ(again->actions.field(rows[1], "name"), "Copy, then paste") << "other rows as they were";
    EXPECT_EQ(again->actions.field(rows[2], "action_id"), "501");
    EXPECT_EQ(again->actions.field(rows[2], "priority"), "5");
    EXPECT_EQ(again->actions.field(rows[2], "description"), "Save under, another name");
    EXPECT_EQ(again->actions.field(rows[3], "shortcut_id"), "502");
    const auto& maps = again->mappings;
    EXPECT_EQ(maps.field(maps.rows[1], "action_name"), "Find and Replace");
    EXPECT_EQ(maps.field(maps.rows[1], "predicted_best_value"), "Find and Replace...");

    // A second harvest of the same adds nothing; a new application gets its namespace.
    EXPECT_EQ(again->merge("app|mousepad", "mousepad", harvest).actionsAdded, 0);
    EXPECT_EQ(again->merge("app|mousepad", "mousepad", harvest).mappingsAdded, 0);
    EXPECT_TRUE(again->merge("app|thunar", "thunar", {harvest[2]}).namespaceAdded);
}

} // namespace
} // namespace tavrin
