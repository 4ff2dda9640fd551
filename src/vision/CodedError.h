#pragma once

#include <stdexcept>
#include <string>

namespace tavrin {

// An error of the picture path with a domain and a code, such as ("ImageClassifier", 2, "Failed to
// get classification results"). what() is the printed form: "ImageClassifier error 2: Failed to
// get classification results"; description() is the sentence alone.
class CodedError : public std::runtime_error {
public:
    CodedError(std::string domain, int code, std::string description)
        : std::runtime_error(domain + " error " + std::to_string(code) + ": " + description),
          domain_(std::move(domain)), code_(code), description_(std::move(description)) {}

    const std::string& domain() const { return domain_; }
    int code() const { return code_; }
    const std::string& description() const { return description_; }

private:
    std::string domain_;
    int code_;
    std::string description_;
};

// The sentence of an error for people: a CodedError's description, else what().
inline std::string localizedDescription(const std::exception& error) {
    if (const auto* coded = dynamic_cast<const CodedError*>(&error))
        return coded->description();
    return error.what();
}

} // namespace tavrin
