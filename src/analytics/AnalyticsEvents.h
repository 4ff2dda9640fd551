#pragma once

#include <optional>
#include <string>

#include "State/ClickAnalysis.h"
#include "State/Properties.h"

namespace tavrin {

// The properties of "Click Analysis" for one analysed click (a contract with the analytics
// service): what each path found, the decision, and how they compare. "namespace_id" is left out
// when the click has no namespace.
Properties clickAnalysisProperties(const ClickAnalysis& analysis, const ClickAnalysis::FinalResult& final,
                                   const std::optional<std::string>& namespaceId);

} // namespace tavrin
