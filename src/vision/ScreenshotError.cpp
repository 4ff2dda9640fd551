#include "vision/ScreenshotError.h"

namespace tavrin {

std::string ScreenshotError::localizedDescription() const {
    switch (kind) {
    case Kind::noPermission:
        return "Screen recording permission is missing";
    case Kind::timeout:
        return "No picture arrived in time";
    case Kind::unknown:
        break;
    }
    return underlying.description;
}

} // namespace tavrin
