#include "database/PracticeTables.h"

#include <iterator>

#include <SQLiteCpp/Statement.h>

namespace tavrin::PracticeTables {

namespace {

// One row in and one row out of a weekly sum: a record counts in the week of its timestamp, for its
// key columns, when it holds `when` ("ROW." stands for NEW or OLD). A sum's row goes with its last
// count.
struct Weekly {
    const char* table;
    std::vector<std::string> key;
    std::string when;
};

std::string withRow(std::string text, const std::string& row) {
    for (auto at = text.find("ROW."); at != std::string::npos; at = text.find("ROW.", at + row.size()))
        text.replace(at, 4, row + ".");
    return text;
}

std::string joined(const std::vector<std::string>& parts, const char* separator) {
    std::string out;
    for (const auto& part : parts)
        out += (out.empty() ? "" : separator) + part;
    return out;
}

std::string join(const Weekly& w, const std::string& row) {
    const std::string week = weekOf(row + ".timestamp");
    std::vector<std::string> values;
    for (const auto& column : w.key)
        values.push_back(row + "." + column);
    return std::string("INSERT INTO ") + w.table + " (" + joined(w.key, ", ") + ", week, count) SELECT " +
           joined(values, ", ") + ", " + week + ", 1 WHERE " + withRow(w.when, row) + " AND " + week +
           " IS NOT NULL ON CONFLICT (" + joined(w.key, ", ") + ", week) DO UPDATE SET count = count + 1; ";
}

std::string leave(const Weekly& w, const std::string& row) {
    std::vector<std::string> match;
    for (const auto& column : w.key)
        match.push_back(column + " = " + row + "." + column);
    match.push_back("week = " + weekOf(row + ".timestamp"));
    const std::string where = joined(match, " AND ");
    return std::string("UPDATE ") + w.table + " SET count = count - 1 WHERE " + where + " AND " + withRow(w.when, row) +
           "; DELETE FROM " + w.table + " WHERE " + where + " AND count <= 0; ";
}

const Weekly kClicks{"element_week_counts", {"namespace_id", "element_clicked"}, "ROW.confidence >= 0.8"};
const Weekly kUses{"shortcut_week_uses", {"shortcut_id"}, "1"};

bool hasEveryObject(SQLite::Database& db) {
    std::string names;
    for (const char* name : kWeeklyObjects)
        names += std::string(names.empty() ? "'" : ", '") + name + "'";
    SQLite::Statement query(db, "SELECT COUNT(*) FROM sqlite_master WHERE name IN (" + names +
                                    ", 'shortcut_coaching', 'application_keys', "
                                    "'idx_shortcut_usage_shortcut_timestamp')");
    query.executeStep();
    return query.getColumn(0).getInt64() == static_cast<std::int64_t>(std::size(kWeeklyObjects)) + 3;
}

} // namespace

std::string weekOf(const std::string& column) {
    return "date(" + column + ", 'weekday 0', '-6 days')";
}

const std::vector<std::string>& createStatements() {
    static const std::vector<std::string> statements = {
        "CREATE TABLE IF NOT EXISTS shortcut_coaching ("
        "shortcut_id INTEGER PRIMARY KEY NOT NULL, "
        "nudges_off_at TEXT, "
        "offer_declined_at TEXT, "
        "returned_at TEXT)",
        "CREATE TABLE IF NOT EXISTS application_keys ("
        "shortcut_id INTEGER PRIMARY KEY NOT NULL, "
        "keys TEXT NOT NULL, "
        "menu TEXT NOT NULL, "
        "seen_at TEXT NOT NULL)",
        "CREATE INDEX IF NOT EXISTS idx_shortcut_usage_shortcut_timestamp ON shortcut_usage (shortcut_id, timestamp)",
    };
    return statements;
}

const std::vector<std::string>& weeklyStatements() {
    static const std::vector<std::string> statements = {
        "CREATE TABLE element_week_counts (namespace_id TEXT NOT NULL, element_clicked TEXT NOT NULL, week TEXT NOT "
        "NULL, count INTEGER NOT NULL, PRIMARY KEY (namespace_id, element_clicked, week)) WITHOUT ROWID",
        "CREATE TABLE shortcut_week_uses (shortcut_id INTEGER NOT NULL, week TEXT NOT NULL, count INTEGER NOT NULL, "
        "PRIMARY KEY (shortcut_id, week)) WITHOUT ROWID",
        "CREATE TRIGGER click_events_weekly_insert AFTER INSERT ON click_events BEGIN " + join(kClicks, "NEW") + "END",
        "CREATE TRIGGER click_events_weekly_delete AFTER DELETE ON click_events BEGIN " + leave(kClicks, "OLD") + "END",
        "CREATE TRIGGER click_events_weekly_update AFTER UPDATE OF namespace_id, element_clicked, confidence, "
        "timestamp ON click_events BEGIN " +
            leave(kClicks, "OLD") + join(kClicks, "NEW") + "END",
        "CREATE TRIGGER shortcut_usage_weekly_insert AFTER INSERT ON shortcut_usage BEGIN " + join(kUses, "NEW") +
            "END",
        "CREATE TRIGGER shortcut_usage_weekly_delete AFTER DELETE ON shortcut_usage BEGIN " + leave(kUses, "OLD") +
            "END",
        "CREATE TRIGGER shortcut_usage_weekly_update AFTER UPDATE OF shortcut_id, timestamp ON shortcut_usage BEGIN " +
            leave(kUses, "OLD") + join(kUses, "NEW") + "END",
    };
    return statements;
}

std::optional<std::int64_t> build(SQLite::Database& db, bool onlyWhenMissing) {
    if (onlyWhenMissing && hasEveryObject(db))
        return std::nullopt;
    // Immediate: two processes starting together build once, and no record slips in between the
    // fill and the triggers.
    db.exec("BEGIN IMMEDIATE");
    try {
        if (onlyWhenMissing && hasEveryObject(db)) {
            db.exec("COMMIT");
            return std::nullopt;
        }
        for (const auto& statement : createStatements())
            db.exec(statement);
        for (auto it = std::rbegin(kWeeklyObjects); it != std::rend(kWeeklyObjects); ++it) {
            SQLite::Statement type(db, "SELECT type FROM sqlite_master WHERE name = ?");
            type.bind(1, *it);
            if (type.executeStep()) {
                const std::string kind = type.getColumn(0).getString();
                type.reset();
                // Names come from the fixed list above, never from input.
                db.exec("DROP " + kind + " " + *it);
            }
        }
        const auto& statements = weeklyStatements();
        db.exec(statements[0]);
        db.exec(statements[1]);
        db.exec("INSERT INTO element_week_counts (namespace_id, element_clicked, week, count) SELECT namespace_id, "
                "element_clicked, " +
                weekOf("timestamp") +
                " AS week, COUNT(*) FROM click_events WHERE confidence >= 0.8 AND week IS NOT NULL GROUP BY "
                "namespace_id, element_clicked, week");
        db.exec("INSERT INTO shortcut_week_uses (shortcut_id, week, count) SELECT shortcut_id, " + weekOf("timestamp") +
                " AS week, COUNT(*) FROM shortcut_usage WHERE week IS NOT NULL GROUP BY shortcut_id, week");
        SQLite::Statement clicks(db, "SELECT COALESCE(SUM(count), 0) FROM element_week_counts");
        clicks.executeStep();
        const std::int64_t total = clicks.getColumn(0).getInt64();
        clicks.reset();
        for (std::size_t i = 2; i < statements.size(); ++i)
            db.exec(statements[i]);
        db.exec("COMMIT");
        return total;
    } catch (...) {
        try {
            db.exec("ROLLBACK");
        } catch (const std::exception&) {
        }
        throw;
    }
}

} // namespace tavrin::PracticeTables
