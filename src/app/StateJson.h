#pragma once

#include <iosfwd>

#include "State/StateJson.h"
#include "platform/PlatformProfile.h"

namespace tavrin {

// The lists as text, one shortcut per line, and the place they belong to.
void printList(const std::vector<ShortcutRecommendation>& list, std::ostream& out);
void printList(const std::vector<BookmarkedShortcut>& list, std::ostream& out);
void printList(const std::vector<LearnedShortcut>& list, std::ostream& out);
void printPlace(const AppDomain::ActiveNamespace& place, std::ostream& out);

// What the cheat sheet shows, for a person on a terminal: the place, then each card of the tab
// in front with its keys as the keyboard labels them and what it saves a year.
void printCheatsheet(const AppDomain::State& state, const PlatformProfile& profile, std::ostream& out);

} // namespace tavrin
