#include <algorithm>
#include <map>
#include <tuple>

#include <SQLiteCpp/Transaction.h>

#include "database/DatabaseManager.h"

namespace tavrin {

namespace {

// "namespace_id IN (?, ?, ...)" for `ids`, or a condition that holds for every row.
std::string placeCondition(const char* column, const std::optional<std::vector<std::string>>& ids) {
    if (!ids)
        return "1";
    std::string condition = std::string(column) + " IN (";
    for (std::size_t i = 0; i < ids->size(); ++i)
        condition += i ? ", ?" : "?";
    return condition + ")";
}

void bindPlaces(SQLite::Statement& statement, const std::optional<std::vector<std::string>>& ids, int first = 1) {
    if (ids)
        for (std::size_t i = 0; i < ids->size(); ++i)
            statement.bind(first + static_cast<int>(i), (*ids)[i]);
}

// The places the user's clicks added: rows the catalogue loading did not write, with nothing of
// the catalogue pointing at them.
constexpr const char* kAddedPlace =
    "is_supported = 0 AND is_classified = 0 AND has_domain = 0 AND description IS NULL AND "
    "NOT EXISTS (SELECT 1 FROM actions a WHERE a.namespace_id = namespace.namespace_id) AND "
    "NOT EXISTS (SELECT 1 FROM shortcuts s WHERE s.namespace_id = namespace.namespace_id)";

nlohmann::ordered_json textOrNull(const SQLite::Column& column) {
    return column.isNull() ? nlohmann::ordered_json() : nlohmann::ordered_json(column.getString());
}

} // namespace

std::vector<DatabaseManager::PlaceRecords> DatabaseManager::userRecordsByPlace() {
    const Operation operation(*this);
    std::map<std::string, PlaceRecords> places;
    auto place = [&](const std::string& id) -> PlaceRecords& {
        auto& row = places[id];
        row.namespaceId = id;
        return row;
    };
    SQLite::Statement clicks(*db_, "SELECT namespace_id, COUNT(*), SUM(element_clicked <> 'unknown') FROM click_events "
                                   "GROUP BY namespace_id");
    while (clicks.executeStep()) {
        auto& row = place(clicks.getColumn(0).getString());
        row.clicks = clicks.getColumn(1).getInt64();
        row.identifiedClicks = clicks.getColumn(2).getInt64();
    }
    SQLite::Statement marks(*db_, "SELECT namespace_id, COUNT(bookmarked_at), COUNT(learned_at), COUNT(flagged_at) "
                                  "FROM shortcuts WHERE bookmarked_at IS NOT NULL OR learned_at IS NOT NULL OR "
                                  "flagged_at IS NOT NULL GROUP BY namespace_id");
    while (marks.executeStep()) {
        auto& row = place(marks.getColumn(0).getString());
        row.bookmarked = marks.getColumn(1).getInt64();
        row.learned = marks.getColumn(2).getInt64();
        row.flagged = marks.getColumn(3).getInt64();
    }
    SQLite::Statement uses(*db_, "SELECT s.namespace_id, COUNT(*) FROM shortcut_usage u JOIN shortcuts s ON "
                                 "s.shortcut_id = u.shortcut_id GROUP BY s.namespace_id");
    while (uses.executeStep())
        place(uses.getColumn(0).getString()).shortcutUses = uses.getColumn(1).getInt64();
    SQLite::Statement taught(*db_, "SELECT namespace_id, COUNT(*) FROM shortcuts WHERE shortcut_id >= ? GROUP BY "
                                   "namespace_id");
    taught.bind(1, ShortcutLearner::firstId);
    while (taught.executeStep())
        place(taught.getColumn(0).getString()).shortcutsFromApplication = taught.getColumn(1).getInt64();

    std::vector<PlaceRecords> out;
    SQLite::Statement names(*db_, "SELECT level_type, level_name FROM namespace WHERE namespace_id = ?");
    for (auto& [id, row] : places) {
        names.reset();
        names.bind(1, id);
        if (names.executeStep()) {
            row.level = namespaceLevelFromStored(names.getColumn(0).getString());
            row.name = names.getColumn(1).getString();
        } else {
            // Records of a place that is gone: shown by its id.
            const auto bar = id.find('|');
            row.level = namespaceLevelFromString(id.substr(0, bar)).value_or(NamespaceLevel::app);
            row.name = bar == std::string::npos ? id : id.substr(bar + 1);
        }
        out.push_back(row);
    }
    std::sort(out.begin(), out.end(), [](const PlaceRecords& a, const PlaceRecords& b) {
        return std::tie(a.name, a.namespaceId) < std::tie(b.name, b.namespaceId);
    });
    return out;
}

nlohmann::ordered_json DatabaseManager::exportUserRecords() {
    using Json = nlohmann::ordered_json;
    const Operation operation(*this);
    Json out = Json::object();

    Json places = Json::array();
    SQLite::Statement added(*db_, std::string("SELECT namespace_id, level_type, level_name FROM namespace WHERE ") +
                                      kAddedPlace + " ORDER BY namespace_id");
    while (added.executeStep())
        places.push_back({{"namespaceId", added.getColumn(0).getString()},
                          {"level", added.getColumn(1).getString()},
                          {"name", added.getColumn(2).getString()}});
    out["places"] = std::move(places);

    Json clicks = Json::array();
    SQLite::Statement clickRows(*db_, "SELECT namespace_id, user_id, timestamp, element_clicked, confidence, "
                                      "element_type, app_version FROM click_events ORDER BY timestamp, event_id");
    while (clickRows.executeStep())
        clicks.push_back({{"namespaceId", clickRows.getColumn(0).getString()},
                          {"userId", clickRows.getColumn(1).getString()},
                          {"timestamp", clickRows.getColumn(2).getString()},
                          {"element", clickRows.getColumn(3).getString()},
                          {"confidence", clickRows.getColumn(4).getDouble()},
                          {"elementType", clickRows.getColumn(5).getString()},
                          {"appVersion", textOrNull(clickRows.getColumn(6))}});
    out["clicks"] = std::move(clicks);

    Json uses = Json::array();
    SQLite::Statement useRows(*db_,
                              "SELECT u.shortcut_id, s.namespace_id, a.name, s.mac_keys, u.user_id, u.timestamp "
                              "FROM shortcut_usage u LEFT JOIN shortcuts s ON s.shortcut_id = u.shortcut_id "
                              "LEFT JOIN actions a ON a.action_id = s.action_id ORDER BY u.timestamp, u.usage_id");
    while (useRows.executeStep())
        uses.push_back({{"shortcutId", useRows.getColumn(0).getInt64()},
                        {"namespaceId", textOrNull(useRows.getColumn(1))},
                        {"actionName", textOrNull(useRows.getColumn(2))},
                        {"shortcutKeys", textOrNull(useRows.getColumn(3))},
                        {"userId", useRows.getColumn(4).getString()},
                        {"timestamp", useRows.getColumn(5).getString()}});
    out["shortcutUses"] = std::move(uses);

    Json marks = Json::array();
    SQLite::Statement markRows(*db_, "SELECT s.shortcut_id, s.namespace_id, a.name, s.mac_keys, s.bookmarked_at, "
                                     "s.learned_at, s.flagged_at FROM shortcuts s LEFT JOIN actions a ON "
                                     "a.action_id = s.action_id WHERE s.bookmarked_at IS NOT NULL OR s.learned_at IS "
                                     "NOT NULL OR s.flagged_at IS NOT NULL ORDER BY s.shortcut_id");
    while (markRows.executeStep())
        marks.push_back({{"shortcutId", markRows.getColumn(0).getInt64()},
                         {"namespaceId", markRows.getColumn(1).getString()},
                         {"actionName", textOrNull(markRows.getColumn(2))},
                         {"shortcutKeys", markRows.getColumn(3).getString()},
                         {"bookmarkedAt", textOrNull(markRows.getColumn(4))},
                         {"learnedAt", textOrNull(markRows.getColumn(5))},
                         {"flaggedAt", textOrNull(markRows.getColumn(6))}});
    out["marks"] = std::move(marks);

    Json learned = Json::array();
    for (const auto& shortcut : shortcutsLearnedFromApplications())
        learned.push_back({{"shortcutId", shortcut.shortcutId},
                           {"namespaceId", shortcut.namespaceId},
                           {"actionName", shortcut.name},
                           {"shortcutKeys", shortcut.keys}});
    out["learnedShortcuts"] = std::move(learned);

    // How each shortcut is being practised, and the keys the applications showed.
    Json coaching = Json::array();
    Json applicationKeys = Json::array();
    if (db_->tableExists("shortcut_coaching") && db_->tableExists("application_keys")) {
        SQLite::Statement coachingRows(*db_, "SELECT c.shortcut_id, s.namespace_id, a.name, c.nudges_off_at, "
                                             "c.offer_declined_at, c.returned_at FROM shortcut_coaching c LEFT JOIN "
                                             "shortcuts s ON s.shortcut_id = c.shortcut_id LEFT JOIN actions a ON "
                                             "a.action_id = s.action_id ORDER BY c.shortcut_id");
        while (coachingRows.executeStep())
            coaching.push_back({{"shortcutId", coachingRows.getColumn(0).getInt64()},
                                {"namespaceId", textOrNull(coachingRows.getColumn(1))},
                                {"actionName", textOrNull(coachingRows.getColumn(2))},
                                {"nudgesOffAt", textOrNull(coachingRows.getColumn(3))},
                                {"offerDeclinedAt", textOrNull(coachingRows.getColumn(4))},
                                {"returnedAt", textOrNull(coachingRows.getColumn(5))}});
        SQLite::Statement keyRows(*db_, "SELECT k.shortcut_id, s.namespace_id, a.name, s.mac_keys, k.keys, k.menu, "
                                        "k.seen_at FROM application_keys k LEFT JOIN shortcuts s ON s.shortcut_id = "
                                        "k.shortcut_id LEFT JOIN actions a ON a.action_id = s.action_id ORDER BY "
                                        "k.shortcut_id");
        while (keyRows.executeStep())
            applicationKeys.push_back({{"shortcutId", keyRows.getColumn(0).getInt64()},
                                       {"namespaceId", textOrNull(keyRows.getColumn(1))},
                                       {"actionName", textOrNull(keyRows.getColumn(2))},
                                       {"shortcutKeys", textOrNull(keyRows.getColumn(3))},
                                       {"applicationKeys", keyRows.getColumn(4).getString()},
                                       {"menu", keyRows.getColumn(5).getString()},
                                       {"seenAt", keyRows.getColumn(6).getString()}});
    }
    out["coaching"] = std::move(coaching);
    out["applicationKeys"] = std::move(applicationKeys);
    return out;
}

void DatabaseManager::forgetUserRecords(const std::optional<std::vector<std::string>>& namespaceIds) {
    const Operation operation(*this);
    // Deleted rows are overwritten, not left readable in free pages.
    db_->exec("PRAGMA secure_delete = ON");
    SQLite::Transaction transaction(*db_);
    auto run = [&](const std::string& sql) {
        SQLite::Statement statement(*db_, sql);
        bindPlaces(statement, namespaceIds);
        statement.exec();
    };
    run("DELETE FROM click_events WHERE " + placeCondition("namespace_id", namespaceIds));
    run("DELETE FROM shortcut_usage WHERE shortcut_id IN (SELECT shortcut_id FROM shortcuts WHERE " +
        placeCondition("namespace_id", namespaceIds) + ")");
    run("UPDATE shortcuts SET bookmarked_at = NULL, learned_at = NULL, flagged_at = NULL WHERE " +
        placeCondition("namespace_id", namespaceIds));
    for (const char* table : {"shortcut_coaching", "application_keys"})
        if (db_->tableExists(table))
            run(std::string("DELETE FROM ") + table +
                (namespaceIds ? " WHERE shortcut_id IN (SELECT shortcut_id FROM shortcuts WHERE " +
                                    placeCondition("namespace_id", namespaceIds) + ")"
                              : std::string()));
    // What was learned from the applications: an application that only learning made supported is
    // one the catalogue lacks again, and its menus are read afresh.
    const std::string learned = std::to_string(ShortcutLearner::firstId);
    run("UPDATE namespace SET is_supported = 0 WHERE " + placeCondition("namespace_id", namespaceIds) +
        " AND level_type = 'app' AND EXISTS (SELECT 1 FROM shortcuts s WHERE s.namespace_id = "
        "namespace.namespace_id AND s.shortcut_id >= " +
        learned +
        ") AND NOT EXISTS (SELECT 1 FROM shortcuts s WHERE s.namespace_id = namespace.namespace_id AND "
        "s.shortcut_id < " +
        learned + ")");
    run("DELETE FROM accessibility_mapping WHERE mapping_id >= " + learned + " AND " +
        placeCondition("namespace_id", namespaceIds));
    run("DELETE FROM shortcuts WHERE shortcut_id >= " + learned + " AND " +
        placeCondition("namespace_id", namespaceIds));
    run("DELETE FROM actions WHERE action_id >= " + learned + " AND " + placeCondition("namespace_id", namespaceIds) +
        " AND NOT EXISTS (SELECT 1 FROM shortcuts s WHERE s.action_id = actions.action_id)");
    for (const char* table : {"walked_versions", "pending_menu_items"})
        if (db_->tableExists(table))
            run(std::string("DELETE FROM ") + table + " WHERE " + placeCondition("namespace_id", namespaceIds));
    run(std::string("DELETE FROM namespace WHERE ") + kAddedPlace + " AND " +
        placeCondition("namespace_id", namespaceIds));
    if (!namespaceIds) {
        db_->exec("DELETE FROM shortcut_usage"); // uses of shortcuts the catalogue no longer has
        db_->exec("DELETE FROM users");
    }
    transaction.commit();
    // Also out of the write-ahead log, unless a running application is reading just now.
    try {
        db_->exec("PRAGMA wal_checkpoint(TRUNCATE)");
    } catch (const std::exception&) {
    }
}

} // namespace tavrin
