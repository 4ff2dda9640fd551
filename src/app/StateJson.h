#pragma once

#include <nlohmann/json.hpp>

#include "State/AppDomain.h"

namespace tavrin {

// The JSON forms the commands print (a contract for scripts): field names as in the state.
nlohmann::json toJson(const ShortcutRecommendation& recommendation);
nlohmann::json toJson(const BookmarkedShortcut& shortcut);
nlohmann::json toJson(const LearnedShortcut& shortcut);
nlohmann::json toJson(const AppDomain::ActiveNamespace& place);

template <class T> nlohmann::json toJson(const std::vector<T>& items) {
    nlohmann::json out = nlohmann::json::array();
    for (const auto& item : items)
        out.push_back(toJson(item));
    return out;
}

// Analytics properties as the service receives them; null for none.
nlohmann::json toJson(const std::optional<Properties>& properties);

} // namespace tavrin
