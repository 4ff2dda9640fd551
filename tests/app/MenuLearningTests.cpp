#include <gtest/gtest.h>

#include <map>

#include "app/MenuLearning.h"
#include "database/ShortcutLearner.h"
#include "platform/ApplicationMenus.h"
#include "platform/fake/VirtualScheduler.h"
#include "support/OnDiskStore.h"

namespace tavrin {
namespace {

// Running applications by process, their menus as given; one is in front. Counts the walks.
struct FakeMenus final : ApplicationMenus {
    std::vector<RunningApplication> running = {{.displayName = "Scribus", .pid = 100}};
    int front = 100;
    std::optional<std::string> version = "gtk 3.24.38, /usr/bin/scribus 1000 1";
    std::map<int, std::vector<MenuNode>> menus;
    mutable std::vector<int> walks; // the processes walked

    std::vector<RunningApplication> runningApplications() const override { return running; }
    std::optional<int> frontProcess() const override { return front; }
    std::optional<std::string> applicationVersion(int) const override { return version; }
    std::optional<MenuWalk> readMenus(int pid, const MenuWalkLimits&) const override {
        walks.push_back(pid);
        const auto it = menus.find(pid);
        return MenuWalk{.items = it == menus.end() ? std::vector<MenuNode>{} : it->second, .complete = true};
    }
    // What each place holds now, read again by place (its name also says which): an item missing
    // from `menus` is stale.
    mutable int itemsRead = 0;
    std::vector<std::optional<MenuNode>> readMenuItems(int pid, const std::vector<MenuNode>& items) const override {
        std::vector<std::optional<MenuNode>> out;
        for (const auto& wanted : items) {
            ++itemsRead;
            std::optional<MenuNode> found;
            for (const auto& node : menus.count(pid) ? menus.at(pid) : std::vector<MenuNode>{})
                if (node.place == wanted.place && node.name == wanted.name)
                    found = node;
            out.push_back(found);
        }
        return out;
    }
    // Scribus started again as process `pid`.
    void restart(int pid) { running[0].pid = front = pid; }
};

MenuNode menuItem(const char* name, const char* accelerator) {
    return {.role = "menu item", .name = name, .keyBinding = std::string(";;") + accelerator, .menuPath = {"File"}};
}

struct MenuLearningTest : ::testing::Test, testing::OnDiskStore {
    VirtualScheduler scheduler;
    FakeMenus menus;
    AppDelegate::AppStore store{AppDomain::State{},
                                [](AppDomain::State& state, const AppDomain::Action& action) {
                                    if (const auto* changed = std::get_if<AppDomain::activeNamespaceChanged>(&action)) {
                                        state.activeNamespace.app = AppDomain::normalizeName(changed->app);
                                        state.activeNamespace.appNamespaceId = "app|" + state.activeNamespace.app;
                                    }
                                    return Effect<AppDomain::Action>::none();
                                },
                                scheduler, scheduler};
    MenuLearning learning{store, [this]() -> DatabaseManager& { return *db; }, menus, scheduler, scheduler};

    MenuLearningTest() {
        testing::writeCatalogue(catalogue, "app|editor,app,editor,true,false,false\n",
                                "10,app|editor,Save,,true,1,10,control + s\n", "app|editor,Save,AXTitle,Save\n");
        storeClock = &scheduler;
        start().getOrCreateNamespace(std::nullopt, "scribus");
    }
    void toFront(const char* app) {
        store.send(AppDomain::activeNamespaceChanged{app, std::nullopt});
        scheduler.runUntilIdle();
    }
};

TEST_F(MenuLearningTest, ANewReleaseIsWalkedOnceAndKeepsWhatWasLearnedWithItsMarks) {
    menus.menus[100] = {menuItem("Export...", "<Primary>e")};
    toFront("Scribus");
    ASSERT_EQ(menus.walks.size(), 1u);
    const auto exportId = db->getRecommendations({}, "app|scribus", 5).at(0).base.shortcutId;
    ASSERT_TRUE(db->toggleShortcutBookmark(exportId));

    // Back to the front, and started again at the same release: nothing to read (nor ever in the
    // catalogue's editor).
    toFront("editor");
    toFront("Scribus");
    menus.restart(101);
    toFront("editor");
    toFront("Scribus");
    EXPECT_EQ(menus.walks.size(), 1u);

    // A new release with a new item.
    menus.restart(102);
    menus.version = "gtk 3.24.38, /usr/bin/scribus 1200 2";
    menus.menus[102] = {menuItem("Export...", "<Primary>e"), menuItem("Print...", "<Primary>p")};
    toFront("editor");
    toFront("Scribus");
    EXPECT_EQ(menus.walks.size(), 2u);
    const auto list = db->getRecommendations({}, "app|scribus", 5);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].base.actionName, "Export...");
    EXPECT_EQ(list[1].base.actionName, "Print...");
    EXPECT_EQ(db->getBookmarkedShortcuts("app|scribus").at(0).base.shortcutId, exportId);

    // The catalogue's editor: its menus are read for the keys they show where they differ, nothing
    // is learned.
    menus.running.push_back({.displayName = "Editor", .pid = 200});
    menus.menus[200] = {menuItem("Save", "<Primary><Alt>s"), menuItem("Print...", "<Primary>p")};
    toFront("editor");
    EXPECT_EQ(menus.walks, (std::vector<int>{100, 102, 200}));
    const auto save = db->coachedShortcut(10);
    ASSERT_TRUE(save && save->applicationKeys);
    EXPECT_EQ(save->applicationKeys->keys, "control + option + s");
    EXPECT_EQ(save->applicationKeys->menu, "File");
    EXPECT_EQ(db->getRecommendations({}, "app|editor", 5).size(), 1u);
}

TEST_F(MenuLearningTest, AFailedItemCostsOnlyItselfAndTheReleaseIsWalkedAgain) {
    menus.menus[100] = {menuItem("Export...", "<Primary>e"), menuItem("Bold", "<Primary>b"),
                        menuItem("Print...", "<Primary>p")};
    db->db().exec("CREATE TEMP TRIGGER refuse_bold BEFORE INSERT ON main.shortcuts WHEN NEW.mac_keys = "
                  "'control + b' BEGIN SELECT RAISE(ABORT, 'refused'); END");
    toFront("Scribus");
    const auto names = [&] {
        std::vector<std::string> out;
        for (const auto& entry : db->getRecommendations({}, "app|scribus", 5))
            out.push_back(entry.base.actionName);
        return out;
    };
    EXPECT_EQ(names(), (std::vector<std::string>{"Export...", "Print..."})) << "the items around it stand";
    EXPECT_FALSE(db->getAccessibilityMapping("app|scribus", "Bold")) << "nothing of the failed item is left";

    // The same release started again: walked once more, since an item is missing.
    db->db().exec("DROP TRIGGER refuse_bold");
    menus.restart(101);
    menus.menus[101] = menus.menus[100];
    toFront("editor");
    toFront("Scribus");
    EXPECT_EQ(menus.walks.size(), 2u);
    EXPECT_EQ(names(), (std::vector<std::string>{"Export...", "Print...", "Bold"}));
    menus.restart(102);
    toFront("editor");
    toFront("Scribus");
    EXPECT_EQ(menus.walks.size(), 2u) << "now the release is known";
}

TEST_F(MenuLearningTest, TheWalkReadsTheApplicationOfTheNamespaceWhateverIsInFrontWhenItRuns) {
    // Inkscape came to the front before the walk for Scribus started.
    menus.running.push_back({.displayName = "Inkscape", .pid = 200});
    menus.front = 200;
    menus.menus[100] = {menuItem("Export...", "<Primary>e")};
    menus.menus[200] = {menuItem("Align and Distribute...", "<Primary><Shift>a")};
    toFront("Scribus");
    EXPECT_EQ(menus.walks, std::vector<int>{100});
    const auto list = db->getRecommendations({}, "app|scribus", 5);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].base.actionName, "Export...");

    // Scribus gone before its walk: nothing is read into its namespace.
    ASSERT_TRUE(db->getOrCreateNamespace(std::nullopt, "krita"));
    toFront("Krita");
    EXPECT_EQ(menus.walks, std::vector<int>{100});
    EXPECT_TRUE(db->getRecommendations({}, "app|krita", 5).empty());
}

TEST_F(MenuLearningTest, AnItemDisabledAtTheWalkIsLearnedOnceEnabledByAClickOnItsButtonOrTheNextFront) {
    // GTK shows no shortcut while an item is disabled: a fresh document's Save, Copy, Undo.
    const auto at = [](MenuNode node, int index, bool enabled) {
        node.place = {0, 1, index};
        node.enabled = enabled;
        return node;
    };
    const auto disabled = [&](const char* name, int index) {
        return at({.role = "menu item", .name = name, .menuPath = {"File"}}, index, false);
    };
    menus.menus[100] = {at(menuItem("Export...", "<Primary>e"), 0, true), disabled("Save As...", 1),
                        disabled("Copy", 2), disabled("Undo", 3), disabled("Paste", 4)};
    toFront("Scribus");
    const auto learned = [&](const char* name) { return db->getAccessibilityMapping("app|scribus", name).has_value(); };
    ASSERT_TRUE(learned("Export..."));
    ASSERT_FALSE(learned("Save As..."));
    EXPECT_EQ(db->pendingMenuItems("app|scribus").size(), 4u);

    // A click on a button: only the items of its name are read, and only once enabled, in the
    // application that owns the button.
    const auto click = [&](int pid, const char* name) {
        return MenuLearning::learnPendingItems(*db, menus, "app|scribus", "scribus", pid, name);
    };
    EXPECT_FALSE(click(100, "Save As")) << "still disabled";
    EXPECT_EQ(menus.itemsRead, 1);
    menus.menus[100][1] = at(menuItem("Save As...", "<Primary><Shift>s"), 1, true);
    menus.running.push_back({.displayName = "Inkscape", .pid = 200});
    EXPECT_FALSE(click(200, "Save As")) << "another application's button";
    EXPECT_FALSE(click(100, "Print")) << "no such item";
    EXPECT_EQ(menus.itemsRead, 1);
    EXPECT_TRUE(click(100, "Save As"));
    EXPECT_TRUE(learned("Save As..."));

    // The next front reads what is left: Copy now shows its shortcut, Undo enabled shows none and
    // is no longer waited for, Paste is still disabled.
    menus.menus[100][2] = at(menuItem("Copy", "<Primary>c"), 2, true);
    menus.menus[100][3] = at(menuItem("Undo", ""), 3, true);
    toFront("editor");
    toFront("Scribus");
    EXPECT_TRUE(learned("Copy"));
    EXPECT_EQ(menus.walks.size(), 1u);
    const auto pending = db->pendingMenuItems("app|scribus");
    ASSERT_EQ(pending.size(), 1u);
    EXPECT_EQ(pending[0].name, "Paste");
    EXPECT_EQ(pending[0].place, (std::vector<int>{0, 1, 4}));
    EXPECT_EQ(pending[0].menuPath, (std::vector<std::string>{"File"}));

    // Paste moved (the application rebuilt its menus): a process is walked once at most, the next
    // one of the same release is walked whole again, once.
    menus.menus[100].erase(menus.menus[100].begin() + 4);
    menus.menus[100].push_back(at(menuItem("Paste", "<Primary>v"), 5, true));
    toFront("editor");
    toFront("Scribus");
    EXPECT_EQ(menus.walks.size(), 1u);
    menus.menus[101] = menus.menus[100];
    menus.restart(101);
    for (int front = 0; front < 2; ++front) {
        toFront("editor");
        toFront("Scribus");
    }
    EXPECT_EQ(menus.walks.size(), 2u);
    EXPECT_TRUE(learned("Paste"));
    EXPECT_TRUE(db->pendingMenuItems("app|scribus").empty());
}

} // namespace
} // namespace tavrin
