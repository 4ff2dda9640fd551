#pragma once

#include <string>

namespace tavrin {

// An error value carried by actions; compares by its description.
struct ErrorValue {
    std::string description;
    bool operator==(const ErrorValue&) const = default;
};

} // namespace tavrin
