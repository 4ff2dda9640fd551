#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tavrin {

// Writes `text` to `file` readable by the owner alone, replacing it whole or not at all: a
// temporary file beside it, flushed to disk, then renamed over it. False, with the reason in
// `problem`, when it cannot; the previous contents then stay.
bool replaceFile(const std::filesystem::path& file, const std::string& text, std::string& problem);

// A fresh folder under the system's temporary folder, named `prefix` and a unique tail, removed
// with everything in it when this goes. Throws std::filesystem::filesystem_error when it cannot be made.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const std::string& prefix = "tavrin-");
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

} // namespace tavrin
