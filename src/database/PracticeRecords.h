#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Date.h"

namespace tavrin {

// What the store keeps for coaching, beside the catalogue and the user's records: how a shortcut
// is being practised, the keys an application really uses, and the weekly sums behind the
// progress.

// Seconds one use of a shortcut saves over the click it replaces, as the yearly estimates count.
inline constexpr double kSecondsSavedPerUse = 2.2;

// Keys an application's own menus show for an action, where they differ from the catalogue's
// (the user rebound them, or the catalogue is wrong for this version).
struct ApplicationKeys {
    std::string keys;        // canonical key text ("control + alt + s")
    std::string application; // the place's name as the namespace holds it ("mousepad")
    std::string menu;        // the outermost menu the item sits in ("File"); empty for a button
    Date seenAt{};
    bool operator==(const ApplicationKeys&) const = default;
};

// One shortcut as the coach sees it: its marks, its coaching marks and the keys to teach.
struct CoachedShortcut {
    std::int64_t shortcutId = 0;
    std::string namespaceId;
    std::string actionName;
    std::string shortcutKeys; // the catalogue's
    std::optional<ApplicationKeys> applicationKeys;
    std::optional<Date> learnedAt;
    bool flagged = false;
    std::optional<Date> nudgesOffAt;     // "Not for this one"
    std::optional<Date> offerDeclinedAt; // the graduation offer, turned down
    std::optional<Date> returnedAt;      // back for practice since
    bool operator==(const CoachedShortcut&) const = default;

    // The keys the user presses in this application: its own where they differ.
    const std::string& keys() const { return applicationKeys ? applicationKeys->keys : shortcutKeys; }
};

// Clicks on a shortcut's action (at the counting floor, in its namespace) and uses of the shortcut
// from a date on, and the first use it ever had.
struct PracticeBalance {
    std::int64_t clicks = 0;
    std::int64_t uses = 0;
    std::optional<Date> firstUse;
    bool operator==(const PracticeBalance&) const = default;
};

// The coaching marks a shortcut can carry: dates, cleared by writing no date.
enum class CoachingMark { nudgesOff, offerDeclined, returned };

// What `tavrin progress` and the progress window show.
struct ProgressReport {
    // One week, Monday 00:00 UTC on: clicks on the actions of the shortcuts being learned, and
    // uses of those shortcuts. Being learned: clicked (at the counting floor), bookmarked or
    // learned, neither flagged nor with nudges off.
    struct Week {
        Date start{};
        std::int64_t clicks = 0;
        std::int64_t uses = 0;
        bool operator==(const Week&) const = default;
    };
    struct Learned {
        std::int64_t shortcutId = 0;
        std::string namespaceId;
        std::string place; // the namespace's name ("mousepad", "github")
        std::string actionName;
        std::string keys; // the application's own where known
        Date learnedAt{};
        bool operator==(const Learned&) const = default;
    };
    std::vector<Week> weeks;      // oldest first, every week of the span, also those without records
    std::vector<Learned> learned; // newest first
    std::int64_t totalUses = 0;   // of the shortcuts being learned and learned, since the records began
    double secondsSaved() const { return static_cast<double>(totalUses) * kSecondsSavedPerUse; }
    bool operator==(const ProgressReport&) const = default;
};

} // namespace tavrin
