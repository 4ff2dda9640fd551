#pragma once

#include <iosfwd>

#include "State/StateJson.h"

namespace tavrin {

// The lists as text, one shortcut per line, and the place they belong to.
void printList(const std::vector<ShortcutRecommendation>& list, std::ostream& out);
void printList(const std::vector<BookmarkedShortcut>& list, std::ostream& out);
void printList(const std::vector<LearnedShortcut>& list, std::ostream& out);
void printPlace(const AppDomain::ActiveNamespace& place, std::ostream& out);

} // namespace tavrin
