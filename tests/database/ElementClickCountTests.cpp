// The per-element click counts beside the raw clicks: equal to the count statement on any data,
// built for a file that lacks them, and true after a crash and with several processes writing.
#include <gtest/gtest.h>

#include <csignal>
#include <cmath>
#include <poll.h>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

#include <SQLiteCpp/Statement.h>

#include "database/PracticeTables.h"
#include "database/TableDefinitions.h"
#include "support/OnDiskStore.h"

namespace tavrin {
namespace {

// A value as SQLite holds it: its storage class and its text.
using Value = std::pair<int, std::string>;
using Row = std::tuple<Value, std::int64_t, Value>;

Value valueOf(const SQLite::Column& column) {
    return {column.getType(), column.getString()};
}

// What the count statement gives for the namespace at the floor, and what the per-element counts
// give, row by row and in order, before any date is parsed.
std::vector<Row> rows(SQLite::Database& db, const std::string& sql, const std::string& ns) {
    SQLite::Statement query(db, sql);
    query.bind(1, ns);
    if (query.getBindParameterCount() == 2)
        query.bind(2, 0.8);
    std::vector<Row> out;
    while (query.executeStep())
        out.emplace_back(valueOf(query.getColumn(0)), query.getColumn(1).getInt64(), valueOf(query.getColumn(2)));
    return out;
}
std::vector<Row> recounted(SQLite::Database& db, const std::string& ns) {
    return rows(db,
                "SELECT element_clicked, COUNT(*) as count, MIN(timestamp) as first_seen FROM click_events "
                "WHERE namespace_id = ? AND confidence >= ? GROUP BY element_clicked ORDER BY count DESC "
                "LIMIT 100000",
                ns);
}
std::vector<Row> aggregated(SQLite::Database& db, const std::string& ns) {
    return rows(db,
                "SELECT element_clicked, count, first_seen FROM element_click_counts WHERE namespace_id = ? "
                "ORDER BY count DESC, element_clicked DESC LIMIT 100000",
                ns);
}
std::vector<std::string> namespaces(SQLite::Database& db) {
    SQLite::Statement query(db, "SELECT namespace_id FROM click_events UNION SELECT namespace_id FROM "
                                "element_click_counts");
    std::vector<std::string> out;
    while (query.executeStep())
        out.push_back(query.getColumn(0).getString());
    return out;
}
std::vector<std::string> table(SQLite::Database& db, const std::string& sql) {
    SQLite::Statement query(db, sql);
    std::vector<std::string> out;
    while (query.executeStep()) {
        std::string row;
        for (int i = 0; i < query.getColumnCount(); ++i)
            row += query.getColumn(i).getString() + "|";
        out.push_back(row);
    }
    return out;
}
// Every namespace's counts, and the weekly sums, equal a recount; the number of namespaces compared.
std::size_t expectCountsEqualRecount(SQLite::Database& db) {
    const auto all = namespaces(db);
    for (const auto& ns : all)
        EXPECT_EQ(aggregated(db, ns), recounted(db, ns)) << ns;
    EXPECT_EQ(table(db, "SELECT namespace_id, element_clicked, week, count FROM element_week_counts ORDER BY 1, 2, 3"),
              table(db, "SELECT namespace_id, element_clicked, " + PracticeTables::weekOf("timestamp") +
                            " AS week, COUNT(*) FROM click_events WHERE confidence >= 0.8 AND week IS NOT NULL "
                            "GROUP BY 1, 2, 3 ORDER BY 1, 2, 3"));
    return all.size();
}
void dropCounts(SQLite::Database& db) {
    for (const char* trigger :
         {"click_events_counted_insert", "click_events_counted_delete", "click_events_counted_update"})
        db.exec(std::string("DROP TRIGGER ") + trigger);
    db.exec("DROP INDEX idx_click_events_counted; DROP TABLE element_click_counts");
}

struct ElementClickCountTest : ::testing::Test, testing::OnDiskStore {
    ElementClickCountTest() {
        testing::writeSmallCatalogue(catalogue);
        start();
    }
};

// Random writes through the store and by another tool (which may store anything SQLite accepts),
// random deletes and updates, a rolled-back transaction: after each round the counts equal the
// statement's for every namespace, including elements that differ only in case, confidences on
// both sides of the floor and timestamps that are no dates.
TEST_F(ElementClickCountTest, CountsEqualTheStatementOnRandomWritesDeletesAndUpdates) {
    auto& sql = db->db();
    const std::vector<std::string> elements = {"Bold", "bold", "BOLD", "Save", "save ", "Öffnen", "öffnen", ""};
    // Sorted by bytes, these come before, between and after the real dates.
    const std::vector<std::string> badDates = {
        "", " 2026-11-01T08:00:00.000", "garbage", "2026-13-45T99:00:00.000", "0000", "2026-11-01", "zzz"};
    const double below = std::nextafter(0.8, 0.0), above = std::nextafter(0.8, 1.0);
    const std::vector<double> confidences = {0.0, 0.5, below, 0.8, above, 0.95, 1.0};

    for (const unsigned seed : {1u, 2u, 3u, 4u}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const auto pick = [&](const auto& from) { return from[random() % from.size()]; };
        const auto ns = [&] { return "app|n" + std::to_string(random() % 12); };
        for (int round = 0; round < 6; ++round) {
            std::vector<ClickEvent> events;
            for (int i = 0; i < 60; ++i)
                events.push_back({"u", ns(), clock.now() - std::chrono::minutes(random() % 100000), pick(elements),
                                  pick(confidences), "accessibility", std::nullopt});
            db->insertClickEvents(events);

            SQLite::Statement other(sql, "INSERT INTO click_events (namespace_id, user_id, timestamp, "
                                         "element_clicked, confidence, element_type) VALUES (?, 'tool', ?, ?, ?, 'x')");
            for (int i = 0; i < 30; ++i) {
                other.bind(1, ns());
                switch (random() % 4) {
                case 0:
                    other.bind(2, pick(badDates));
                    break;
                case 1:
                    other.bind(2, static_cast<std::int64_t>(random() % 100));
                    break; // a number, not a text
                default:
                    other.bind(2, formatDate(clock.now() - std::chrono::minutes(random() % 100000)));
                }
                other.bind(3, pick(elements));
                switch (random() % 5) {
                case 0:
                    other.bind(4, "high");
                    break; // a text sorts above every number
                case 1:
                    other.bind(4, static_cast<std::int64_t>(random() % 2));
                    break;
                default:
                    other.bind(4, pick(confidences));
                }
                other.exec();
                other.reset();
            }

            const auto maxId = [&] {
                SQLite::Statement id(sql, "SELECT MAX(event_id) FROM click_events");
                id.executeStep();
                return id.getColumn(0).getInt64();
            }();
            const auto anyId = [&] { return static_cast<std::int64_t>(random() % maxId) + 1; };
            SQLite::Statement update(sql, "UPDATE click_events SET confidence = ? WHERE event_id = ?");
            for (int i = 0; i < 15; ++i) {
                update.bind(1, pick(confidences));
                update.bind(2, anyId());
                update.exec();
                update.reset();
            }
            sql.exec("UPDATE click_events SET element_clicked = 'Bold' WHERE event_id % 17 = " +
                     std::to_string(random() % 17));
            sql.exec("UPDATE click_events SET namespace_id = 'app|n0', timestamp = '2020-01-01T00:00:00.000' "
                     "WHERE event_id % 23 = " +
                     std::to_string(random() % 23));
            std::string some = "0";
            for (int k = 0; k < 20; ++k)
                some += "," + std::to_string(anyId());
            sql.exec("DELETE FROM click_events WHERE event_id IN (" + some + ")");
            sql.exec("DELETE FROM click_events WHERE namespace_id = '" + ns() + "' AND timestamp < '2026-10'");

            // Counts move with the transaction they were written in.
            sql.exec("BEGIN");
            sql.exec("DELETE FROM click_events WHERE event_id % 2 = 0");
            sql.exec("INSERT INTO click_events (namespace_id, user_id, element_clicked, confidence, element_type) "
                     "VALUES ('app|n1', 'u', 'Bold', 1, 'x')");
            sql.exec("ROLLBACK");

            SCOPED_TRACE("round " + std::to_string(round));
            EXPECT_GE(expectCountsEqualRecount(sql), 10u);
        }
        sql.exec("DELETE FROM click_events");
        EXPECT_EQ(db->countElementClicks("app|n0", 0.8).size(), 0u) << "no element row outlives its clicks";
    }
}

// The application's floor reads the counts; any other floor reads the clicks. What it parses out of
// them is the same: a malformed first timestamp costs its row, reported, and nothing else.
TEST_F(ElementClickCountTest, OnlyTheApplicationsFloorReadsTheCountsAndRowsParseAlike) {
    db->insertClickEvents({{"u", "app|textedit", clock.now() - std::chrono::hours(2), "Bold", 1.0, "x", {}},
                           {"u", "app|textedit", clock.now(), "Bold", 0.8, "x", {}},
                           {"u", "app|textedit", clock.now(), "Save", 0.9, "x", {}},
                           {"u", "app|textedit", clock.now(), "Undo", 0.79, "x", {}},
                           {"u", "app|other", clock.now(), "Italic", 1.0, "x", {}}});
    db->db().exec("INSERT INTO click_events (namespace_id, user_id, timestamp, element_clicked, confidence, "
                  "element_type) VALUES ('app|textedit', 'tool', 'garbage', 'Print', 1.0, 'x')");
    log->clear();
    const auto counted = db->countElementClicks("app|textedit", 0.8);
    const auto countedLines = log->printed();
    ASSERT_EQ(counted.size(), 2u) << "below the floor, another namespace and the malformed row are left out";
    EXPECT_EQ(counted[0].element, "Bold");
    EXPECT_EQ(counted[0].count, 2);
    EXPECT_EQ(counted[0].firstSeen, clock.now() - std::chrono::hours(2));
    EXPECT_EQ(countedLines.front(), "Unexpected nil values or parsing error in row: [Print, 1, garbage]");
    EXPECT_EQ(countedLines.back(), "Failed to parse date string");

    // Spoil the counts: the floor of 0.8 shows it, a floor a hair lower does not.
    db->db().exec("UPDATE element_click_counts SET count = 99 WHERE element_clicked = 'Save'");
    EXPECT_EQ(db->countElementClicks("app|textedit", 0.8).front().count, 99);
    log->clear();
    const auto raw = db->countElementClicks("app|textedit", std::nextafter(0.8, 0.0));
    EXPECT_EQ(raw.size(), 2u);
    EXPECT_EQ(raw.front().element, "Bold");
    EXPECT_EQ(log->printed(), countedLines) << "the same lines for the same malformed row";

    // A rebuild counts again.
    EXPECT_EQ(db->rebuildElementClickCounts(), 5);
    EXPECT_EQ(db->countElementClicks("app|textedit", 0.8).front().count, 2);
}

// A file written before the counts (and the weekly sums) existed gets them at its next start, from
// every click it holds; so does a file where part of them was dropped. The version and the catalogue are left alone.
TEST_F(ElementClickCountTest, AFileWithoutTheCountsGetsThemAtItsNextStart) {
    std::mt19937 random(7);
    std::vector<ClickEvent> events;
    for (int i = 0; i < 500; ++i)
        events.push_back({"u", "app|n" + std::to_string(random() % 5), clock.now() - std::chrono::hours(random() % 900),
                          "E" + std::to_string(random() % 30), random() % 3 ? 1.0 : 0.5, "x", std::nullopt});
    db->insertClickEvents(events);
    const auto counted = std::count_if(events.begin(), events.end(), [](auto& e) { return e.confidence >= 0.8; });
    const auto before = recounted(db->db(), "app|n1");
    dropCounts(db->db());
    db->db().exec("DROP TABLE element_week_counts"); // the weekly sums too, with their triggers

    for (const bool partly : {false, true}) {
        SCOPED_TRACE(partly ? "only a trigger missing" : "nothing there");
        log->clear();
        start();
        const auto logged = log->loggedMessages();
        EXPECT_NE(std::find(logged.begin(), logged.end(), "Counted " + std::to_string(counted) + " clicks per element"),
                  logged.end())
            << "every click at the floor is counted";
        EXPECT_EQ(aggregated(db->db(), "app|n1"), before);
        expectCountsEqualRecount(db->db());
        const auto printed = log->printed();
        EXPECT_EQ(std::find(printed.begin(), printed.end(), "Populating database from CSV"), printed.end());
        EXPECT_EQ(defaults.integerForKey("DatabaseVersion"), DatabaseManager::currentVersion);
        db->db().exec("DROP TRIGGER click_events_counted_delete; DROP TRIGGER click_events_weekly_delete");
    }
}

// Each child runs its loop of single clicks and writes one byte to its pipe after each click has
// been stored; it is killed in the middle of it.
struct Writer {
    pid_t pid = -1;
    int acks = -1;
    std::int64_t acknowledged = 0;

    Writer() = default;
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    ~Writer() {
        if (pid > 0)
            kill();
    }
    template <class Loop> void fork(Loop loop) {
        int fds[2];
        ASSERT_EQ(::pipe(fds), 0);
        pid = ::fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            ::close(fds[0]);
            loop([fd = fds[1]] {
                if (::write(fd, "+", 1) != 1)
                    ::_exit(1);
            });
            ::_exit(0);
        }
        ::close(fds[1]);
        acks = fds[0];
    }
    // Reads acknowledgements until there are `count` in all; false when the child stopped or five
    // seconds passed.
    bool waitFor(std::int64_t count) {
        char buffer[256];
        while (acknowledged < count) {
            pollfd pending{acks, POLLIN, 0};
            if (::poll(&pending, 1, 5000) <= 0)
                return false;
            const auto n = ::read(acks, buffer, sizeof buffer);
            if (n <= 0)
                return false;
            acknowledged += n;
        }
        return true;
    }
    void kill() {
        ::kill(pid, SIGKILL);
        int status = 0;
        ::waitpid(pid, &status, 0);
        pid = -1;
        char buffer[256];
        for (ssize_t n; (n = ::read(acks, buffer, sizeof buffer)) > 0;)
            acknowledged += n;
        ::close(acks);
    }
};

// The window (this build), an older build or another tool, and a second start of this build (as
// `tavrin status` does) on one file: a start that builds the counts while clicks arrive counts each
// of them once, and killing the writers loses at most the click each had in flight.
TEST_F(ElementClickCountTest, KilledWritersLoseAtMostTheClickInFlightAndCountsStayTrue) {
    dropCounts(db->db());
    const auto file = db->path();
    db.reset();

    // A build from before the counts, writing with plain statements.
    Writer older;
    older.fork([&](auto ack) {
        SQLite::Database sql(file.string(), SQLite::OPEN_READWRITE);
        sql.setBusyTimeout(5000);
        SQLite::Statement insert(sql, "INSERT INTO click_events (namespace_id, user_id, element_clicked, confidence, "
                                      "element_type) VALUES ('app|textedit', 'older', ?, ?, 'x')");
        for (std::int64_t i = 0;; ++i) {
            insert.bind(1, "E" + std::to_string(i % 7));
            insert.bind(2, i % 3 ? 1.0 : 0.2);
            try {
                insert.exec();
            } catch (const std::exception&) {
                insert.reset();
                continue; // busy beyond the wait: this click was not stored
            }
            insert.reset();
            ack();
            ::usleep(100); // a storm, but one that lets the other writer in
        }
    });
    ASSERT_TRUE(older.waitFor(100));

    // This build starts meanwhile and counts what is there, then writes too.
    Writer window;
    window.fork([&](auto ack) {
        JsonFileUserDefaults ownDefaults{home / "defaults.json"};
        DatabaseManager store(DatabaseManager::Configuration{
            .paths = &paths, .defaults = &ownDefaults, .clock = &clock, .catalogueDirectory = catalogue});
        for (std::int64_t i = 0;; ++i) {
            log->clear();
            store.insertClickEvents(
                {{"window", "app|textedit", clock.now(), "E" + std::to_string(i % 5), i % 4 ? 0.9 : 0.1, "x", {}}});
            // A click refused after the busy wait was never stored; it says so and is not counted.
            if (log->printed().empty())
                ack();
        }
    });
    ASSERT_TRUE(window.waitFor(100));
    start(); // a second start of this build while both write
    const auto firstLook = db->countElementClicks("app|textedit", 0.8);
    EXPECT_FALSE(firstLook.empty());
    ASSERT_TRUE(older.waitFor(older.acknowledged + 100));
    ASSERT_TRUE(window.waitFor(window.acknowledged + 100));
    older.kill();
    window.kill();
    db.reset();

    SQLite::Database sql(file.string(), SQLite::OPEN_READWRITE);
    SQLite::Statement integrity(sql, "PRAGMA integrity_check");
    ASSERT_TRUE(integrity.executeStep());
    EXPECT_EQ(integrity.getColumn(0).getString(), "ok");
    integrity.reset();
    for (const auto* writer : {&older, &window}) {
        SQLite::Statement stored(sql, "SELECT COUNT(*) FROM click_events WHERE user_id = ?");
        stored.bind(1, writer == &older ? "older" : "window");
        stored.executeStep();
        const auto rows = stored.getColumn(0).getInt64();
        EXPECT_GE(rows, writer->acknowledged) << "no acknowledged click is lost";
        EXPECT_LE(rows, writer->acknowledged + 1) << "only the click in flight may be extra";
    }
    EXPECT_EQ(expectCountsEqualRecount(sql), 1u);
}

} // namespace
} // namespace tavrin
