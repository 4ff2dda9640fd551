#include "State/ClickAnalysis.h"

#include <cmath>

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

Properties clickAnalysisProperties(const ClickAnalysis& analysis, const ClickAnalysis::FinalResult& final,
                                   const std::optional<std::string>& namespaceId) {
    const auto& a = analysis.accessibilityResult;
    const auto& c = analysis.classificationResult;
    const double classification = static_cast<double>(c.confidence);
    const auto sent = [&a](const std::string& name) -> std::string {
        return a.learned && name == a.elementInfo ? "learned" : name;
    };
    Properties properties{
        {"timestamp", analysis.timestamp},
        {"uuid", analysis.uuid.toString()},
        {"accessibility_element_info", sent(a.elementInfo)},
        {"accessibility_confidence", a.confidence},
        {"accessibility_available", a.confidence > 0.0},
        {"element_found_by", std::string(rawValue(analysis.foundBy))},
        {"classification_sub_type", c.subType},
        {"classification_confidence", c.confidence},
        {"final_result_element_clicked", sent(final.elementClicked)},
        {"final_result_confidence", final.confidence},
        {"final_result_source", std::string(rawValue(final.source))},
        {"accessibility_classification_match", a.elementInfo == c.subType},
        {"accessibility_final_match", a.elementInfo == final.elementClicked},
        {"classification_final_match", c.subType == final.elementClicked},
        {"accessibility_higher_confidence", a.confidence > classification},
        {"confidence_difference", std::abs(a.confidence - classification)},
        {"is_fallback_result", final.source == ClickAnalysis::ResultSource::fallback},
        {"high_confidence_mismatch", a.confidence > 0.9 && c.confidence > 0.9f && a.elementInfo != c.subType},
    };
    if (namespaceId)
        properties["namespace_id"] = *namespaceId;
    return properties;
}

} // namespace tavrin
