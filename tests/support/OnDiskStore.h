#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <SQLiteCpp/Statement.h>

#include "database/DatabaseManager.h"
#include "platform/common/JsonFileUserDefaults.h"
#include "support/CapturingLogSink.h"
#include "support/FixedClock.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"

namespace tavrin::testing {

// A data folder as the program keeps it: the database, the preferences file, the catalogue
// exports in `catalogue` (none until the test writes them) and the log captured. `start` opens
// the store as a start of the program does, on a fixed clock unless the test sets `storeClock`.
struct OnDiskStore {
    TempDir home;
    std::filesystem::path catalogue = home / "catalogue";
    FixedClock clock;
    const Clock* storeClock = &clock;
    JsonFileUserDefaults defaults{home / "defaults.json"};
    UserDefaults* storeDefaults = &defaults;
    DataDirPaths paths{home.path(), catalogue};
    ScopedLogCapture log;
    std::unique_ptr<DatabaseManager> db;

    // Closes the store if it is open, then opens it again.
    DatabaseManager& start() {
        db.reset();
        db = std::make_unique<DatabaseManager>(DatabaseManager::Configuration{
            .paths = &paths, .defaults = storeDefaults, .clock = storeClock, .catalogueDirectory = catalogue});
        return *db;
    }

    // A table's rows, or the first value of a query.
    std::int64_t count(const std::string& tableOrQuery) const {
        SQLite::Statement query(db->db(), tableOrQuery.find(' ') == std::string::npos
                                              ? "SELECT COUNT(*) FROM " + tableOrQuery
                                              : tableOrQuery);
        query.executeStep();
        return query.getColumn(0).getInt64();
    }

    // `times` clicks at once, stored as the store stores them.
    void click(const std::string& ns, const std::string& element, int times = 1, double confidence = 1.0,
               std::chrono::hours ago = std::chrono::hours(24)) {
        db->insertClickEvents(
            std::vector<ClickEvent>(static_cast<std::size_t>(times),
                                    ClickEvent{"u", ns, clock.now() - ago, element, confidence, "accessibility", {}}));
    }

    // The ids of the list for a namespace, from its clicks and marks.
    std::vector<std::int64_t> listed(const std::string& ns, std::optional<std::int64_t> limit = std::nullopt) {
        std::vector<std::int64_t> out;
        for (const auto& r : db->getRecommendations(db->countElementClicks(ns, 0.8), ns, limit))
            out.push_back(r.base.shortcutId);
        return out;
    }

    // Printed lines starting with `prefix`.
    std::size_t printed(const std::string& prefix) const {
        const auto lines = log->printed();
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(), [&](const std::string& l) { return l.rfind(prefix, 0) == 0; }));
    }
};

} // namespace tavrin::testing
