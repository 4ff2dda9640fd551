#include "platform/common/JsonFileUserDefaults.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/file.h>
#include <unistd.h>

#include "platform/Log.h"

namespace tavrin {

namespace {

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string encodeBase64(const std::vector<std::uint8_t>& bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::uint32_t n =
            bytes[i] << 16 | (i + 1 < bytes.size() ? bytes[i + 1] << 8 : 0) | (i + 2 < bytes.size() ? bytes[i + 2] : 0);
        out.push_back(kBase64[n >> 18 & 63]);
        out.push_back(kBase64[n >> 12 & 63]);
        out.push_back(i + 1 < bytes.size() ? kBase64[n >> 6 & 63] : '=');
        out.push_back(i + 2 < bytes.size() ? kBase64[n & 63] : '=');
    }
    return out;
}

std::optional<std::vector<std::uint8_t>> decodeBase64(const std::string& text) {
    std::vector<std::uint8_t> out;
    std::uint32_t buffer = 0;
    int bits = 0;
    for (char c : text) {
        if (c == '=')
            break;
        const char* p = std::strchr(kBase64, c);
        if (!p || c == '\0')
            return std::nullopt;
        buffer = buffer << 6 | static_cast<std::uint32_t>(p - kBase64);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out.push_back(static_cast<std::uint8_t>(buffer >> bits & 0xFF));
        }
    }
    return out;
}

// Binary values are not part of JSON text; they travel as {"$data": base64}.
nlohmann::json toStored(const nlohmann::json& value) {
    if (value.is_binary())
        return {{"$data", encodeBase64(value.get_binary())}};
    if (value.is_object() || value.is_array()) {
        nlohmann::json out = value.is_object() ? nlohmann::json::object() : nlohmann::json::array();
        for (auto it = value.begin(); it != value.end(); ++it) {
            if (value.is_object())
                out[it.key()] = toStored(*it);
            else
                out.push_back(toStored(*it));
        }
        return out;
    }
    return value;
}

nlohmann::json fromStored(const nlohmann::json& value) {
    if (value.is_object() && value.size() == 1 && value.contains("$data") && value["$data"].is_string()) {
        if (auto bytes = decodeBase64(value["$data"].get<std::string>()))
            return nlohmann::json::binary(std::move(*bytes));
    }
    if (value.is_object() || value.is_array()) {
        nlohmann::json out = value.is_object() ? nlohmann::json::object() : nlohmann::json::array();
        for (auto it = value.begin(); it != value.end(); ++it) {
            if (value.is_object())
                out[it.key()] = fromStored(*it);
            else
                out.push_back(fromStored(*it));
        }
        return out;
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
        values[it.key()] = fromStored(*it);
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
            values_[key] = std::move(*value);
        else
            values_.erase(key);
        save();
    }
    report(changed);
}

void JsonFileUserDefaults::save() const {
    nlohmann::json document = nlohmann::json::object();
    for (const auto& [key, value] : values_)
        document[key] = toStored(value);
    const std::string text = document.dump(2) + "\n";

    std::error_code ec;
    std::filesystem::create_directories(file_.parent_path(), ec);
    auto temporary = file_;
    temporary += ".tmp";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        printLine("Could not save preferences to " + file_.string() + ": " + std::strerror(errno));
        return;
    }
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t n = ::write(fd, text.data() + written, text.size() - written);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        written += static_cast<std::size_t>(n);
    }
    const bool ok = written == text.size() && ::fsync(fd) == 0;
    ::close(fd);
    if (!ok || ::rename(temporary.c_str(), file_.c_str()) != 0) {
        printLine("Could not save preferences to " + file_.string() + ": " + std::strerror(errno));
        ::unlink(temporary.c_str());
    }
}

} // namespace tavrin
