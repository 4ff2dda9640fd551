#pragma once

#include <chrono>
#include <optional>

#include <nlohmann/json_fwd.hpp>

#include "foundation/Date.h"

namespace tavrin {

// A pause of the counting the user asked for: while it holds, no click is inspected, no key is
// booked and the application in front is not followed. It holds until the user resumes, or until
// `until` when it was given a length.
//
// Kept in the defaults under "Pause" (a persisted contract) as {"since": date, "until": date},
// dates in the database's text form, "until" absent for a pause without end; no key, no pause.
// Other processes (the `tavrin pause` command) write it too.
struct Pause {
    static constexpr const char* defaultsKey = "Pause";

    Date since;
    std::optional<Date> until;

    bool operator==(const Pause&) const = default;

    // A pause from `now`, for `length` or without end.
    static Pause starting(Date now, std::optional<std::chrono::minutes> length);
    // Whether it has run out at `now`.
    bool isOver(Date now) const { return until && now >= *until; }

    nlohmann::json toStored() const;
    // No value for anything but the stored form.
    static std::optional<Pause> fromStored(const nlohmann::json& value);
};

// Whether `pause` holds at `now`.
inline bool isPaused(const std::optional<Pause>& pause, Date now) {
    return pause && !pause->isOver(now);
}

} // namespace tavrin
