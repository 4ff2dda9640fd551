#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "foundation/Date.h"

namespace tavrin {

// Row types. Field names are the catalogue export's column names (a persisted contract).

enum class NamespaceLevel { os, app, domain };

std::string_view toString(NamespaceLevel level);
// Any text other than "os" or "app" reads as `domain`, as stored rows are read back.
NamespaceLevel namespaceLevelFromStored(std::string_view text);
// Strict: only the three names; for decoding the catalogue.
std::optional<NamespaceLevel> namespaceLevelFromString(std::string_view text);

struct Namespace {
    std::string namespace_id;
    NamespaceLevel level_type = NamespaceLevel::app;
    std::string level_name;
    bool is_supported = false;
    bool is_classified = false;
    bool has_domain = false;
    bool operator==(const Namespace&) const = default;
};

struct Action {
    std::int64_t action_id = 0;
    std::string namespace_id;
    std::string name;
    std::optional<std::string> description;
    bool include = false; // a load filter, not a column
    std::optional<std::int64_t> priority;
    bool operator==(const Action&) const = default;
};

struct Shortcut {
    std::int64_t shortcut_id = 0;
    std::string namespace_id;
    std::int64_t action_id = 0;
    std::string mac_keys;
    std::optional<std::string> description;
    bool include = false; // a load filter, not a column
    bool operator==(const Shortcut&) const = default;
};

struct ClickEvent {
    std::string userId;
    std::string namespaceId;
    Date timestamp{};
    std::string elementClicked;
    double confidence = 0;
    std::string elementType;
    std::optional<std::string> appVersion;
    bool operator==(const ClickEvent&) const = default;
};

// One row of the per-element click count: the element's name, its clicks, the first of them.
struct ElementClickCount {
    std::string element;
    std::int64_t count = 0;
    Date firstSeen{};
    bool operator==(const ElementClickCount&) const = default;
};

struct AccessibilityMapping {
    std::string namespace_id;
    std::string action_name; // column `name`
    std::string predicted_best_col;
    std::string predicted_best_value;
    // The action is one the user's applications taught (a row of the user's, named as the
    // application shows it), not the catalogue's: a lookup's answer, not a column.
    bool learned = false;
    bool operator==(const AccessibilityMapping&) const = default;
};

// Result types: what the store hands to the application core and the views.

struct ShortcutBase {
    std::int64_t shortcutId = 0;
    std::string actionName;
    std::string shortcutKeys;
    bool isBookmarked = false;
    bool isLearned = false;
    bool operator==(const ShortcutBase&) const = default;
};

enum class ShortcutSource { userAction, userBookmarked, backfill };
std::string_view toString(ShortcutSource source);

struct ShortcutRecommendation {
    ShortcutBase base;
    ShortcutSource source = ShortcutSource::backfill;
    std::int64_t count = 0;
    double estimatedAnnualTimeSavings = 0; // seconds per year
    bool operator==(const ShortcutRecommendation&) const = default;
};

struct BookmarkedShortcut {
    ShortcutBase base;
    Date bookmarkedAt{};
    bool operator==(const BookmarkedShortcut&) const = default;
};

struct LearnedShortcut {
    ShortcutBase base;
    Date learnedAt{};
    bool operator==(const LearnedShortcut&) const = default;
};

// The shown shortcut types all carry a `base`; views take any of them through this concept.
template <class T>
concept ShortcutDisplayable = requires(const T& shortcut) {
    { shortcut.base } -> std::convertible_to<ShortcutBase>;
};

// Errors of building the store. Only DatabaseManager construction throws.
class DatabaseError : public std::runtime_error {
public:
    enum class Kind { migrationFailed, directoryAccessFailed, managerDeallocated };

    static DatabaseError migrationFailed(const std::exception& underlying);
    static DatabaseError directoryAccessFailed();
    static DatabaseError managerDeallocated();

    Kind kind() const { return kind_; }

private:
    DatabaseError(Kind kind, const std::string& description) : std::runtime_error(description), kind_(kind) {}
    Kind kind_;
};

} // namespace tavrin
