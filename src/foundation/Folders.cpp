#include "foundation/Folders.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace tavrin {

bool replaceFile(const std::filesystem::path& file, const std::string& text, std::string& problem) {
    auto temporary = file;
    temporary += ".tmp";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        problem = std::strerror(errno);
        return false;
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
    const bool complete = written == text.size() && ::fsync(fd) == 0;
    const int error = errno;
    ::close(fd);
    if (!complete || ::rename(temporary.c_str(), file.c_str()) != 0) {
        problem = std::strerror(complete ? errno : error);
        ::unlink(temporary.c_str());
        return false;
    }
    return true;
}

TemporaryFolder::TemporaryFolder(const std::string& prefix) {
    std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "XXXXXX")).string();
    if (!::mkdtemp(pattern.data()))
        throw std::filesystem::filesystem_error("cannot make a temporary folder", pattern,
                                                std::error_code(errno, std::generic_category()));
    path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace tavrin
