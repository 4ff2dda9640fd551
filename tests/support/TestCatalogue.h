#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace tavrin::testing {

// Writes the three catalogue exports into `dir`. Each argument is the rows after the header.
inline void writeCatalogue(const std::filesystem::path& dir, const std::string& namespaces,
                           const std::string& actionsAndShortcuts, const std::string& mappings) {
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "namespaces_export.csv")
        << "namespace_id,level_type,level_name,is_supported,is_classified,has_domain\n"
        << namespaces;
    std::ofstream(dir / "actions_shortcuts_export.csv")
        << "action_id,namespace_id,name,description,include,priority,shortcut_id,mac_keys\n"
        << actionsAndShortcuts;
    std::ofstream(dir / "accessibility_tree_mapping_export.csv")
        << "namespace_id,action_name,predicted_best_col,predicted_best_value\n"
        << mappings;
}

// The shortcuts of the small world: id (also its action's), namespace, action name, keys. The
// catalogue's priority is the order within the namespace.
struct CatalogueShortcut {
    std::int64_t id;
    const char* namespaceId;
    const char* name;
    const char* keys;
};
inline constexpr CatalogueShortcut kSmallCatalogueShortcuts[] = {
    {1, "os|mac_os", "Copy", "command + c"},
    {2, "os|mac_os", "Paste", "command + v"},
    {10, "app|textedit", "Bold", "command + b"},
    {11, "app|textedit", "Italic", "command + i"},
    {12, "app|textedit", "Save", "command + s"},
    {13, "app|textedit", "Find", "command + f"},
    {14, "app|textedit", "Print", "command + p"},
    {15, "app|textedit", "Undo", "command + z"},
    {20, "app|google_chrome", "New Tab", "command + t"},
    {21, "app|google_chrome", "Reload", "command + r"},
    {30, "domain|gmail", "Compose", "c"},
    {31, "domain|gmail", "Archive", "e"},
};

// A small world: the operating system, an editor without sites, a browser with a supported and an
// unsupported site.
inline void writeSmallCatalogue(const std::filesystem::path& dir, const std::string& os = "mac_os") {
    std::string shortcuts;
    std::map<std::string, int> priorities;
    for (const auto& row : kSmallCatalogueShortcuts) {
        const auto id = std::to_string(row.id);
        shortcuts += id + ',' + row.namespaceId + ',' + row.name + ",,true," +
                     std::to_string(++priorities[row.namespaceId]) + ',' + id + ',' + row.keys + '\n';
    }
    writeCatalogue(dir,
                   "os|mac_os,os," + os +
                       ",true,false,false\n"
                       "app|textedit,app,textedit,true,false,false\n"
                       "app|google_chrome,app,google_chrome,true,false,true\n"
                       "domain|gmail,domain,gmail,true,false,false\n"
                       "domain|news,domain,news,false,false,false\n",
                   shortcuts,
                   "app|textedit,Bold,AXTitle,Bold\n"
                   "app|textedit,Save,AXDescription,Save document\n"
                   "domain|gmail,Compose,AXTitle,Compose\n");
}

} // namespace tavrin::testing
