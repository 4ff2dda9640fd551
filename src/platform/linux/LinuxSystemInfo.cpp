#include "platform/linux/LinuxSystemInfo.h"

#include <fstream>
#include <map>
#include <sys/utsname.h>

#include "foundation/Text.h"

namespace tavrin {

namespace {

// os-release is shell-style KEY=value lines; values may be quoted.
std::map<std::string, std::string> readOsRelease(const std::filesystem::path& file) {
    std::map<std::string, std::string> values;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        const auto equals = line.find('=');
        if (equals == std::string::npos || line[0] == '#')
            continue;
        std::string value = line.substr(equals + 1);
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
            value = value.substr(1, value.size() - 2);
        std::string unescaped;
        for (std::size_t i = 0; i < value.size(); ++i) {
            if (value[i] == '\\' && i + 1 < value.size())
                ++i;
            unescaped.push_back(value[i]);
        }
        values[line.substr(0, equals)] = unescaped;
    }
    return values;
}

} // namespace

std::string LinuxSystemInfo::operatingSystemVersion() const {
    auto release = readOsRelease(root_ / "etc/os-release");
    if (release.empty())
        release = readOsRelease(root_ / "usr/lib/os-release");
    if (!release["PRETTY_NAME"].empty())
        return release["PRETTY_NAME"];
    if (!release["NAME"].empty())
        return release["VERSION"].empty() ? release["NAME"] : release["NAME"] + " " + release["VERSION"];
    utsname names{};
    if (::uname(&names) == 0)
        return std::string(names.sysname) + " " + names.release;
    return "Linux";
}

std::optional<std::string> LinuxSystemInfo::hardwareModel() const {
    std::ifstream in(root_ / "sys/devices/virtual/dmi/id/product_name");
    std::string model;
    std::getline(in, model);
    model = trimmed(model);
    if (model.empty())
        return std::nullopt;
    return model;
}

} // namespace tavrin
