#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <SQLiteCpp/Database.h>

namespace tavrin::PracticeTables {

// The coaching's tables (a persisted contract, like the schema; never altered, only created when
// missing), in creation order:
//  - shortcut_coaching: per shortcut, the dates of "Not for this one", of a turned-down graduation
//    offer, and since when it is back for practice;
//  - application_keys: per shortcut, the keys its application's own menus show where they differ
//    from the catalogue's, the menu they were read in, and when;
//  - an index on shortcut_usage (shortcut_id, timestamp) for a shortcut's uses in a span.
const std::vector<std::string>& createStatements();

// Weekly sums for the progress, kept by triggers as the per-element counts are: clicks at the
// counting floor per (namespace, element, week) and uses per (shortcut, week). A week is named by
// its Monday, UTC ("2026-11-23"); a timestamp SQLite cannot read as a date is left out.
const std::vector<std::string>& weeklyStatements();
inline constexpr const char* kWeeklyObjects[] = {"element_week_counts",          "shortcut_week_uses",
                                                 "click_events_weekly_insert",   "click_events_weekly_delete",
                                                 "click_events_weekly_update",   "shortcut_usage_weekly_insert",
                                                 "shortcut_usage_weekly_delete", "shortcut_usage_weekly_update"};

// The SQL expression that names the week of the date text `column`.
std::string weekOf(const std::string& column);

// Creates what is missing: the tables and the index, then (dropping any part that exists) the
// weekly sums filled from the records, all in one immediate transaction. With `onlyWhenMissing`, a
// file that has every object is left alone. Returns the number of clicks counted into the weekly
// sums when they were built. Throws on failure, having changed nothing.
std::optional<std::int64_t> build(SQLite::Database& db, bool onlyWhenMissing);

} // namespace tavrin::PracticeTables
