#include "platform/linux/InstanceLock.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sstream>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace tavrin {

std::optional<std::filesystem::path> InstanceLock::runtimeDirectory(std::string& problem) {
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime && runtime[0] == '/')
        return std::filesystem::path(runtime);
    // Never a shared name in /tmp that another user could have made first.
    std::error_code ec;
    const auto folder = std::filesystem::temp_directory_path(ec) / ("tavrin-" + std::to_string(::getuid()));
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        problem = "cannot make " + folder.string() + ": " + std::strerror(errno);
        return std::nullopt;
    }
    struct stat info {};
    if (::lstat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != ::getuid() ||
        (info.st_mode & 077) != 0) {
        problem = folder.string() + " is not a private folder of this user; set XDG_RUNTIME_DIR";
        return std::nullopt;
    }
    return folder;
}

std::unique_ptr<InstanceLock> InstanceLock::acquire(const std::filesystem::path& folder, const std::string& role,
                                                    std::optional<Holder>& holder, std::string& problem) {
    holder.reset();
    const auto path = folder / "tavrin.lock";
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        problem = "cannot open " + path.string() + ": " + std::strerror(errno);
        return nullptr;
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        char text[128] = {};
        const auto n = ::pread(fd, text, sizeof text - 1, 0);
        ::close(fd);
        if (error != EWOULDBLOCK) {
            problem = "cannot lock " + path.string() + ": " + std::strerror(error);
            return nullptr;
        }
        Holder found;
        std::istringstream words(std::string(text, n > 0 ? static_cast<std::size_t>(n) : 0));
        if (words >> found.role >> found.pid)
            holder = found;
        else
            holder = Holder{};
        return nullptr;
    }
    const std::string line = role + " " + std::to_string(::getpid()) + "\n";
    if (::ftruncate(fd, 0) == 0) {
        [[maybe_unused]] auto written = ::pwrite(fd, line.data(), line.size(), 0);
    }
    return std::unique_ptr<InstanceLock>(new InstanceLock(folder, fd));
}

InstanceLock::~InstanceLock() {
    if (fd_ >= 0) {
        [[maybe_unused]] auto cleared = ::ftruncate(fd_, 0);
        ::close(fd_);
    }
}

bool askRunningApplication(const std::filesystem::path& socket, const std::string& request,
                           std::chrono::milliseconds patience) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = socket.string();
    if (path.size() >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const auto until = std::chrono::steady_clock::now() + patience;
    for (;;) {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0)
            return false;
        if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            const std::string line = request + "\n";
            const bool sent = ::send(fd, line.data(), line.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(line.size());
            ::close(fd);
            return sent;
        }
        ::close(fd);
        if (std::chrono::steady_clock::now() >= until)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

std::string describeHolder(const InstanceLock::Holder& holder) {
    std::string what = holder.role == "app"     ? "the Tavrin application"
                       : holder.role == "watch" ? "tavrin watch"
                       : holder.role == "setup" ? "tavrin setup"
                                                : "another Tavrin";
    if (holder.pid > 0)
        what += " (process " + std::to_string(holder.pid) + ")";
    return what;
}

} // namespace tavrin
