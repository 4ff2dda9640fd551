#pragma once

#include <functional>
#include <optional>
#include <string>

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
    // The display name of the application that owns a process, as the front application is named;
    // no value when it shows no window. Off the main thread: it may read the window list.
    std::function<std::optional<std::string>(int processId)> applicationOfProcess;
    // For a click on a button of process `processId` in the application `app` (the namespace's
    // normalised name): reads again the menu items of `appNamespaceId` that showed no shortcut
    // while disabled and that `value`, the button's name, stands for, and learns those that show
    // one now; true when one was stored. Unset, nothing is read. Off the main thread: it waits on
    // the application.
    std::function<bool(const std::string& appNamespaceId, const std::string& app, int processId,
                       const std::string& value)>
        learnPendingMenuItems;
    // Effects that must hop to the main thread (the capture, the tracker) post here.
    MainQueue* mainQueue = nullptr;
    const PlatformProfile* profile = &PlatformProfile::macOS();
};

} // namespace tavrin
