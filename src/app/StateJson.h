#pragma once

#include <iosfwd>

#include <nlohmann/json.hpp>

#include "State/AppDomain.h"

namespace tavrin {

// The JSON the commands print (a contract for scripts): fields named and ordered as in the
// state's types, objects keep the order their fields were added in.
using OutputJson = nlohmann::ordered_json;

OutputJson toJson(const ShortcutRecommendation& recommendation);
OutputJson toJson(const BookmarkedShortcut& shortcut);
OutputJson toJson(const LearnedShortcut& shortcut);
OutputJson toJson(const AppDomain::ActiveNamespace& place);

template <class T> OutputJson toJson(const std::vector<T>& items) {
    OutputJson out = OutputJson::array();
    for (const auto& item : items)
        out.push_back(toJson(item));
    return out;
}

// Analytics properties as the service receives them; null for none.
OutputJson toJson(const std::optional<Properties>& properties);

// The same lists as text, one shortcut per line, and the place they belong to.
void printList(const std::vector<ShortcutRecommendation>& list, std::ostream& out);
void printList(const std::vector<BookmarkedShortcut>& list, std::ostream& out);
void printList(const std::vector<LearnedShortcut>& list, std::ostream& out);
void printPlace(const AppDomain::ActiveNamespace& place, std::ostream& out);

} // namespace tavrin
