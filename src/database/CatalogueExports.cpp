#include "database/CatalogueExports.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "database/CSVReader.h"

namespace tavrin {

namespace {

const std::vector<std::string> kNamespaceColumns = {"namespace_id", "level_type",    "level_name",
                                                    "is_supported", "is_classified", "has_domain"};
const std::vector<std::string> kActionColumns = {"action_id", "namespace_id", "name",        "description",
                                                 "include",   "priority",     "shortcut_id", "mac_keys"};
const std::vector<std::string> kMappingColumns = {"namespace_id", "action_name", "predicted_best_col",
                                                  "predicted_best_value"};

const char* kNamespacesFile = "namespaces_export.csv";
const char* kActionsFile = "actions_shortcuts_export.csv";
const char* kMappingsFile = "accessibility_tree_mapping_export.csv";

bool readSheet(const std::filesystem::path& file, const std::vector<std::string>& columns,
               CatalogueExports::Sheet& sheet, std::string& problem) {
    std::error_code ec;
    if (!std::filesystem::exists(file, ec)) {
        sheet.header = columns;
        return true;
    }
    std::ifstream in(file, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    if (!in) {
        problem = "cannot read " + file.string();
        return false;
    }
    const auto table = CSVTable::parse(text.str());
    sheet.header = table.header();
    sheet.rows = table.rows();
    for (const auto& column : columns)
        if (sheet.column(column) < 0) {
            problem = file.string() + " has no column " + column;
            return false;
        }
    for (auto& row : sheet.rows)
        row.resize(sheet.header.size());
    return true;
}

bool writeSheet(const std::filesystem::path& file, const CatalogueExports::Sheet& sheet, std::string& problem) {
    const auto temporary = file.string() + ".new";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        auto line = [&](const std::vector<std::string>& fields) {
            for (std::size_t i = 0; i < fields.size(); ++i)
                out << (i ? "," : "") << csvField(fields[i]);
            out << '\n';
        };
        line(sheet.header);
        for (const auto& row : sheet.rows)
            line(row);
        if (!out) {
            problem = "cannot write " + temporary;
            return false;
        }
    }
    std::error_code ec;
    std::filesystem::rename(temporary, file, ec);
    if (ec) {
        problem = "cannot replace " + file.string() + ": " + ec.message();
        return false;
    }
    return true;
}

std::int64_t number(const std::string& text) {
    try {
        return text.empty() ? 0 : std::stoll(text);
    } catch (const std::exception&) {
        return 0;
    }
}

} // namespace

std::string csvField(const std::string& text) {
    const bool quote =
        text.find_first_of(",\"\r\n") != std::string::npos ||
        (!text.empty() && (text.front() == ' ' || text.front() == '\t' || text.back() == ' ' || text.back() == '\t'));
    if (!quote)
        return text;
    std::string out = "\"";
    for (const char c : text)
        out += c == '"' ? std::string("\"\"") : std::string(1, c);
    return out + "\"";
}

int CatalogueExports::Sheet::column(const std::string& name) const {
    const auto it = std::find(header.begin(), header.end(), name);
    return it == header.end() ? -1 : static_cast<int>(it - header.begin());
}

std::string CatalogueExports::Sheet::field(const std::vector<std::string>& row, const std::string& name) const {
    const int at = column(name);
    return at < 0 || static_cast<std::size_t>(at) >= row.size() ? std::string() : row[static_cast<std::size_t>(at)];
}

std::optional<CatalogueExports> CatalogueExports::read(const std::filesystem::path& folder, std::string& problem) {
    CatalogueExports exports;
    if (!readSheet(folder / kNamespacesFile, kNamespaceColumns, exports.namespaces, problem) ||
        !readSheet(folder / kActionsFile, kActionColumns, exports.actions, problem) ||
        !readSheet(folder / kMappingsFile, kMappingColumns, exports.mappings, problem))
        return std::nullopt;
    return exports;
}

bool CatalogueExports::write(const std::filesystem::path& folder, std::string& problem) const {
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    if (ec) {
        problem = "cannot make " + folder.string() + ": " + ec.message();
        return false;
    }
    return writeSheet(folder / kNamespacesFile, namespaces, problem) &&
           writeSheet(folder / kActionsFile, actions, problem) && writeSheet(folder / kMappingsFile, mappings, problem);
}

CatalogueExports::MergeResult CatalogueExports::merge(const std::string& namespaceId, const std::string& levelName,
                                                      const std::vector<HarvestedItem>& items, bool hasDomain) {
    MergeResult result;
    auto makeRow = [](const Sheet& sheet, const std::map<std::string, std::string>& fields) {
        std::vector<std::string> row(sheet.header.size());
        for (const auto& [name, value] : fields)
            if (const int at = sheet.column(name); at >= 0)
                row[static_cast<std::size_t>(at)] = value;
        return row;
    };
    const bool known = std::any_of(namespaces.rows.begin(), namespaces.rows.end(), [&](const auto& row) {
        return namespaces.field(row, "namespace_id") == namespaceId;
    });
    if (!known && !items.empty()) {
        namespaces.rows.push_back(makeRow(namespaces, {{"namespace_id", namespaceId},
                                                       {"level_type", "app"},
                                                       {"level_name", levelName},
                                                       {"is_supported", "true"},
                                                       {"is_classified", "false"},
                                                       {"has_domain", hasDomain ? "true" : "false"}}));
        result.namespaceAdded = true;
    }

    // What the namespace has: action names, keys to action names, the highest priority; and the
    // highest id of all.
    std::map<std::string, std::string> actionByKeys;
    std::set<std::string> actionNames;
    std::int64_t lastId = 0, lastPriority = 0;
    for (const auto& row : actions.rows) {
        lastId = std::max({lastId, number(actions.field(row, "action_id")), number(actions.field(row, "shortcut_id"))});
        if (actions.field(row, "namespace_id") != namespaceId)
            continue;
        actionNames.insert(actions.field(row, "name"));
        actionByKeys.emplace(actions.field(row, "mac_keys"), actions.field(row, "name"));
        lastPriority = std::max(lastPriority, number(actions.field(row, "priority")));
    }
    std::set<std::string> mappedValues;
    for (const auto& row : mappings.rows)
        if (mappings.field(row, "namespace_id") == namespaceId)
            mappedValues.insert(mappings.field(row, "predicted_best_value"));
    auto addMapping = [&](const std::string& action, const std::string& column, const std::string& value) {
        if (!mappedValues.insert(value).second)
            return;
        mappings.rows.push_back(makeRow(mappings, {{"namespace_id", namespaceId},
                                                   {"action_name", action},
                                                   {"predicted_best_col", column},
                                                   {"predicted_best_value", value}}));
        ++result.mappingsAdded;
    };

    for (const auto& item : items) {
        std::string action = item.name;
        if (const auto byKeys = actionByKeys.find(item.keys); byKeys != actionByKeys.end()) {
            action = byKeys->second;
            ++result.alreadyKnown;
        } else if (actionNames.count(item.name)) {
            ++result.alreadyKnown;
        } else {
            const auto id = std::to_string(++lastId);
            actions.rows.push_back(makeRow(actions, {{"action_id", id},
                                                     {"namespace_id", namespaceId},
                                                     {"name", item.name},
                                                     {"description", item.description},
                                                     {"include", "true"},
                                                     {"priority", std::to_string(++lastPriority)},
                                                     {"shortcut_id", id},
                                                     {"mac_keys", item.keys}}));
            actionNames.insert(item.name);
            actionByKeys.emplace(item.keys, item.name);
            ++result.actionsAdded;
        }
        addMapping(action, item.column, item.value);
        if (const auto bare = withoutEllipsis(item.value))
            addMapping(action, item.column, *bare);
    }
    return result;
}

} // namespace tavrin
