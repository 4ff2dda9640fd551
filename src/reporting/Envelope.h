#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace tavrin {

// A project's client key, "https://<public key>@<host>[:port][/<path>]/<project id>".
struct Dsn {
    std::string scheme;
    std::string publicKey;
    std::string host; // with the port, when given
    std::string path; // between the host and the project id, without slashes at either end
    std::string projectId;

    // No value for text that is not such a key.
    static std::optional<Dsn> parse(const std::string& text);
    // Where envelopes are posted.
    std::string envelopeUrl() const;
    // The request headers that carry the key.
    std::vector<std::string> headers(const std::string& clientVersion) const;
};

// The service's ingestion format: a header line, then one item (header line and payload). The
// payload's length is its exact byte count. `sentAt` is RFC 3339, UTC.
std::string makeEnvelope(const nlohmann::json& payload, const std::string& itemType, const std::string& sentAt,
                         const std::string& sdkVersion);

} // namespace tavrin
