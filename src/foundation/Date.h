#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

// A point in time with millisecond precision, UTC.
using Date = std::chrono::sys_time<std::chrono::milliseconds>;

// "yyyy-MM-dd'T'HH:mm:ss.SSS" in UTC: the text form of every date in the database
// (a persisted contract: stored click times are parsed back with it).
std::string formatDate(Date date);

// Parses exactly the form formatDate writes; anything else gives no value.
std::optional<Date> parseDate(std::string_view text);

// Whole seconds since 1970 in milliseconds, the analytics service's time unit.
inline std::int64_t millisecondsSinceEpoch(Date date) {
    return date.time_since_epoch().count();
}

} // namespace tavrin
