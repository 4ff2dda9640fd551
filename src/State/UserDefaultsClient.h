#pragma once

#include <functional>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "platform/UserDefaults.h"

namespace tavrin {

// The defaults as four functions, so that a feature can be given another store in tests.
struct UserDefaultsClient {
    std::function<void(bool, const std::string&)> setBool;
    std::function<bool(const std::string&)> boolForKey;
    std::function<void(std::optional<nlohmann::json>, const std::string&)> setObject;
    std::function<std::optional<nlohmann::json>(const std::string&)> object;

    // A client over `defaults`, which must outlive it.
    static UserDefaultsClient live(UserDefaults& defaults) {
        return {
            [&defaults](bool value, const std::string& key) { defaults.setBool(value, key); },
            [&defaults](const std::string& key) { return defaults.boolForKey(key); },
            [&defaults](std::optional<nlohmann::json> value, const std::string& key) {
                defaults.setObject(std::move(value), key);
            },
            [&defaults](const std::string& key) { return defaults.object(key); },
        };
    }
};

} // namespace tavrin
