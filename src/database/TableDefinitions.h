#pragma once

#include <string>
#include <vector>

#include <SQLiteCpp/Database.h>

#include "State/Date.h"

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

} // namespace tavrin::TableDefinitions
