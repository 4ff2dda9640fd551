#include "database/Models.h"

namespace tavrin {

std::string_view toString(NamespaceLevel level) {
    switch (level) {
    case NamespaceLevel::os:
        return "os";
    case NamespaceLevel::app:
        return "app";
    case NamespaceLevel::domain:
        return "domain";
    }
    return "domain";
}

std::optional<NamespaceLevel> namespaceLevelFromString(std::string_view text) {
    if (text == "os")
        return NamespaceLevel::os;
    if (text == "app")
        return NamespaceLevel::app;
    if (text == "domain")
        return NamespaceLevel::domain;
    return std::nullopt;
}

NamespaceLevel namespaceLevelFromStored(std::string_view text) {
    return namespaceLevelFromString(text).value_or(NamespaceLevel::domain);
}

std::string_view toString(ShortcutSource source) {
    switch (source) {
    case ShortcutSource::userAction:
        return "userAction";
    case ShortcutSource::userBookmarked:
        return "userBookmarked";
    case ShortcutSource::backfill:
        return "backfill";
    }
    return "backfill";
}

DatabaseError DatabaseError::migrationFailed(const std::exception& underlying) {
    return {Kind::migrationFailed, std::string("the database schema could not be created: ") + underlying.what()};
}

DatabaseError DatabaseError::directoryAccessFailed() {
    return {Kind::directoryAccessFailed, "no folder for application data is available (is HOME set?)"};
}

DatabaseError DatabaseError::managerDeallocated() {
    return {Kind::managerDeallocated, "the database manager is gone"};
}

} // namespace tavrin
