#include "foundation/JsonFields.h"

namespace tavrin {

namespace {

[[noreturn]] void wrongKind(std::string_view what, const char* kind) {
    throw JsonFieldError{"\"" + std::string(what) + "\" must be " + kind};
}

} // namespace

const nlohmann::json& field(const nlohmann::json& object, std::string_view key) {
    const auto it = object.find(key);
    if (it == object.end())
        throw JsonFieldError{"missing \"" + std::string(key) + "\""};
    return *it;
}

const nlohmann::json* optionalField(const nlohmann::json& object, std::string_view key) {
    const auto it = object.find(key);
    return it == object.end() || it->is_null() ? nullptr : &*it;
}

std::string asString(const nlohmann::json& value, std::string_view what) {
    if (!value.is_string())
        wrongKind(what, "a string");
    return value.get<std::string>();
}

std::int64_t asInteger(const nlohmann::json& value, std::string_view what) {
    if (value.is_number_integer())
        return value.get<std::int64_t>();
    if (value.is_number_float()) {
        const double d = value.get<double>();
        if (d >= -9.2e18 && d <= 9.2e18 && d == static_cast<double>(static_cast<std::int64_t>(d)))
            return static_cast<std::int64_t>(d);
    }
    wrongKind(what, "an integer");
}

double asNumber(const nlohmann::json& value, std::string_view what) {
    if (!value.is_number())
        wrongKind(what, "a number");
    return value.get<double>();
}

bool asBool(const nlohmann::json& value, std::string_view what) {
    if (!value.is_boolean())
        wrongKind(what, "true or false");
    return value.get<bool>();
}

} // namespace tavrin
