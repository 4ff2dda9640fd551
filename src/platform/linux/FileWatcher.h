#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <thread>

namespace tavrin {

// Calls `changed` on a thread of its own whenever a file is written, replaced (the atomic rename
// of a writer) or removed, by this process or another. The file's folder must exist. Several
// changes in quick succession may give one call; there may be calls without a change.
class FileWatcher {
public:
    // Throws std::system_error when the system's file notifications cannot be used.
    FileWatcher(std::filesystem::path file, std::function<void()> changed);
    // Stops, and waits for a call under way.
    ~FileWatcher();
    FileWatcher(const FileWatcher&) = delete;
    FileWatcher& operator=(const FileWatcher&) = delete;

private:
    void run();

    std::filesystem::path file_;
    std::function<void()> changed_;
    int inotify_ = -1;
    int stop_ = -1; // an eventfd that ends the thread
    std::thread thread_;
};

} // namespace tavrin
