#include <gtest/gtest.h>

#include "app/MenuLearning.h"
#include "database/DatabaseManager.h"
#include "database/ShortcutLearner.h"
#include "platform/ApplicationMenus.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "platform/fake/VirtualScheduler.h"
#include "support/CapturingLogSink.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"

namespace tavrin {
namespace {

// One application in front, its menus as given; counts the walks.
struct FakeMenus final : ApplicationMenus {
    int pid = 100;
    std::optional<std::string> version = "gtk 3.24.38, /usr/bin/scribus 1000 1";
    std::vector<MenuNode> menus;
    mutable int walks = 0;

    std::vector<RunningApplication> runningApplications() const override { return {}; }
    std::optional<int> frontProcess() const override { return pid; }
    std::optional<std::string> applicationVersion(int) const override { return version; }
    std::optional<MenuWalk> readMenus(int, const MenuWalkLimits&) const override {
        ++walks;
        return MenuWalk{.items = menus, .complete = true};
    }
};

MenuNode menuItem(const char* name, const char* accelerator) {
    return {.role = "menu item", .name = name, .keyBinding = std::string(";;") + accelerator, .menuPath = {"File"}};
}

struct MenuLearningTest : ::testing::Test {
    testing::TempDir home;
    testing::TempDir catalogue;
    DataDirPaths paths{home.path(), catalogue.path()};
    JsonFileUserDefaults defaults{home / "defaults.json"};
    testing::ScopedLogCapture log;
    VirtualScheduler scheduler;
    std::unique_ptr<DatabaseManager> db;
    FakeMenus menus;
    AppDelegate::AppStore store{AppDomain::State{},
                                [](AppDomain::State& state, const AppDomain::Action& action) {
                                    if (const auto* changed = std::get_if<AppDomain::activeNamespaceChanged>(&action))
                                        state.activeNamespace.appNamespaceId = "app|" + changed->app;
                                    return Effect<AppDomain::Action>::none();
                                },
                                scheduler, scheduler};
    MenuLearning learning{store, [this]() -> DatabaseManager& { return *db; }, menus, scheduler, scheduler};

    MenuLearningTest() {
        testing::writeCatalogue(catalogue.path(), "app|editor,app,editor,true,false,false\n",
                                "10,app|editor,Save,,true,1,10,control + s\n", "app|editor,Save,AXTitle,Save\n");
        db = std::make_unique<DatabaseManager>(DatabaseManager::Configuration{
            .paths = &paths, .defaults = &defaults, .clock = &scheduler, .catalogueDirectory = catalogue.path()});
        db->getOrCreateNamespace(std::nullopt, "scribus");
    }
    void toFront(const char* app) {
        store.send(AppDomain::activeNamespaceChanged{app, std::nullopt});
        scheduler.runUntilIdle();
    }
};

TEST_F(MenuLearningTest, ANewReleaseIsWalkedOnceAndKeepsWhatWasLearnedWithItsMarks) {
    menus.menus = {menuItem("Export...", "<Primary>e")};
    toFront("scribus");
    ASSERT_EQ(menus.walks, 1);
    const auto exportId = db->getRecommendations({}, "app|scribus", 5).at(0).base.shortcutId;
    ASSERT_TRUE(db->toggleShortcutBookmark(exportId));

    // Back to the front, and started again at the same release: nothing to read (nor ever in the
    // catalogue's editor).
    toFront("editor");
    toFront("scribus");
    menus.pid = 101;
    toFront("editor");
    toFront("scribus");
    EXPECT_EQ(menus.walks, 1);

    // A new release with a new item.
    menus.pid = 102;
    menus.version = "gtk 3.24.38, /usr/bin/scribus 1200 2";
    menus.menus = {menuItem("Export...", "<Primary>e"), menuItem("Print...", "<Primary>p")};
    toFront("editor");
    toFront("scribus");
    EXPECT_EQ(menus.walks, 2);
    const auto list = db->getRecommendations({}, "app|scribus", 5);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].base.actionName, "Export...");
    EXPECT_EQ(list[1].base.actionName, "Print...");
    EXPECT_EQ(db->getBookmarkedShortcuts("app|scribus").at(0).base.shortcutId, exportId);
}

} // namespace
} // namespace tavrin
