#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/MenuHarvest.h"

namespace tavrin {

class DatabaseManager;

// Shortcuts learned from the applications themselves, kept as the user's own rows beside the
// catalogue's: their ids start at `firstId`, far above any catalogue id, so a catalogue reload
// never replaces them, and their priorities start at `firstPriority`, so they rank after the
// catalogue's.
namespace ShortcutLearner {

inline constexpr std::int64_t firstId = 1'000'000'000;
inline constexpr std::int64_t firstPriority = 1'000'000;

// Writes an action, its shortcut and its mapping (and the mapping without a trailing ellipsis,
// as toolbar buttons name the same command) into an application's namespace for each item it
// lacks, and marks the namespace supported once it has some. An item whose keys the namespace
// already has only adds its mapping to that action. Returns how many actions were learned. Safe
// from any thread; a failure is printed and loses that item only.
int learn(DatabaseManager& database, const std::string& namespaceId, const std::vector<HarvestedItem>& items);

// The next free id for a row of the user's: actions and shortcuts share it. Throws on failure.
std::int64_t nextUserId(DatabaseManager& database);
// The priority after the user's rows in a namespace. Throws on failure.
std::int64_t nextUserPriority(DatabaseManager& database, const std::string& namespaceId);

// Where a namespace's shortcuts come from: none yet, learning only, or the catalogue (also when
// it cannot be read, so that nothing is walked for it).
enum class Source { none, learned, catalogue };
Source shortcutSource(DatabaseManager& database, const std::string& namespaceId);

// The version of the application whose menus were last read for a namespace, as
// ApplicationMenus::applicationVersion gave it; nothing before the first reading.
std::optional<std::string> walkedVersion(DatabaseManager& database, const std::string& namespaceId);
void rememberWalkedVersion(DatabaseManager& database, const std::string& namespaceId, const std::string& version);

// (namespace, name, keys) of every learned shortcut, by namespace and name.
struct Learned {
    std::string namespaceId;
    std::string name;
    std::string keys;
};
std::vector<Learned> learnedShortcuts(DatabaseManager& database);

} // namespace ShortcutLearner

} // namespace tavrin
