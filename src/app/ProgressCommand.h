#pragma once

#include <iosfwd>
#include <string>

#include "app/DataCommands.h"
#include "database/PracticeRecords.h"

namespace tavrin {

struct ProgressOptions {
    bool json = false;
    int weeks = 8; // the weeks shown, the current one last
};

// `tavrin progress`: per week, clicks on the actions of the shortcuts being learned against uses
// of those shortcuts; the shortcuts learned and when; the time the uses saved so far.
int runProgress(StoredData& data, const ProgressOptions& options, std::ostream& out);

// The report as JSON: "weeks" (each "weekOf", its Monday, "clicks", "uses"), "learned" (each
// "shortcutId", "namespaceId", "place", "actionName", "shortcutKeys", "learnedAt"), "uses",
// "secondsPerUse", "secondsSaved".
std::string progressJson(const ProgressReport& report);

// A length of time as the progress says it: "less than a minute", "1 minute", "2 hours 5 minutes".
std::string timeSavedText(double seconds);

} // namespace tavrin
