#pragma once

#include <optional>
#include <vector>

#include <nlohmann/json.hpp>

#include "State/AppDomain.h"

namespace tavrin {

// The state as JSON: every field, named and ordered as in the state's types (objects keep the
// order their fields were added in). What the commands print (a contract for scripts) and what a
// failing reducer test compares field by field.
using OutputJson = nlohmann::ordered_json;

OutputJson toJson(const ShortcutRecommendation& recommendation);
OutputJson toJson(const BookmarkedShortcut& shortcut);
OutputJson toJson(const LearnedShortcut& shortcut);
OutputJson toJson(const AppDomain::ActiveNamespace& place);
OutputJson toJson(const FTUEDomain::State& state);
OutputJson toJson(const ApplicationKeys& keys);
OutputJson toJson(const Nudge& nudge);
OutputJson toJson(const CoachingNote& note);
OutputJson toJson(const Coaching& coaching);
OutputJson toJson(const AppDomain::State& state);

template <class T> OutputJson toJson(const std::vector<T>& items) {
    OutputJson out = OutputJson::array();
    for (const auto& item : items)
        out.push_back(toJson(item));
    return out;
}

// Analytics properties as the service receives them; null for none.
OutputJson toJson(const std::optional<Properties>& properties);

} // namespace tavrin
