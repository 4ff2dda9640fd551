#include "app/ShellTexts.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace tavrin {

std::string releaseName(const BundleInfo& bundle) {
    return bundle.identifier.value_or("unknown") + "@" + bundle.shortVersion.value_or("unknown") + "+" +
           bundle.version.value_or("unknown");
}

std::string systemInformationText(const PlatformProfile& profile, const std::string& osVersion,
                                  const std::string& model, const BundleInfo& bundle) {
    return profile.osVersionLabel + osVersion + "\n" + profile.modelLabel + model +
           "\nApp Version: " + bundle.shortVersion.value_or("Unknown") +
           "\nBuild Number: " + bundle.version.value_or("Unknown");
}

std::string percentEncodeQuery(std::string_view text) {
    static constexpr char kAllowed[] = "!$&'()*+,-./:;=?@_~";
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) || (byte < 0x80 && byte && std::strchr(kAllowed, c))) {
            out.push_back(c);
        } else {
            out.push_back('%');
            out.push_back(kHex[byte >> 4]);
            out.push_back(kHex[byte & 0x0F]);
        }
    }
    return out;
}

bool parsesAsUrl(std::string_view text) {
    const auto colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0 || !std::isalpha(static_cast<unsigned char>(text[0])))
        return false;
    for (std::size_t i = 0; i < colon; ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (!std::isalnum(c) && c != '+' && c != '-' && c != '.')
            return false;
    }
    static constexpr char kAllowed[] = "-._~:/?#[]@!$&'()*+,;=";
    int hashes = 0;
    for (std::size_t i = colon + 1; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c == '%') {
            if (i + 2 >= text.size() || !std::isxdigit(static_cast<unsigned char>(text[i + 1])) ||
                !std::isxdigit(static_cast<unsigned char>(text[i + 2])))
                return false;
            i += 2;
            continue;
        }
        if (c == '#')
            ++hashes;
        if (!c || c >= 0x80 || !(std::isalnum(c) || std::strchr(kAllowed, static_cast<char>(c))))
            return false;
    }
    return hashes <= 1;
}

std::optional<std::string> feedbackMailUrl(const std::string& address, const std::string& systemInformation) {
    if (address.empty())
        return std::nullopt;
    const std::string body = "\n\n\n\n\n\n\n---------------------\nSystem Information:\n" + systemInformation;
    std::string url =
        "mailto:" + address + "?subject=" + percentEncodeQuery(kFeedbackSubject) + "&body=" + percentEncodeQuery(body);
    if (!parsesAsUrl(url))
        return std::nullopt;
    return url;
}

} // namespace tavrin
