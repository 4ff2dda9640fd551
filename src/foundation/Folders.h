#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tavrin {

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
