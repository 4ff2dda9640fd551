#include "platform/common/JsonFileUserDefaults.h"

#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <glib.h>
#include <set>
#include <sstream>
#include <sys/file.h>
#include <unistd.h>

#include "foundation/Folders.h"
#include "platform/Log.h"

namespace tavrin {

namespace {

// Binary data that holds JSON text is kept under these keys as that JSON itself, so the file reads
// as one document. Other binary data is kept as {"$data": base64}, the form these keys had too in
// files written before.
const std::set<std::string> kJsonTextKeys = {"FTUEState"};

bool isData(const nlohmann::json& value) {
    return value.is_object() && value.size() == 1 && value.contains("$data") && value["$data"].is_string();
}

nlohmann::json toStored(const std::string& key, const nlohmann::json& value) {
    if (!value.is_binary())
        return value;
    const auto& bytes = value.get_binary();
    if (kJsonTextKeys.count(key)) {
        auto parsed = nlohmann::json::parse(bytes.begin(), bytes.end(), nullptr, false);
        if (!parsed.is_discarded() && !isData(parsed))
            return parsed;
    }
    gchar* text = g_base64_encode(bytes.data(), bytes.size());
    nlohmann::json stored = {{"$data", std::string(text)}};
    g_free(text);
    return stored;
}

nlohmann::json fromStored(const std::string& key, const nlohmann::json& value) {
    if (isData(value)) {
        gsize size = 0;
        guchar* bytes = g_base64_decode(value["$data"].get_ref<const std::string&>().c_str(), &size);
        auto data = nlohmann::json::binary(std::vector<std::uint8_t>(bytes, bytes + size));
        g_free(bytes);
        return data;
    }
    if (kJsonTextKeys.count(key)) {
        const std::string text = value.dump();
        return nlohmann::json::binary(std::vector<std::uint8_t>(text.begin(), text.end()));
    }
    return value;
}

} // namespace

JsonFileUserDefaults::JsonFileUserDefaults(std::filesystem::path file) : file_(std::move(file)) {
    load();
}

std::optional<JsonFileUserDefaults::Values> JsonFileUserDefaults::read() const {
    std::ifstream in(file_, std::ios::binary);
    if (!in) {
        std::error_code ec;
        if (std::filesystem::exists(file_, ec) || ec)
            return std::nullopt;
        return Values{};
    }
    std::stringstream buffer;
    buffer << in.rdbuf();
    const auto parsed = nlohmann::json::parse(buffer.str(), nullptr, false);
    if (parsed.is_discarded() || !parsed.is_object())
        return std::nullopt;
    Values values;
    for (auto it = parsed.begin(); it != parsed.end(); ++it)
        values[it.key()] = fromStored(it.key(), *it);
    return values;
}

void JsonFileUserDefaults::load() {
    if (auto values = read()) {
        values_ = std::move(*values);
        return;
    }
    std::error_code ignored;
    auto aside = file_;
    aside += ".corrupt";
    std::filesystem::rename(file_, aside, ignored);
    printLine("Unreadable preferences moved to " + aside.string() + "; starting with defaults");
}

std::vector<std::string> JsonFileUserDefaults::take(Values values) {
    std::vector<std::string> changed;
    for (const auto& [key, value] : values)
        if (auto held = values_.find(key); held == values_.end() || held->second != value)
            changed.push_back(key);
    for (const auto& [key, value] : values_)
        if (!values.count(key))
            changed.push_back(key);
    values_ = std::move(values);
    return changed;
}

void JsonFileUserDefaults::reload() {
    std::vector<std::string> changed;
    {
        std::lock_guard lock(mutex_);
        if (auto values = read())
            changed = take(std::move(*values));
    }
    report(changed);
}

void JsonFileUserDefaults::setChangeHandler(ChangeHandler handler) {
    std::lock_guard lock(mutex_);
    handler_ = std::move(handler);
}

void JsonFileUserDefaults::report(const std::vector<std::string>& keys) const {
    ChangeHandler handler;
    {
        std::lock_guard lock(mutex_);
        handler = handler_;
    }
    if (handler && !keys.empty())
        handler(keys);
}

std::optional<nlohmann::json> JsonFileUserDefaults::object(const std::string& key) const {
    std::lock_guard lock(mutex_);
    auto it = values_.find(key);
    if (it == values_.end())
        return std::nullopt;
    return it->second;
}

namespace {

// An exclusive lock on "<file>.lock" for as long as it lives; none when the folder cannot be used
// (the write then goes ahead as it would without other processes).
class FileLock {
public:
    explicit FileLock(const std::filesystem::path& file) {
        std::error_code ignored;
        std::filesystem::create_directories(file.parent_path(), ignored);
        auto path = file;
        path += ".lock";
        fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd_ >= 0)
            while (::flock(fd_, LOCK_EX) != 0 && errno == EINTR) {
            }
    }
    ~FileLock() {
        if (fd_ >= 0)
            ::close(fd_); // releases the lock
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    int fd_ = -1;
};

} // namespace

void JsonFileUserDefaults::setObject(std::optional<nlohmann::json> value, const std::string& key) {
    std::vector<std::string> changed;
    {
        const FileLock fileLock(file_);
        std::lock_guard lock(mutex_);
        // Another process's keys as it left them; this key as this process sets it.
        if (auto values = read())
            changed = take(std::move(*values));
        std::erase(changed, key);
        if (value)
            values_[key] = fromStored(key, toStored(key, *value)); // as a later read gives it back
        else
            values_.erase(key);
        save();
    }
    report(changed);
}

void JsonFileUserDefaults::save() const {
    nlohmann::json document = nlohmann::json::object();
    for (const auto& [key, value] : values_)
        document[key] = toStored(key, value);
    const std::string text = document.dump(2) + "\n";

    std::error_code ec;
    std::filesystem::create_directories(file_.parent_path(), ec);
    if (std::string problem; !replaceFile(file_, text, problem))
        printLine("Could not save preferences to " + file_.string() + ": " + problem);
}

} // namespace tavrin
