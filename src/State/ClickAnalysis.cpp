#include "State/ClickAnalysis.h"

namespace tavrin {

std::string_view rawValue(ClickAnalysis::ResultSource source) {
    switch (source) {
    case ClickAnalysis::ResultSource::accessibility:
        return "accessibility";
    case ClickAnalysis::ResultSource::classification:
        return "classification";
    case ClickAnalysis::ResultSource::fallback:
        return "fallback";
    }
    return "fallback";
}

std::string_view rawValue(ShortcutCategory category) {
    return category == ShortcutCategory::recommended ? "Recommended" : "Learned";
}

std::optional<ShortcutCategory> shortcutCategoryFromRaw(std::string_view raw) {
    for (auto category : kAllShortcutCategories)
        if (rawValue(category) == raw)
            return category;
    return std::nullopt;
}

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
