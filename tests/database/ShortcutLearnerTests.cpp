#include <gtest/gtest.h>

#include "database/DatabaseManager.h"
#include "database/ShortcutLearner.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "support/CapturingLogSink.h"
#include "support/FixedClock.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"

namespace tavrin {
namespace {

struct ShortcutLearnerTest : ::testing::Test {
    testing::TempDir home;
    testing::TempDir catalogue;
    testing::FixedClock clock;
    DataDirPaths paths{home.path(), catalogue.path()};
    JsonFileUserDefaults defaults{home / "defaults.json"};
    testing::ScopedLogCapture log;

    ShortcutLearnerTest() {
        testing::writeCatalogue(catalogue.path(), "app|editor,app,editor,true,false,false\n",
                                "10,app|editor,Save,,true,1,10,control + s\n", "app|editor,Save,AXTitle,Save\n");
    }
    std::unique_ptr<DatabaseManager> start() {
        return std::make_unique<DatabaseManager>(DatabaseManager::Configuration{
            .paths = &paths, .defaults = &defaults, .clock = &clock, .catalogueDirectory = catalogue.path()});
    }
    static HarvestedItem item(const char* name, const char* keys) { return {name, keys, "AXTitle", name, "", ""}; }
};

TEST_F(ShortcutLearnerTest, LearnedRowsRankAfterTheCatalogueAndSurviveAReloadWithTheirMarks) {
    auto db = start();
    ASSERT_TRUE(db->getOrCreateNamespace(std::nullopt, "scribus"));
    EXPECT_EQ(
        ShortcutLearner::learn(*db, "app|scribus", {item("Export...", "control + e"), item("Quit", "control + q")}), 2);
    EXPECT_TRUE(db->getNamespace(std::nullopt, "scribus", std::nullopt, true)) << "supported once it has some";
    EXPECT_EQ(db->getAccessibilityMapping("app|scribus", "Export")->action_name, "Export...")
        << "a toolbar names it without the ellipsis";
    // In an application the catalogue knows: a known keys text only adds the value.
    EXPECT_EQ(
        ShortcutLearner::learn(*db, "app|editor", {item("Save File", "control + s"), item("Close", "control + w")}), 1);
    EXPECT_EQ(db->getAccessibilityMapping("app|editor", "Save File")->action_name, "Save");
    const auto list = db->getRecommendations({}, "app|editor", 5);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].base.actionName, "Save") << "the catalogue's priorities first";
    EXPECT_EQ(list[1].base.actionName, "Close");
    const auto closeId = list[1].base.shortcutId;
    EXPECT_GE(closeId, ShortcutLearner::firstId);
    ASSERT_TRUE(db->toggleShortcutBookmark(closeId));

    // Sites and unknown namespaces learn nothing.
    EXPECT_EQ(ShortcutLearner::learn(*db, "app|nowhere", {item("X", "control + x")}), 0);

    // A catalogue reload (a new schema version) keeps the learned rows and their marks.
    db.reset();
    defaults.setInteger(0, DatabaseManager::versionKey);
    db = start();
    const auto learned = ShortcutLearner::learnedShortcuts(*db);
    ASSERT_EQ(learned.size(), 3u);
    EXPECT_EQ(learned[0].namespaceId, "app|editor");
    EXPECT_EQ(learned[0].name, "Close");
    EXPECT_EQ(db->getBookmarkedShortcuts("app|editor").at(0).base.shortcutId, closeId);
    EXPECT_EQ(db->getAccessibilityMapping("app|scribus", "Export...")->action_name, "Export...");
}

} // namespace
} // namespace tavrin
