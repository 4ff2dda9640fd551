#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/Date.h"
#include "foundation/Properties.h"
#include "foundation/Uuid.h"
#include "platform/ElementLookup.h"

namespace tavrin {

// One click's analysis: what the accessibility path and the image path found, and the decision.
struct ClickAnalysis {
    struct AccessibilityResult {
        std::string elementInfo;
        double confidence = 0;
        // Where the mapping was found when that is not the place in front: the browser's own
        // namespace for a click on its toolbar while a known site is shown.
        std::optional<std::string> namespaceId;
        // `elementInfo` names an action learned from the application: its own text, which stays
        // on this machine.
        bool learned = false;
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
    // How the clicked element was found (sent as "element_found_by").
    ElementFinding foundBy = ElementFinding::hitTest;
    bool operator==(const ClickAnalysis&) const = default;
};

std::string_view rawValue(ClickAnalysis::ResultSource source);

// The list the cheat sheet shows. Raw values are the display names.
enum class ShortcutCategory { recommended, learned };
inline constexpr ShortcutCategory kAllShortcutCategories[] = {ShortcutCategory::recommended, ShortcutCategory::learned};
std::string_view rawValue(ShortcutCategory category);
std::optional<ShortcutCategory> shortcutCategoryFromRaw(std::string_view raw);

// The properties of "Click Analysis" for one analysed click (a contract with the analytics
// service): what each path found, how the element was found, the decision, and how they compare. "namespace_id" is left
// out when the click has no namespace. A learned action's name is sent as the word "learned".
Properties clickAnalysisProperties(const ClickAnalysis& analysis, const ClickAnalysis::FinalResult& final,
                                   const std::optional<std::string>& namespaceId);

} // namespace tavrin
