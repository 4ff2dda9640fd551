#pragma once

#include <filesystem>

#include "platform/SystemInfo.h"

namespace tavrin {

// os-release's PRETTY_NAME (else NAME and VERSION, else the kernel's name and release) and the
// DMI product name.
class LinuxSystemInfo final : public SystemInfo {
public:
    explicit LinuxSystemInfo(std::filesystem::path root = "/") : root_(std::move(root)) {}
    std::string operatingSystemVersion() const override;
    std::optional<std::string> hardwareModel() const override;

private:
    std::filesystem::path root_; // "/" but in tests
};

} // namespace tavrin
