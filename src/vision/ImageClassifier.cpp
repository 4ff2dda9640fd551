#include "vision/ImageClassifier.h"

#include <limits>
#include <system_error>

#include <nlohmann/json.hpp>

namespace tavrin {

namespace {

constexpr const char* kIndexKey = "app_name_to_idx";

// Well-formed UTF-8: no stray continuation bytes, no overlong forms, no surrogates, nothing above
// U+10FFFF.
bool isUtf8(const std::string& text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto byte = static_cast<unsigned char>(text[i]);
        int extra = 0;
        char32_t min = 0, codePoint = 0;
        if (byte < 0x80) {
            ++i;
            continue;
        } else if ((byte & 0xe0) == 0xc0) {
            extra = 1, min = 0x80, codePoint = byte & 0x1f;
        } else if ((byte & 0xf0) == 0xe0) {
            extra = 2, min = 0x800, codePoint = byte & 0x0f;
        } else if ((byte & 0xf8) == 0xf0) {
            extra = 3, min = 0x10000, codePoint = byte & 0x07;
        } else {
            return false;
        }
        if (i + extra >= text.size())
            return false;
        for (int k = 1; k <= extra; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xc0) != 0x80)
                return false;
            codePoint = (codePoint << 6) | (next & 0x3f);
        }
        if (codePoint < min || codePoint > 0x10ffff || (codePoint >= 0xd800 && codePoint <= 0xdfff))
            return false;
        i += extra + 1;
    }
    return true;
}

// The table as a JSON object of names to 32-bit integers; throws with the reason otherwise.
std::map<std::string, std::int32_t> decodeIndexTable(const std::string& text) {
    const auto json = nlohmann::json::parse(text);
    if (!json.is_object())
        throw std::invalid_argument("expected an object of names to indices");
    std::map<std::string, std::int32_t> table;
    for (const auto& [name, value] : json.items()) {
        const bool fits =
            (value.is_number_integer() && value.get<std::int64_t>() >= std::numeric_limits<std::int32_t>::min() &&
             value.get<std::int64_t>() <= std::numeric_limits<std::int32_t>::max()) ||
            (value.is_number_unsigned() && value.get<std::uint64_t>() <= std::numeric_limits<std::int32_t>::max());
        if (!fits)
            throw std::invalid_argument("the index of \"" + name + "\" is not a 32-bit integer: " + value.dump());
        table[name] = static_cast<std::int32_t>(value.get<std::int64_t>());
    }
    return table;
}

} // namespace

ImageClassifier::ImageClassifier(const std::filesystem::path& resourcesDirectory, ModelLoader& loader)
    : appNameMapping_{{"gmail", "gmail"},     {"google_chrome", "chrome"}, {"safari", "safari"},
                      {"firefox", "firefox"}, {"mail", "apple_mail"},      {"microsoft_outlook", "outlook"},
                      {"slack", "slack"}},
      logger_(std::string(kLogSubsystem), "Classification") {
    const auto file = resourcesDirectory / modelFileName;
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) {
        logger_.error("Failed to find the model file 'tavrin_v0_3.mlpackage' in the main bundle.");
        return;
    }
    try {
        model_ = loader.load(file);
    } catch (const std::exception& error) {
        logger_.error(std::string("Failed to load the model: ") + error.what());
        return;
    }
    loadAppNameToIndexMapping();
}

void ImageClassifier::loadAppNameToIndexMapping() {
    const auto& metadata = model_->metadata();
    const auto entry = metadata.find(kIndexKey);
    if (entry == metadata.end()) {
        logger_.error("app_name_to_idx not found in model metadata");
        return;
    }
    if (!isUtf8(entry->second)) {
        logger_.error("Failed to convert app_name_to_idx string to data");
        return;
    }
    try {
        appNameToIndexMapping_ = decodeIndexTable(entry->second);
    } catch (const std::exception& error) {
        logger_.error(std::string("Failed to parse app_name_to_idx JSON: ") + error.what());
    }
}

std::string ImageClassifier::modelAppName(const std::string& appName, const std::string& domain) const {
    if (domain == "gmail")
        return "gmail";
    const auto it = appNameMapping_.find(appName);
    return it == appNameMapping_.end() ? std::string() : it->second;
}

std::int32_t ImageClassifier::appIndex(const std::string& modelAppName) const {
    const auto it = appNameToIndexMapping_.find(modelAppName);
    return it == appNameToIndexMapping_.end() ? 0 : it->second;
}

std::pair<std::string, float> ImageClassifier::classify(const ImageRef& image, const std::string& appName,
                                                        const std::string& domain) {
    if (!model_ || !image || image->width <= 0 || image->height <= 0 ||
        image->rgba.size() != static_cast<std::size_t>(image->width) * image->height * 4)
        throw CodedError(errorDomain, 1, "Failed to convert NSImage to CGImage");
    const std::int32_t index = appIndex(modelAppName(appName, domain));
    std::lock_guard lock(classifying_);
    const auto results = model_->classify(*image, index);
    if (!results || results->empty())
        throw CodedError(errorDomain, 2, "Failed to get classification results");
    return {results->front().identifier, results->front().confidence};
}

} // namespace tavrin
