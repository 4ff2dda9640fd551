#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace tavrin {

// One process at a time counts the clicks of a user's session: the desktop application and
// `tavrin watch` (and `setup`) each hold an exclusive lock on tavrin.lock in the runtime folder
// for as long as they run. The kernel releases it however the process ends.
class InstanceLock {
public:
    // Who holds the lock, as the holder wrote it.
    struct Holder {
        std::string role; // "app", "watch", "setup"
        int pid = 0;
    };

    // $XDG_RUNTIME_DIR; without it, a folder of this user's own under the temporary folder
    // (mode 0700, refused when someone else owns it). No value, and `problem` said, when neither
    // can be used.
    static std::optional<std::filesystem::path> runtimeDirectory(std::string& problem);

    // Takes the lock in `folder` for `role`. Null when another process holds it (`holder` tells
    // which, when it said) or when the lock file cannot be made (`problem` says why).
    static std::unique_ptr<InstanceLock> acquire(const std::filesystem::path& folder, const std::string& role,
                                                 std::optional<Holder>& holder, std::string& problem);
    ~InstanceLock();

    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    const std::filesystem::path& folder() const { return folder_; }
    // Where the holder listens for a second start (the desktop application only).
    std::filesystem::path socketPath() const { return folder_ / "tavrin.sock"; }

private:
    InstanceLock(std::filesystem::path folder, int fd) : folder_(std::move(folder)), fd_(fd) {}
    std::filesystem::path folder_;
    int fd_ = -1;
};

// A request to the running application: connects to its socket and asks it to "show" its window (a
// second start) or to "focus" the cheat sheet (`tavrin shortcut focus`), trying for up to
// `patience` (it may still be starting). True when the request was delivered.
bool askRunningApplication(const std::filesystem::path& socket, const std::string& request,
                           std::chrono::milliseconds patience);

// "the desktop application", "tavrin watch", "tavrin setup": for messages.
std::string describeHolder(const InstanceLock::Holder& holder);

} // namespace tavrin
