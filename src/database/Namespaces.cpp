#include <algorithm>

#include "database/DatabaseManager.h"
#include "foundation/Text.h"

namespace tavrin {

namespace {

Namespace readNamespace(SQLite::Statement& row) {
    return {row.getColumn(0).getString(),   namespaceLevelFromStored(row.getColumn(1).getString()),
            row.getColumn(2).getString(),   row.getColumn(3).getInt() != 0,
            row.getColumn(4).getInt() != 0, row.getColumn(5).getInt() != 0};
}

} // namespace

std::optional<Namespace> DatabaseManager::getNamespace(const std::optional<std::string>& domain,
                                                       const std::optional<std::string>& appName,
                                                       const std::optional<std::string>& os,
                                                       std::optional<bool> isSupported) {
    if (!domain && !appName && !os) {
        printLine("Error: At least one of domain, appName, or os must be provided");
        return std::nullopt;
    }
    const Operation operation(*this);
    const auto fetch = [&](const char* level, const std::string& name) -> std::optional<Namespace> {
        try {
            auto& query = statement(isSupported ? "SELECT namespace_id, level_type, level_name, is_supported, "
                                                  "is_classified, has_domain FROM namespace WHERE is_supported = ? "
                                                  "AND level_type = ? AND level_name = ? LIMIT 1"
                                                : "SELECT namespace_id, level_type, level_name, is_supported, "
                                                  "is_classified, has_domain FROM namespace WHERE level_type = ? "
                                                  "AND level_name = ? LIMIT 1");
            int index = 1;
            if (isSupported)
                query.bind(index++, *isSupported ? 1 : 0);
            query.bind(index++, level);
            query.bind(index, name);
            if (query.executeStep())
                return readNamespace(query);
        } catch (const std::exception&) {
            // A failed level counts as no row; the next level is tried.
        }
        return std::nullopt;
    };
    if (domain && !domain->empty())
        if (auto row = fetch("domain", *domain))
            return row;
    if (appName && !appName->empty())
        if (auto row = fetch("app", *appName))
            return row;
    if (os && !os->empty())
        if (auto row = fetch("os", *os))
            return row;
    return std::nullopt;
}

std::optional<Namespace> DatabaseManager::getOrCreateNamespace(const std::optional<std::string>& domain,
                                                               const std::optional<std::string>& appName) {
    if (!domain && !appName) {
        printLine("Error: Either domain or appName must be provided");
        return std::nullopt;
    }
    const Operation operation(*this);
    if (auto found = getNamespace(domain, appName, std::nullopt, std::nullopt))
        return found;
    NamespaceLevel level;
    std::string name;
    if (domain && !domain->empty()) {
        level = NamespaceLevel::domain;
        name = *domain;
    } else if (appName && !appName->empty()) {
        level = NamespaceLevel::app;
        name = *appName;
    } else {
        printLine("Error: Both domain and appName are empty");
        return std::nullopt;
    }
    std::string id = lowercased(std::string(toString(level)) + "|" + name);
    std::replace(id.begin(), id.end(), ' ', '_');
    try {
        auto& insert = statement("INSERT INTO namespace (namespace_id, level_type, level_name, is_supported, "
                                 "is_classified, has_domain) VALUES (?, ?, ?, 0, 0, 0)");
        insert.bind(1, id);
        insert.bind(2, std::string(toString(level)));
        insert.bind(3, name);
        insert.exec();
    } catch (const std::exception& error) {
        printLine(std::string("Error: Failed to insert new namespace. Error: ") + error.what());
        return std::nullopt;
    }
    return Namespace{id, level, name, false, false, false};
}

} // namespace tavrin
