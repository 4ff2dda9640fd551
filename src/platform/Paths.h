#pragma once

#include <filesystem>
#include <optional>

namespace tavrin {

// Where the program keeps its files.
class Paths {
public:
    virtual ~Paths() = default;
    // The per-user folder for application data; the database lives in its "tavrin" subfolder.
    // No value when the environment gives none (no home folder).
    virtual std::optional<std::filesystem::path> applicationSupportDirectory() const = 0;
    // The JSON file that holds the user defaults.
    virtual std::filesystem::path userDefaultsFile() const = 0;
    // The folder with the catalogue exports and other shipped resources.
    virtual std::filesystem::path resourcesDirectory() const = 0;
};

// Everything under one folder: DIR/tavrin/db.sqlite and DIR/tavrin/defaults.json.
// Used for --data-dir and by tests, which never touch the user's files.
class DataDirPaths final : public Paths {
public:
    DataDirPaths(std::filesystem::path dataDir, std::filesystem::path resourcesDir)
        : dataDir_(std::move(dataDir)), resourcesDir_(std::move(resourcesDir)) {}
    std::optional<std::filesystem::path> applicationSupportDirectory() const override { return dataDir_; }
    std::filesystem::path userDefaultsFile() const override { return dataDir_ / "tavrin" / "defaults.json"; }
    std::filesystem::path resourcesDirectory() const override { return resourcesDir_; }

private:
    std::filesystem::path dataDir_;
    std::filesystem::path resourcesDir_;
};

} // namespace tavrin
