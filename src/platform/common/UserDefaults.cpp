#include "platform/UserDefaults.h"
#include "foundation/Text.h"

#include <algorithm>
#include <cctype>

namespace tavrin {

bool UserDefaults::boolForKey(const std::string& key) const {
    const auto value = object(key);
    if (!value)
        return false;
    if (value->is_boolean())
        return value->get<bool>();
    if (value->is_number())
        return value->get<double>() != 0;
    if (value->is_string()) {
        const std::string text = lowercased(value->get<std::string>());
        return text == "yes" || text == "true" || text == "1";
    }
    return false;
}

std::int64_t UserDefaults::integerForKey(const std::string& key) const {
    const auto value = object(key);
    if (!value)
        return 0;
    if (value->is_boolean())
        return value->get<bool>() ? 1 : 0;
    if (value->is_number_integer())
        return value->get<std::int64_t>();
    if (value->is_number_float())
        return static_cast<std::int64_t>(value->get<double>());
    if (value->is_string()) {
        try {
            return std::stoll(value->get<std::string>());
        } catch (...) {
            return 0;
        }
    }
    return 0;
}

} // namespace tavrin
