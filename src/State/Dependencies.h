#pragma once

#include <functional>

#include "State/UserDefaultsClient.h"
#include "foundation/Uuid.h"
#include "platform/Clock.h"
#include "platform/PlatformProfile.h"

namespace tavrin {

class AccessibilityManaging;
class DatabaseManager;
class MainQueue;
class ScreenshotManaging;

// Everything the reducers reach outside the state. Live: the shared instances, the system clock,
// random UUIDs, the real defaults. Tests: a temp-dir database, fakes, a fixed clock and UUIDs.
// The values referred to must outlive the store.
struct Dependencies {
    const Clock* clock = nullptr;
    std::function<Uuid()> uuid = [] { return Uuid::random(); };
    // The standard defaults ("LaunchAtLogin"), and the client the first-run flow saves through.
    UserDefaults* defaults = nullptr;
    UserDefaultsClient userDefaults;
    std::function<DatabaseManager&()> database;
    std::function<AccessibilityManaging&()> accessibility;
    std::function<ScreenshotManaging&()> screenshots;
    // Effects that must hop to the main thread (the capture) post here.
    MainQueue* mainQueue = nullptr;
    const PlatformProfile* profile = &PlatformProfile::macOS();

    Date now() const { return clock->now(); }
};

} // namespace tavrin
