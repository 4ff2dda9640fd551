#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>

#include "foundation/Date.h"

namespace tavrin {

// The steps of the first-run flow, by raw value (a persisted contract: stored as the integer).
enum class FTUEStep : std::int64_t {
    welcome = 0,
    personalization = 1,
    productivityPotential = 2,
    howToUseTavrin = 3,
    privacySetup = 4,
};

// A value of an analytics event property. These are the only kinds the program puts there.
using PropertyValue = std::variant<std::string, bool, std::int64_t, double, float, Date, FTUEStep>;
using Properties = std::map<std::string, PropertyValue>;

// An optional dictionary that compares equal to any other, so that actions carrying event
// properties still compare.
struct EquatableDict {
    std::optional<Properties> dict;
    bool operator==(const EquatableDict&) const { return true; }
};

} // namespace tavrin
