#pragma once

#include <functional>

#include "State/UserDefaultsClient.h"
#include "State/Uuid.h"
#include "platform/Clock.h"
#include "platform/PlatformProfile.h"

namespace tavrin {

class DatabaseManager;

// Everything the reducers reach outside the state. Live: the shared instances, the system clock,
// random UUIDs, the real defaults. Tests: a temp-dir database, fakes, a fixed clock and UUIDs.
// The values referred to must outlive the store.
struct Dependencies {
    const Clock* clock = nullptr;
    std::function<Uuid()> uuid = [] { return Uuid::random(); };
    UserDefaults* defaults = nullptr;
    UserDefaultsClient userDefaults;
    std::function<DatabaseManager&()> database;
    const PlatformProfile* profile = &PlatformProfile::macOS();
};

} // namespace tavrin
