#pragma once

#include <iosfwd>

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

// The same lists as text, one shortcut per line, and the place they belong to.
void printList(const std::vector<ShortcutRecommendation>& list, std::ostream& out);
void printList(const std::vector<BookmarkedShortcut>& list, std::ostream& out);
void printList(const std::vector<LearnedShortcut>& list, std::ostream& out);
void printPlace(const AppDomain::ActiveNamespace& place, std::ostream& out);

} // namespace tavrin
