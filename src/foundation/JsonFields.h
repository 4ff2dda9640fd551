#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace tavrin {

// Strict reading of JSON documents in the manner of a typed decoder: a missing key or a value of
// another kind throws JsonFieldError, whose message names the key ("missing \"at\"",
// "\"x\" must be a number"), so that a file's reader can say which line and which field is wrong.
struct JsonFieldError {
    std::string message;
};

// The value under `key`; a null value counts as present.
const nlohmann::json& field(const nlohmann::json& object, std::string_view key);
// The value under `key`, or null when it is missing or null.
const nlohmann::json* optionalField(const nlohmann::json& object, std::string_view key);

// `value` as a given kind; `what` names it in the error. Integers also accept numbers without a
// fraction (3.0), as JSON does not tell them apart.
std::string asString(const nlohmann::json& value, std::string_view what);
std::int64_t asInteger(const nlohmann::json& value, std::string_view what);
double asNumber(const nlohmann::json& value, std::string_view what);
bool asBool(const nlohmann::json& value, std::string_view what);

inline std::string stringField(const nlohmann::json& object, std::string_view key) {
    return asString(field(object, key), key);
}
inline std::int64_t integerField(const nlohmann::json& object, std::string_view key) {
    return asInteger(field(object, key), key);
}
inline double numberField(const nlohmann::json& object, std::string_view key) {
    return asNumber(field(object, key), key);
}
inline bool boolField(const nlohmann::json& object, std::string_view key) {
    return asBool(field(object, key), key);
}

} // namespace tavrin
