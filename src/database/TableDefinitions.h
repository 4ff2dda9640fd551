#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <SQLiteCpp/Database.h>

#include "foundation/Date.h"

namespace tavrin::TableDefinitions {

// The schema (a persisted contract: existing files carry it). Column order matters; tables are
// never altered, only created when missing.
inline constexpr const char* kTableNames[] = {
    "users", "click_events", "namespace", "actions", "shortcuts", "shortcut_usage", "accessibility_mapping"};

// The seven CREATE TABLE statements, in creation order. Date columns default to `createdAt`.
std::vector<std::string> createTableStatements(Date createdAt);

// The nineteen CREATE INDEX statements, in creation order.
const std::vector<std::string>& createIndexStatements();

// Runs the table statements in order; throws on the first failure.
void createTables(SQLite::Database& db, Date createdAt);

// Runs the index statements in order. At the first failure it prints "Error creating indexes: "
// with the error and skips the rest; it never throws.
void createIndexes(SQLite::Database& db);

// Clicks at or above this confidence are counted per element as they are written, in
// `element_click_counts`: one row per (namespace, element) with the number of such clicks and the
// smallest of their timestamps, which is what the count statement groups out of `click_events` at
// this floor. Triggers on `click_events` keep it true for every writer, in the writer's own
// transaction. The literal in the statements below is this value.
inline constexpr double kCountedConfidence = 0.8;

// The table, the index that finds an element's earliest counted click, and the triggers for insert,
// delete and update, in creation order; their names are kElementClickCountObjects.
const std::vector<std::string>& elementClickCountStatements();
inline constexpr const char* kElementClickCountObjects[] = {
    "element_click_counts", "idx_click_events_counted", "click_events_counted_insert", "click_events_counted_delete",
    "click_events_counted_update"};

// Drops whatever part of the aggregate exists, creates it and fills it from `click_events`, all in
// one immediate transaction, so a click written meanwhile by another process is counted exactly once.
// With `onlyWhenMissing`, a file that already has every part is left alone (checked inside the
// transaction). Returns the number of clicks counted, or no value when nothing was done. Throws on
// failure; the transaction is then rolled back.
std::optional<std::int64_t> buildElementClickCounts(SQLite::Database& db, bool onlyWhenMissing);

} // namespace tavrin::TableDefinitions
