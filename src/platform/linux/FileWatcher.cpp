#include "platform/linux/FileWatcher.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <system_error>
#include <unistd.h>

#include "platform/common/Threads.h"

namespace tavrin {

FileWatcher::FileWatcher(std::filesystem::path file, std::function<void()> changed)
    : file_(std::move(file)), changed_(std::move(changed)) {
    inotify_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotify_ < 0)
        throw std::system_error(errno, std::generic_category(), "inotify");
    // The folder, not the file: writers replace the file, which ends a watch on the file itself.
    if (::inotify_add_watch(inotify_, file_.parent_path().c_str(), IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE) < 0) {
        const int error = errno;
        ::close(inotify_);
        throw std::system_error(error, std::generic_category(), "watching " + file_.parent_path().string());
    }
    stop_ = ::eventfd(0, EFD_CLOEXEC);
    if (stop_ < 0) {
        const int error = errno;
        ::close(inotify_);
        throw std::system_error(error, std::generic_category(), "eventfd");
    }
    thread_ = startThread([this] { run(); });
}

FileWatcher::~FileWatcher() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(stop_, &one, sizeof one);
    thread_.join();
    ::close(stop_);
    ::close(inotify_);
}

void FileWatcher::run() {
    const std::string name = file_.filename().string();
    alignas(inotify_event) char buffer[4096];
    for (;;) {
        pollfd fds[2] = {{inotify_, POLLIN, 0}, {stop_, POLLIN, 0}};
        if (::poll(fds, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (fds[1].revents)
            return;
        bool ours = false;
        for (;;) {
            const ssize_t length = ::read(inotify_, buffer, sizeof buffer);
            if (length <= 0)
                break;
            for (ssize_t at = 0; at < length;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
                if (event->len && name == event->name)
                    ours = true;
                if (event->mask & IN_Q_OVERFLOW)
                    ours = true;
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            }
        }
        if (ours)
            changed_();
    }
}

} // namespace tavrin
