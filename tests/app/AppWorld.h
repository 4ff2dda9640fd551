#pragma once

#include <gtest/gtest.h>

#include "app/AppDelegate.h"
#include "app/Replay.h"
#include "platform/fake/FakeDesktop.h"
#include "platform/fake/VirtualScheduler.h"
#include "sensing/AccessibilityManager.h"
#include "support/Fakes.h"
#include "support/OnDiskStore.h"

namespace tavrin::testing {

// The application's wiring on a fake desktop with virtual time and the small catalogue. The
// database opens when the application first asks for it.
struct AppWorld : ::testing::Test, OnDiskStore {
    VirtualScheduler scheduler;
    FakeDesktop desktop;
    FakeScreenshots screenshots;
    AccessibilityManager accessibility{desktop, desktop, scheduler, PlatformProfile::linuxDesktop()};
    std::function<void()> databaseOpened; // told when the database opens

    AppWorld() {
        writeSmallCatalogue(catalogue);
        storeClock = &scheduler;
    }

    // Everything but the shell, on the preferences `prefs`.
    AppEnvironment environment(UserDefaults& prefs) {
        storeDefaults = &prefs;
        return fakeDesktopEnvironment(
            scheduler, desktop, prefs,
            [this]() -> DatabaseManager& {
                if (!db) {
                    if (databaseOpened)
                        databaseOpened();
                    start();
                }
                return *db;
            },
            accessibility, screenshots);
    }
};

} // namespace tavrin::testing
