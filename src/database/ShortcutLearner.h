#pragma once

#include <cstdint>
#include <string>

namespace tavrin {

// Shortcuts learned from the applications themselves, kept as the user's own rows beside the
// catalogue's: their ids start at `firstId`, far above any catalogue id, so a catalogue reload
// never replaces them, and their priorities start at `firstPriority`, so they rank after the
// catalogue's. DatabaseManager's learning operations write and read them.
namespace ShortcutLearner {

inline constexpr std::int64_t firstId = 1'000'000'000;
inline constexpr std::int64_t firstPriority = 1'000'000;

// What one call of DatabaseManager::learnShortcuts did: the actions it added, and the items it could
// not store (each lost alone).
struct Outcome {
    int learned = 0;
    int failed = 0;
    bool operator==(const Outcome&) const = default;
};

// Where a namespace's shortcuts come from: none yet, learning only, or the catalogue (also when
// it cannot be read, so that nothing is walked for it).
enum class Source { none, learned, catalogue };

// A learned shortcut: its namespace, action name and keys.
struct Learned {
    std::int64_t shortcutId = 0;
    std::string namespaceId;
    std::string name;
    std::string keys;
};

} // namespace ShortcutLearner

} // namespace tavrin
