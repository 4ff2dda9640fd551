#pragma once

#include <optional>
#include <string>

namespace tavrin {

// What the feedback mail says about the machine. Any thread; reads small files.
class SystemInfo {
public:
    virtual ~SystemInfo() = default;
    // The operating system's name and version as people know it ("Debian GNU/Linux 12 (bookworm)").
    virtual std::string operatingSystemVersion() const = 0;
    // The maker's name of the computer model; no value when the machine does not tell.
    virtual std::optional<std::string> hardwareModel() const = 0;
};

} // namespace tavrin
