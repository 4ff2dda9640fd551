// The progress from the weekly sums: which shortcuts count as being learned, week by week, and
// what a deletion of records leaves.
#include <gtest/gtest.h>

#include <SQLiteCpp/Statement.h>

#include "database/DatabaseManager.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "support/CapturingLogSink.h"
#include "support/FixedClock.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"

namespace tavrin {
void PrintTo(const ProgressReport& report, std::ostream* out) {
    for (const auto& week : report.weeks)
        *out << formatDate(week.start) << ": " << week.clicks << " clicks, " << week.uses << " uses; ";
    for (const auto& learned : report.learned)
        *out << learned.actionName << " (" << learned.keys << ") learned " << formatDate(learned.learnedAt) << "; ";
    *out << report.totalUses << " uses";
}

namespace {

using namespace std::chrono_literals;
using Week = ProgressReport::Week;

struct PracticeTest : ::testing::Test {
    testing::TempDir home;
    testing::FixedClock clock{*parseDate("2026-11-25T10:00:00.000")}; // a Wednesday
    testing::ScopedLogCapture log;
    DataDirPaths paths{home.path(), home / "catalogue"};
    JsonFileUserDefaults defaults{home / "defaults.json"};
    std::unique_ptr<DatabaseManager> db;

    PracticeTest() {
        testing::writeSmallCatalogue(home / "catalogue");
        start();
    }
    void start() {
        db.reset();
        db = std::make_unique<DatabaseManager>(DatabaseManager::Configuration{
            .paths = &paths, .defaults = &defaults, .clock = &clock, .catalogueDirectory = home / "catalogue"});
    }
    void click(const char* action, Date at, double confidence = 1.0) {
        db->insertClickEvents({{"u", "app|textedit", at, action, confidence, "accessibility", std::nullopt}});
    }
    void use(std::int64_t shortcutId, const std::string& at) {
        SQLite::Statement insert(db->db(), "INSERT INTO shortcut_usage (user_id, shortcut_id, timestamp) VALUES "
                                           "('u', ?, ?)");
        insert.bind(1, shortcutId);
        insert.bind(2, at);
        insert.exec();
    }
    static Date day(const char* date) { return *parseDate(std::string(date) + "T12:00:00.000"); }
};

TEST_F(PracticeTest, TheProgressCountsWhatIsBeingLearnedWeekByWeekAndForgetsWithTheRecords) {
    const auto now = clock.now();
    // Bold is being learned: clicked in three weeks, used in two. A click under the floor counts
    // nowhere; one whose time is no date is kept as a record and counted in no week.
    click("Bold", day("2026-11-10"));
    click("Bold", day("2026-11-23"));
    click("Bold", day("2026-11-24"));
    click("Bold", day("2026-11-24"), 0.5);
    db->db().exec("INSERT INTO click_events (namespace_id, user_id, timestamp, element_clicked, confidence, "
                  "element_type) VALUES ('app|textedit', 'u', 'yesterday', 'Bold', 1, 'x')");
    use(10, "2026-11-18T09:00:00.000");
    use(10, "2026-11-25T09:00:00.000");
    use(10, "garbage");
    // Print is bookmarked and Save learned (its menu shows other keys): both count from their first use.
    ASSERT_TRUE(db->toggleShortcutBookmark(14));
    use(14, "2026-11-24T09:00:00.000");
    ASSERT_TRUE(db->toggleShortcutLearned(12));
    use(12, "2026-11-25T08:00:00.000");
    db->rememberApplicationKeys("app|textedit",
                                {{"Save", "control + option + s", "AXDescription", "Save document", "", "File"}});
    // Clicked and used, but flagged; clicked and used, but "Not for this one"; used and never clicked.
    click("Italic", day("2026-11-24"));
    use(11, "2026-11-24T09:00:00.000");
    ASSERT_TRUE(db->flagShortcut(11, now));
    click("Find", day("2026-11-24"));
    use(13, "2026-11-24T09:00:00.000");
    ASSERT_TRUE(db->setCoachingMark(13, CoachingMark::nudgesOff, now));
    use(15, "2026-11-24T09:00:00.000");

    const ProgressReport expected{
        {{day("2026-11-09") - 12h, 1, 0}, {day("2026-11-16") - 12h, 0, 1}, {day("2026-11-23") - 12h, 2, 3}},
        {{12, "app|textedit", "textedit", "Save", "control + option + s", now}},
        4};
    EXPECT_EQ(db->progress(now, 3), expected);
    EXPECT_EQ(db->progress(now, 1).weeks, std::vector<Week>{expected.weeks.back()});

    // The sums are made again from the records in a file that lacks them.
    db->db().exec("DROP TABLE element_week_counts; DROP TABLE shortcut_week_uses");
    start();
    EXPECT_EQ(db->progress(now, 3), expected);

    db->forgetUserRecords(std::vector<std::string>{"app|textedit"});
    const auto forgotten = db->progress(now, 3);
    for (const auto& week : forgotten.weeks)
        EXPECT_EQ(std::pair(week.clicks, week.uses), std::pair(std::int64_t{0}, std::int64_t{0}));
    EXPECT_TRUE(forgotten.learned.empty());
    EXPECT_EQ(forgotten.totalUses, 0);
    EXPECT_EQ(db->coachedShortcut(12)->applicationKeys, std::nullopt) << "the keys its menu showed go too";
    EXPECT_EQ(db->coachedShortcut(13)->nudgesOffAt, std::nullopt);
}

} // namespace
} // namespace tavrin
