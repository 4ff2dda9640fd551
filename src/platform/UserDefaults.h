#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace tavrin {

// A small persistent key-value store for preferences. Keys in use (a persisted contract):
// "DatabaseVersion" (integer), "LaunchAtLogin" (boolean), "FTUEState" (binary data holding JSON),
// "AnonymousUserId" (string). Values are JSON; binary data is a JSON binary value.
// Implementations are thread-safe; a write is durable when the call returns.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    virtual std::optional<nlohmann::json> object(const std::string& key) const = 0;
    // No value removes the key.
    virtual void setObject(std::optional<nlohmann::json> value, const std::string& key) = 0;

    // Typed reads in the manner of the platform's defaults: a missing key or a value of another
    // kind reads false or 0; numbers and the strings "yes"/"true"/"1" convert.
    bool boolForKey(const std::string& key) const;
    std::int64_t integerForKey(const std::string& key) const;
    void setBool(bool value, const std::string& key) { setObject(nlohmann::json(value), key); }
    void setInteger(std::int64_t value, const std::string& key) { setObject(nlohmann::json(value), key); }
};

} // namespace tavrin
