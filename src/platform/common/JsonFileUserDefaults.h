#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

#include "platform/UserDefaults.h"

namespace tavrin {

// User defaults kept in one JSON object in a file, readable by the user alone. Every write
// replaces the file atomically (a temporary file in the same folder, flushed, then renamed), so a
// crash mid-write leaves the previous contents. A file that cannot be parsed is moved aside to
// "<name>.corrupt" and the defaults start empty. The first-run state, binary data that holds JSON,
// is stored as that JSON itself; other binary data as {"$data": base64}, which is read for both.
//
// Several processes share the file (the running application and the `tavrin` commands): a write
// takes an exclusive lock on "<name>.lock", reads the file again and changes only its own key, so
// that no process undoes another's. What another process changed is seen at the next write or
// reload(), and reported to the change handler.
class JsonFileUserDefaults final : public UserDefaults {
public:
    using ChangeHandler = std::function<void(const std::vector<std::string>& keys)>;

    explicit JsonFileUserDefaults(std::filesystem::path file);

    std::optional<nlohmann::json> object(const std::string& key) const override;
    void setObject(std::optional<nlohmann::json> value, const std::string& key) override;

    // Reads the file again, for when another process may have written it. A file that cannot be
    // read or parsed leaves the values as they are.
    void reload();
    // Called, on the thread that read the file and without the lock held, with the keys another
    // process added, changed or removed. Set it before the file is shared.
    void setChangeHandler(ChangeHandler handler);

    const std::filesystem::path& file() const { return file_; }

private:
    using Values = std::map<std::string, nlohmann::json>;
    void load();
    // The file's values; an empty set for no file, no value when it cannot be read or parsed.
    std::optional<Values> read() const;
    // Takes `values` as the file's, and gives the keys whose values differ from those held.
    std::vector<std::string> take(Values values);
    void save() const;
    void report(const std::vector<std::string>& keys) const;

    ChangeHandler handler_;

    std::filesystem::path file_;
    mutable std::mutex mutex_;
    Values values_;
};

} // namespace tavrin
