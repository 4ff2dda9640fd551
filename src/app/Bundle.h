#pragma once

#include <optional>
#include <string>

namespace tavrin {

// What the program knows about itself: its identifier, its version and its build number.
struct BundleInfo {
    std::optional<std::string> identifier;   // "tavrin.tavrin.app"
    std::optional<std::string> shortVersion; // "0.1.0"
    std::optional<std::string> version;      // the build number
    bool operator==(const BundleInfo&) const = default;

    // This build's.
    static BundleInfo current();
};

// The settings a deployment gives at build time (CMake cache variables); each may be empty.
struct DeploymentSettings {
    std::string errorReportingDsn;
    std::string feedbackAddress;
    std::string communityUrl;
    std::string updateFeed;

    // This build's.
    static DeploymentSettings current();
};

} // namespace tavrin
