#pragma once

#include <functional>

#include "State/DatabaseClient.h"
#include "State/UserDefaultsClient.h"
#include "foundation/Date.h"
#include "foundation/Uuid.h"
#include "platform/PlatformProfile.h"

namespace tavrin {

class AccessibilityManaging;
class MainQueue;
class ScreenshotManaging;

// Everything the reducers reach outside the state. The composition root sets every member to its
// live value (the shared instances, the system clock, random UUIDs, the real defaults); a test
// starts from members that fail when called and sets those its scenario uses. The values referred
// to must outlive the store.
struct Dependencies {
    std::function<Date()> now;
    std::function<Uuid()> uuid;
    UserDefaultsClient userDefaults;
    DatabaseClient database;
    std::function<AccessibilityManaging&()> accessibility;
    std::function<ScreenshotManaging&()> screenshots;
    // Effects that must hop to the main thread (the capture, the tracker) post here.
    MainQueue* mainQueue = nullptr;
    const PlatformProfile* profile = &PlatformProfile::macOS();
};

} // namespace tavrin
