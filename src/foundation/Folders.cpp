#include "foundation/Folders.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <unistd.h>

namespace tavrin {

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
