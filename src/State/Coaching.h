#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "database/PracticeRecords.h"
#include "foundation/Date.h"
#include "foundation/LimitedQueue.h"
#include "platform/InputMonitor.h"

namespace tavrin {

// How a click was made, as the click intake saw it.
struct ClickOrigin {
    MouseButton button = MouseButton::left;
    // Made by a program on the user's behalf (an on-screen keyboard, a dwell or voice clicker, a
    // test tool), not by a pointing device.
    bool synthetic = false;
    bool operator==(const ClickOrigin&) const = default;

    // Only the user's own left click on a control stands for a shortcut not pressed: a right click
    // opens a menu, a side button means back or forward wherever the pointer is.
    bool canBeMiss() const { return button == MouseButton::left && !synthetic; }
};

// The coach speaking up: a click just did what a shortcut would have.
struct Nudge {
    std::int64_t shortcutId = 0;
    std::string actionName;
    std::string keys; // as the user presses them here: the application's own where known
    std::optional<ApplicationKeys> applicationKeys;
    Date at{};
    // A second has passed without the shortcut being pressed: the click was a miss for sure, and a
    // desktop notification may follow.
    bool settled = false;
    bool operator==(const Nudge&) const = default;
};

// Misses of one shortcut this session and its last nudge, which space the nudges out.
struct NudgeSpacing {
    struct Count {
        std::int64_t quietMisses = 0; // misses since the last nudge that brought none
        std::optional<Date> nudgedAt;
        bool operator==(const Count&) const = default;
    };
    Count count;
    // The last miss, taken back when the shortcut is pressed within a second after it: `count`
    // returns to what it was before.
    std::optional<Date> lastMissAt;
    Count beforeLastMiss;
    bool operator==(const NudgeSpacing&) const = default;
};

// What a card of the lists says besides its shortcut; only shortcuts with something to say.
struct CoachingNote {
    std::int64_t shortcutId = 0;
    std::optional<ApplicationKeys> applicationKeys;
    bool offersGraduation = false; // "You've got this: mark as learned?"
    bool backForPractice = false;
    bool operator==(const CoachingNote&) const = default;
};

// The coaching's preferences. Kept in the defaults under "Coaching" (a persisted contract) as
// {"nudgeEvery": n, "notifications": bool}; a missing or unreadable value takes its default.
struct CoachingPreferences {
    static constexpr const char* defaultsKey = "Coaching";

    std::int64_t nudgeEvery = 3; // at most one nudge per shortcut per this many misses
    bool notifications = false;  // nudges also as desktop notifications
    bool operator==(const CoachingPreferences&) const = default;

    nlohmann::json toStored() const;
    static CoachingPreferences fromStored(const std::optional<nlohmann::json>& value);
};

// The state of the coaching, a field of the root feature's state.
struct Coaching {
    CoachingPreferences preferences;
    std::optional<Nudge> nudge;
    std::map<std::int64_t, NudgeSpacing> spacing; // by shortcut id
    // Clicks that cannot be misses, by the click's UUID (a left click of a pointing device is
    // not kept).
    LimitedQueue<ClickOrigin> clickOrigins;
    // For the shortcuts of both lists, in the order of the recommendations, then the learned.
    std::vector<CoachingNote> notes;
    bool operator==(const Coaching&) const = default;

    const CoachingNote* note(std::int64_t shortcutId) const {
        for (const auto& n : notes)
            if (n.shortcutId == shortcutId)
                return &n;
        return nullptr;
    }
};

// The rules the coach follows, apart from the store so that they read as one list.
namespace CoachingRules {

// A click and a press of the same shortcut this close together are one act (a menu opened with
// the mouse and the item chosen by its keys, a habit of both): the click is no miss.
inline constexpr auto keyWindow = std::chrono::milliseconds(std::chrono::seconds(1));
// At most one nudge per shortcut per minute, besides the count of misses.
inline constexpr auto nudgeInterval = std::chrono::milliseconds(std::chrono::minutes(1));
// Graduation: over the last week, at least five uses and more uses than clicks, in a week of use
// (and a week since it came back for practice).
inline constexpr auto graduationSpan = std::chrono::milliseconds(std::chrono::days(7));
inline constexpr std::int64_t graduationUses = 5;
// A declined offer comes again a week later at the earliest.
inline constexpr auto offerPause = std::chrono::milliseconds(std::chrono::days(7));
// Back for practice: since it was learned, over the last two weeks at most, more clicks than uses
// and at least three clicks.
inline constexpr auto returnSpan = std::chrono::milliseconds(std::chrono::days(14));
inline constexpr std::int64_t returnClicks = 3;

// Whether a miss of a shortcut with this spacing brings a nudge at `now`.
bool nudges(const NudgeSpacing::Count& count, std::int64_t nudgeEvery, Date now);
// Whether the card offers to mark the shortcut learned, given its balance over the last week.
bool offersGraduation(const CoachedShortcut& shortcut, const PracticeBalance& lastWeek, Date now);
// Where the balance for the return starts: two weeks back, but not before it was learned.
Date returnBalanceStart(const CoachedShortcut& shortcut, Date now);
// Whether a learned shortcut goes back to practice, given its balance from returnBalanceStart on.
bool returnsForPractice(const CoachedShortcut& shortcut, const PracticeBalance& balance);

} // namespace CoachingRules

} // namespace tavrin
