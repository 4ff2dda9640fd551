#pragma once

#include <gtest/gtest.h>

#include "app/AppDelegate.h"
#include "app/Replay.h"
#include "database/DatabaseManager.h"
#include "platform/fake/FakeDesktop.h"
#include "platform/fake/VirtualScheduler.h"
#include "sensing/AccessibilityManager.h"
#include "support/Fakes.h"
#include "support/TempDir.h"
#include "support/TestCatalogue.h"

namespace tavrin::testing {

// The application's wiring on a fake desktop with virtual time and the small catalogue. The
// database opens when the application first asks for it.
struct AppWorld : ::testing::Test {
    TempDir home;
    VirtualScheduler scheduler;
    FakeDesktop desktop;
    InMemoryUserDefaults defaults;
    FakeScreenshots screenshots;
    DataDirPaths paths{home.path(), home / "catalogue"};
    std::unique_ptr<DatabaseManager> database;
    AccessibilityManager accessibility{desktop, desktop, scheduler, PlatformProfile::linuxDesktop()};
    std::function<void()> databaseOpened; // told when the database opens

    AppWorld() { writeSmallCatalogue(home / "catalogue"); }

    // Everything but the shell, on the preferences `prefs`.
    AppEnvironment environment(UserDefaults& prefs) {
        return fakeDesktopEnvironment(
            scheduler, desktop, prefs,
            [this, prefs = &prefs]() -> DatabaseManager& {
                if (!database) {
                    if (databaseOpened)
                        databaseOpened();
                    database = std::make_unique<DatabaseManager>(
                        DatabaseManager::Configuration{.paths = &paths,
                                                       .defaults = prefs,
                                                       .clock = &scheduler,
                                                       .catalogueDirectory = home / "catalogue"});
                }
                return *database;
            },
            accessibility, screenshots);
    }

    std::int64_t rows(const std::string& table) const {
        for (const auto& [name, count] : database->tableRowCounts())
            if (name == table)
                return count;
        return -1;
    }
};

} // namespace tavrin::testing
