#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "database/PracticeRecords.h"
#include "platform/PlatformProfile.h"

namespace tavrin {

// What the "Your Progress" window shows: the weekly chart with its table for screen readers, the
// shortcuts learned, and the time saved.
struct ProgressPresentation {
    struct Week {
        std::string label; // under its bars: "Nov 16", the Monday it starts
        std::int64_t clicks = 0;
        std::int64_t uses = 0;
        // The table's row as a screen reader reads it: "Week of Nov 16: 12 clicks, 30 shortcut uses".
        std::string spoken;
        bool operator==(const Week&) const = default;
    };
    struct Learned {
        std::string actionName;
        std::string place; // "Mousepad"
        std::string keys;  // "Ctrl + S"
        std::string when;  // "Nov 20, 2026"
        // As a screen reader reads the row: "Save, Ctrl + S, in Mousepad, learned Nov 20, 2026".
        std::string spoken;
        bool operator==(const Learned&) const = default;
    };
    std::vector<Week> weeks; // oldest first
    // The value axis: four equal steps from 0 to its top, which reaches the largest count of a week.
    std::int64_t scaleStep = 1;
    std::int64_t scaleTop = 4;
    std::vector<Learned> learned; // newest first
    std::string noneLearned;      // in place of the list while it is empty
    std::string timeSaved;
    bool operator==(const ProgressPresentation&) const = default;
};

// "Nov 16": a day as the chart's labels and the lists say it.
std::string shortDay(Date date);

ProgressPresentation presentProgress(const ProgressReport& report, const PlatformProfile& profile,
                                     std::string_view locale = "");

} // namespace tavrin
