#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "foundation/Image.h"
#include "platform/Log.h"
#include "vision/ClassifierModel.h"
#include "vision/CodedError.h"

namespace tavrin {

// Labels what was clicked from the picture around the click and the application it was taken in,
// with an on-device model loaded once, when the instance is made. A missing or unreadable model
// is logged and leaves a classifier whose every call fails with code 1.
class ImageClassifier {
public:
    static constexpr const char* modelFileName = "tavrin_v0_3.onnx";
    static constexpr const char* errorDomain = "ImageClassifier";

    // Looks for the model in `resourcesDirectory` and loads it with `loader`. Logs problems under
    // the category "Classification"; never throws.
    ImageClassifier(const std::filesystem::path& resourcesDirectory, ModelLoader& loader);

    // The label the model ranks first for `image`, and its confidence. `appName` and `domain` are
    // the place as the state holds it. Any thread; one classification runs at a time. Throws
    // CodedError with code 1 (no model, or no picture) or 2 (no results), and the model's
    // ModelError as it is.
    std::pair<std::string, float> classify(const ImageRef& image, const std::string& appName,
                                           const std::string& domain);

    // The model's name for the application: "gmail" whenever the site is "gmail", else the
    // mapping's name for `appName`, else the empty name. Exact, case-sensitive matches.
    std::string modelAppName(const std::string& appName, const std::string& domain) const;
    // The model's index for that name; 0 for a name the model does not know.
    std::int32_t appIndex(const std::string& modelAppName) const;

    bool hasModel() const { return model_ != nullptr; }
    const std::map<std::string, std::int32_t>& appNameToIndexMapping() const { return appNameToIndexMapping_; }
    const std::map<std::string, std::string>& appNameMapping() const { return appNameMapping_; }

private:
    void loadAppNameToIndexMapping();

    std::unique_ptr<ClassifierModel> model_;
    std::map<std::string, std::int32_t> appNameToIndexMapping_;
    // From this system's application names to the model's.
    std::map<std::string, std::string> appNameMapping_;
    Logger logger_;
    std::mutex classifying_;
};

} // namespace tavrin
