#include <gtest/gtest.h>

#include <atomic>

#include <SQLiteCpp/Statement.h>

#include "database/DatabaseManager.h"
#include "database/ShortcutLearner.h"
#include "platform/common/EventLoop.h"
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
        db->learnShortcuts("app|scribus", {item("Export...", "control + e"), item("Quit", "control + q")}).learned, 2);
    EXPECT_TRUE(db->getNamespace(std::nullopt, "scribus", std::nullopt, true)) << "supported once it has some";
    EXPECT_EQ(db->getAccessibilityMapping("app|scribus", "Export")->action_name, "Export...")
        << "a toolbar names it without the ellipsis";
    // In an application the catalogue knows: a known keys text only adds the value.
    EXPECT_EQ(
        db->learnShortcuts("app|editor", {item("Save File", "control + s"), item("Close", "control + w")}).learned, 1);
    EXPECT_EQ(db->getAccessibilityMapping("app|editor", "Save File")->action_name, "Save");
    const auto list = db->getRecommendations({}, "app|editor", 5);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].base.actionName, "Save") << "the catalogue's priorities first";
    EXPECT_EQ(list[1].base.actionName, "Close");
    const auto closeId = list[1].base.shortcutId;
    EXPECT_GE(closeId, ShortcutLearner::firstId);
    ASSERT_TRUE(db->toggleShortcutBookmark(closeId));

    // Sites and unknown namespaces learn nothing.
    EXPECT_EQ(db->learnShortcuts("app|nowhere", {item("X", "control + x")}), ShortcutLearner::Outcome{});

    db->insertClickEvents({ClickEvent{"someone", "app|scribus", clock.now(), "Export", 1.0, "AXButton", std::nullopt}});

    // A release with more applications reaches this file at its next start, the schema version
    // unchanged; the learned rows, their marks and the clicks stay.
    db.reset();
    testing::writeCatalogue(catalogue.path(),
                            "app|editor,app,editor,true,false,false\napp|viewer,app,viewer,true,false,false\n",
                            "10,app|editor,Save,,true,1,10,control + s\n20,app|viewer,Zoom In,,true,1,20,control + =\n",
                            "app|editor,Save,AXTitle,Save\napp|viewer,Zoom In,AXTitle,Zoom In\n");
    db = start();
    EXPECT_EQ(db->getAccessibilityMapping("app|viewer", "Zoom In")->action_name, "Zoom In");
    const auto learned = db->shortcutsLearnedFromApplications();
    ASSERT_EQ(learned.size(), 3u);
    EXPECT_EQ(learned[0].namespaceId, "app|editor");
    EXPECT_EQ(learned[0].name, "Close");
    EXPECT_EQ(db->getBookmarkedShortcuts("app|editor").at(0).base.shortcutId, closeId);
    EXPECT_EQ(db->getAccessibilityMapping("app|scribus", "Export...")->action_name, "Export...");
    EXPECT_EQ(db->countElementClicks("app|scribus", 0.8).at(0).count, 1);
}

TEST_F(ShortcutLearnerTest, AShortcutLearnedBeforeTheCatalogueKnewItsApplicationJoinsTheCataloguesRow) {
    auto db = start();
    ASSERT_TRUE(db->getOrCreateNamespace(std::nullopt, "scribus"));
    db->learnShortcuts("app|scribus", {item("Export...", "control + e"), item("Quit", "control + q")});
    const auto learnedId = db->getRecommendations({}, "app|scribus", 5).at(0).base.shortcutId;
    ASSERT_TRUE(db->toggleShortcutBookmark(learnedId));
    db->insertShortcutUsage("someone", learnedId);
    // Clicks are stored under the action's name, as the mapping gives it.
    for (int i = 0; i < 2; ++i)
        db->insertClickEvents(
            {ClickEvent{"someone", "app|scribus", clock.now(), "Export...", 1.0, "AXButton", std::nullopt}});

    db.reset();
    testing::writeCatalogue(
        catalogue.path(), "app|editor,app,editor,true,false,false\napp|scribus,app,scribus,true,false,false\n",
        "10,app|editor,Save,,true,1,10,control + s\n30,app|scribus,Export a PDF,,true,1,30,control + e\n",
        "app|editor,Save,AXTitle,Save\napp|scribus,Export a PDF,AXTitle,Export as PDF\n");
    db = start();
    const auto list = db->getRecommendations(db->countElementClicks("app|scribus", 0.8), "app|scribus", 5);
    ASSERT_EQ(list.size(), 2u) << "one card for control + e";
    EXPECT_EQ(list[0].base.shortcutId, 30) << "the bookmark moved";
    EXPECT_EQ(list[0].count, 2) << "and the clicks";
    EXPECT_EQ(list[1].base.actionName, "Quit") << "what the catalogue lacks stays learned";
    EXPECT_EQ(db->getAccessibilityMapping("app|scribus", "Export")->action_name, "Export a PDF")
        << "later clicks on the learned element count for the catalogue's row";
    SQLite::Statement uses(db->db(), "SELECT shortcut_id FROM shortcut_usage");
    ASSERT_TRUE(uses.executeStep());
    EXPECT_EQ(uses.getColumn(0).getInt64(), 30);
}

TEST_F(ShortcutLearnerTest, ANewerCatalogueDropsItsOldRowsButNotTheUsersData) {
    testing::writeCatalogue(catalogue.path(), "app|editor,app,editor,true,false,false\n",
                            "10,app|editor,Save,,true,1,10,control + s\n11,app|editor,Print,,true,2,11,control + p\n"
                            "12,app|editor,Zoom,,true,3,12,control + =\n13,app|editor,Close,,true,4,13,control + w\n",
                            "app|editor,Save,AXTitle,Save\napp|editor,Print,AXTitle,Print\n"
                            "app|editor,Zoom,AXTitle,Zoom\napp|editor,Close,AXTitle,Close\n");
    auto db = start();
    ASSERT_TRUE(db->toggleShortcutBookmark(11));
    ASSERT_TRUE(db->toggleShortcutLearned(12));
    db->learnShortcuts("app|editor", {item("Save File", "control + s"), item("Print Document", "control + p")});
    db->insertClickEvents({ClickEvent{"someone", "app|editor", clock.now(), "Close", 1.0, "AXButton", std::nullopt}});

    // Print renumbered and renamed, Zoom and Close gone.
    db.reset();
    testing::writeCatalogue(
        catalogue.path(), "app|editor,app,editor,true,false,false\n",
        "10,app|editor,Save,,true,1,10,control + s\n21,app|editor,Print...,,true,2,21,control + p\n",
        "app|editor,Save,AXTitle,Save\napp|editor,Print...,AXTitle,Print...\n");
    db = start();
    const auto list = db->getRecommendations({}, "app|editor", 5);
    ASSERT_EQ(list.size(), 2u) << "no card for Close";
    EXPECT_EQ(list[0].base.shortcutId, 21) << "the bookmark moved to the new row";
    EXPECT_EQ(list[1].base.shortcutId, 10);
    const auto learned = db->getLearnedShortcuts("app|editor");
    ASSERT_EQ(learned.size(), 1u) << "a card the user marked stays theirs";
    EXPECT_EQ(learned[0].base.actionName, "Zoom");
    EXPECT_GE(learned[0].base.shortcutId, ShortcutLearner::firstId);
    EXPECT_EQ(db->getAccessibilityMapping("app|editor", "Zoom")->action_name, "Zoom");
    EXPECT_FALSE(db->getAccessibilityMapping("app|editor", "Print"));
    EXPECT_FALSE(db->getAccessibilityMapping("app|editor", "Close"));
    EXPECT_EQ(db->getAccessibilityMapping("app|editor", "Save File")->action_name, "Save") << "a learned mapping stays";
    EXPECT_EQ(db->getAccessibilityMapping("app|editor", "Print Document")->action_name, "Print...")
        << "and follows its action to the successor";
    EXPECT_EQ(db->countElementClicks("app|editor", 0.8).at(0).count, 1) << "clicks are never dropped";

    // A later catalogue with a row under Zoom's old id leaves the user's row alone.
    db.reset();
    testing::writeCatalogue(catalogue.path(), "app|editor,app,editor,true,false,false\n",
                            "12,app|editor,Find,,true,3,12,control + f\n", "app|editor,Find,AXTitle,Find\n");
    db = start();
    EXPECT_EQ(db->getLearnedShortcuts("app|editor").at(0).base.actionName, "Zoom");
    EXPECT_FALSE(db->getAccessibilityMapping("app|editor", "Save File")) << "no mapping names a dropped action";
}

TEST_F(ShortcutLearnerTest, LearnersOnWorkersAndTheMainThreadsClicksAndMarksAllLand) {
    auto db = start();
    ASSERT_TRUE(db->getOrCreateNamespace(std::nullopt, "scribus"));
    ASSERT_TRUE(db->getOrCreateNamespace(std::nullopt, "inkscape"));
    constexpr int kBatches = 6, kItems = 40, kClicks = 300;
    std::atomic<int> learned = 0;
    {
        ThreadPool workers(3);
        for (int batch = 0; batch < kBatches; ++batch)
            workers.execute([&, batch] {
                std::vector<HarvestedItem> items;
                for (int i = 0; i < kItems; ++i) {
                    const auto n = std::to_string(batch * kItems + i);
                    items.push_back({"Item " + n, "control + k" + n, "AXTitle", "Item " + n, "", ""});
                }
                const auto outcome = db->learnShortcuts(batch % 2 ? "app|scribus" : "app|inkscape", items);
                learned += outcome.learned - outcome.failed;
            });
        // Meanwhile, what the main thread writes: clicks and a mark toggled on and off.
        for (int i = 0; i < kClicks; ++i) {
            db->insertClickEvents(
                {ClickEvent{"someone", "app|editor", clock.now(), "Save", 1.0, "AXButton", std::nullopt}});
            if (i % 10 == 0) {
                ASSERT_TRUE(db->toggleShortcutBookmark(10));
            }
        }
        workers.waitUntilIdle();
    }
    EXPECT_EQ(learned, kBatches * kItems);
    EXPECT_EQ(db->shortcutsLearnedFromApplications().size(), static_cast<std::size_t>(kBatches * kItems));
    EXPECT_EQ(db->countElementClicks("app|editor", 0.8).at(0).count, kClicks) << "no click joined a learner's rollback";
    EXPECT_EQ(db->getBookmarkedShortcuts("app|editor").size(), 0u) << "30 toggles";
}

} // namespace
} // namespace tavrin
