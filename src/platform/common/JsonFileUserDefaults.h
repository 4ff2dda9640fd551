#pragma once

#include <filesystem>
#include <map>
#include <mutex>

#include "platform/UserDefaults.h"

namespace tavrin {

// User defaults kept in one JSON object in a file, readable by the user alone. Every write
// replaces the file atomically (a temporary file in the same folder, flushed, then renamed), so a
// crash mid-write leaves the previous contents. A file that cannot be parsed is moved aside to
// "<name>.corrupt" and the defaults start empty. Binary data is stored as {"$data": base64}.
class JsonFileUserDefaults final : public UserDefaults {
public:
    explicit JsonFileUserDefaults(std::filesystem::path file);

    std::optional<nlohmann::json> object(const std::string& key) const override;
    void setObject(std::optional<nlohmann::json> value, const std::string& key) override;

    const std::filesystem::path& file() const { return file_; }

private:
    void load();
    void save() const;

    std::filesystem::path file_;
    mutable std::mutex mutex_;
    std::map<std::string, nlohmann::json> values_;
};

} // namespace tavrin
