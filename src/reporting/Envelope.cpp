#include "reporting/Envelope.h"

#include <algorithm>
#include <cctype>

namespace tavrin {

std::optional<Dsn> Dsn::parse(const std::string& text) {
    Dsn dsn;
    const auto schemeEnd = text.find("://");
    if (schemeEnd == std::string::npos)
        return std::nullopt;
    dsn.scheme = text.substr(0, schemeEnd);
    if (dsn.scheme != "http" && dsn.scheme != "https")
        return std::nullopt;
    std::string rest = text.substr(schemeEnd + 3);
    const auto at = rest.find('@');
    if (at == std::string::npos)
        return std::nullopt;
    dsn.publicKey = rest.substr(0, rest.find_first_of(":@")); // a secret after ':' is not used
    rest = rest.substr(at + 1);
    const auto slash = rest.find('/');
    if (slash == std::string::npos)
        return std::nullopt;
    dsn.host = rest.substr(0, slash);
    std::string path = rest.substr(slash + 1);
    while (!path.empty() && path.back() == '/')
        path.pop_back();
    const auto last = path.rfind('/');
    dsn.projectId = last == std::string::npos ? path : path.substr(last + 1);
    dsn.path = last == std::string::npos ? std::string() : path.substr(0, last);
    auto plain = [](const std::string& s) {
        return !s.empty() && std::all_of(s.begin(), s.end(), [](unsigned char c) {
            return std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == ':' || c == '[' || c == ']';
        });
    };
    if (!plain(dsn.publicKey) || !plain(dsn.host) || !plain(dsn.projectId) ||
        dsn.path.find_first_of(" ?#") != std::string::npos)
        return std::nullopt;
    return dsn;
}

std::string Dsn::envelopeUrl() const {
    return scheme + "://" + host + "/" + (path.empty() ? "" : path + "/") + "api/" + projectId + "/envelope/";
}

std::vector<std::string> Dsn::headers(const std::string& clientVersion) const {
    return {"Content-Type: application/x-sentry-envelope",
            "X-Sentry-Auth: Sentry sentry_version=7, sentry_client=tavrin/" + clientVersion +
                ", sentry_key=" + publicKey};
}

std::string makeEnvelope(const nlohmann::json& payload, const std::string& itemType, const std::string& sentAt,
                         const std::string& sdkVersion) {
    nlohmann::ordered_json header;
    if (payload.contains("event_id"))
        header["event_id"] = payload["event_id"];
    header["sent_at"] = sentAt;
    header["sdk"] = {{"name", "tavrin"}, {"version", sdkVersion}};
    const std::string body = payload.dump();
    const nlohmann::ordered_json item = {{"type", itemType}, {"length", body.size()}};
    return header.dump() + "\n" + item.dump() + "\n" + body + "\n";
}

} // namespace tavrin
