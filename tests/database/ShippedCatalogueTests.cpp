#include <gtest/gtest.h>

#include <SQLiteCpp/Statement.h>

#include "State/AppDomain.h"
#include "database/DatabaseManager.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "support/CapturingLogSink.h"
#include "support/FixedClock.h"
#include "support/TempDir.h"

namespace tavrin {
namespace {

// The catalogue the program ships, loaded as a first start loads it.
struct ShippedCatalogueTest : ::testing::Test {
    testing::TempDir home;
    testing::FixedClock clock;
    DataDirPaths paths{home.path(), TAVRIN_SHIPPED_RESOURCES};
    JsonFileUserDefaults defaults{home / "defaults.json"};
    testing::ScopedLogCapture log;
    std::unique_ptr<DatabaseManager> db = std::make_unique<DatabaseManager>(DatabaseManager::Configuration{
        .paths = &paths, .defaults = &defaults, .clock = &clock, .catalogueDirectory = TAVRIN_SHIPPED_RESOURCES});
};

TEST_F(ShippedCatalogueTest, LoadsWithoutASkippedRow) {
    for (const auto& line : log->printed())
        EXPECT_TRUE(line.find("rror") == std::string::npos && line.find("Warning") == std::string::npos &&
                    line.find("Skipping") == std::string::npos && line.find("Duplicate") == std::string::npos)
            << line;
    for (const auto& message : log->loggedMessages())
        EXPECT_EQ(message.find("rror"), std::string::npos) << message;
}

TEST_F(ShippedCatalogueTest, TheDesktopsApplicationsAreKnownByTheNamesTheTrackerReports) {
    // Display names as the front-application tracker reports them on Debian 12.
    const char* applications[] = {"Firefox ESR",
                                  "Chromium Web Browser",
                                  "LibreOffice Writer",
                                  "LibreOffice Calc",
                                  "LibreOffice Impress",
                                  "Thunderbird",
                                  "Files",
                                  "Text Editor",
                                  "gedit",
                                  "Document Viewer",
                                  "Image Viewer",
                                  "Terminal",
                                  "Mousepad",
                                  "Thunar File Manager",
                                  "Kate",
                                  "Konsole",
                                  "Dolphin",
                                  "Okular",
                                  "GNU Image Manipulation Program",
                                  "Inkscape",
                                  "VLC media player",
                                  "soffice"}; // LibreOffice's dialogs and template chooser
    for (const char* name : applications) {
        const auto place = db->getNamespace(std::nullopt, AppDomain::normalizeName(name), std::nullopt, true);
        ASSERT_TRUE(place) << name;
        EXPECT_GE(db->getRecommendations({}, place->namespace_id, 5).size(), 5u) << name << ": a full list";
    }
    for (const char* site : {"github", "gmail", "google_docs", "google_sheets", "google_drive", "youtube"}) {
        const auto place = db->getNamespace(site, std::nullopt, std::nullopt, true);
        ASSERT_TRUE(place) << site;
        EXPECT_EQ(place->level_type, NamespaceLevel::domain);
    }
    for (const char* browser : {"firefox_esr", "chromium_web_browser"})
        EXPECT_TRUE(db->getNamespace(std::nullopt, browser, std::nullopt, true)->has_domain) << browser;
    EXPECT_GE(db->getRecommendations({}, "os|linux", 5).size(), 5u);
}

TEST_F(ShippedCatalogueTest, EveryMappingLeadsToAShortcutOfItsNamespace) {
    SQLite::Statement mappings(db->db(), "SELECT namespace_id, name, predicted_best_value FROM accessibility_mapping");
    int count = 0;
    while (mappings.executeStep()) {
        ++count;
        const std::string ns = mappings.getColumn(0).getString(), action = mappings.getColumn(1).getString();
        EXPECT_TRUE(db->findShortcutForAction(action, ns, false))
            << ns << ": \"" << mappings.getColumn(2).getString() << "\" maps to \"" << action
            << "\", which has no shortcut";
    }
    EXPECT_GT(count, 200);
}

} // namespace
} // namespace tavrin
