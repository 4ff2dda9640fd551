#pragma once

#include <string>

#include "foundation/ErrorValue.h"

namespace tavrin {

// Why a screen capture failed.
struct ScreenshotError {
    enum class Kind { unknown, noPermission, timeout };
    Kind kind = Kind::unknown;
    ErrorValue underlying; // for `unknown`
    bool operator==(const ScreenshotError&) const = default;

    // A sentence for people and for the classification text of a failed capture.
    std::string localizedDescription() const;
};

} // namespace tavrin
