#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/Image.h"

namespace tavrin {

// One label of the model with its confidence.
struct ClassificationObservation {
    std::string identifier;
    float confidence = 0;
    bool operator==(const ClassificationObservation&) const = default;
};

// The model runtime failed: the file could not be loaded, or an inference could not run. The text
// is one sentence.
class ModelError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A loaded click classifier. The contract: two inputs, `image_input` (the picture, laid out and
// scaled as the model's metadata says) and `app_name_input` (a 32-bit integer of shape [1], the
// application's index), and one output, a score per label.
class ClassifierModel {
public:
    virtual ~ClassifierModel() = default;

    // The model's own string entries ("app_name_to_idx", "labels", ...).
    virtual const std::map<std::string, std::string>& metadata() const = 0;

    // Runs the model on `image` with `appIndex` as its application input: every label with its
    // confidence, highest first. No value when the output is not a score per label. Throws
    // ModelError. Not for two threads at once.
    virtual std::optional<std::vector<ClassificationObservation>> classify(const Image& image,
                                                                           std::int32_t appIndex) = 0;
};

class ModelLoader {
public:
    virtual ~ModelLoader() = default;
    // Loads the model file and checks it against the contract. Throws ModelError with the reason.
    virtual std::unique_ptr<ClassifierModel> load(const std::filesystem::path& file) = 0;
};

} // namespace tavrin
