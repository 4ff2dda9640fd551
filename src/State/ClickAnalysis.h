#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "State/Date.h"
#include "State/Uuid.h"

namespace tavrin {

// One click's analysis: what the accessibility path and the image path found, and the decision.
struct ClickAnalysis {
    struct AccessibilityResult {
        std::string elementInfo;
        double confidence = 0;
        bool operator==(const AccessibilityResult&) const = default;
    };
    struct ClassificationResult {
        std::string subType;
        float confidence = 0;
        bool operator==(const ClassificationResult&) const = default;
    };
    // Raw values are written to storage and analytics (a persisted contract).
    enum class ResultSource { accessibility, classification, fallback };
    struct FinalResult {
        std::string elementClicked;
        double confidence = 0;
        ResultSource source = ResultSource::fallback;
        bool operator==(const FinalResult&) const = default;
    };

    Uuid uuid;
    Date timestamp{};
    AccessibilityResult accessibilityResult;
    ClassificationResult classificationResult;
    std::optional<FinalResult> finalResult;
    bool operator==(const ClickAnalysis&) const = default;
};

std::string_view rawValue(ClickAnalysis::ResultSource source);

// The list the cheat sheet shows. Raw values are the display names.
enum class ShortcutCategory { recommended, learned };
inline constexpr ShortcutCategory kAllShortcutCategories[] = {ShortcutCategory::recommended, ShortcutCategory::learned};
std::string_view rawValue(ShortcutCategory category);
std::optional<ShortcutCategory> shortcutCategoryFromRaw(std::string_view raw);

// An error value carried by actions; compares by its description.
struct ErrorValue {
    std::string description;
    bool operator==(const ErrorValue&) const = default;
};

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
