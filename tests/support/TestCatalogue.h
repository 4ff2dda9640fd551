#pragma once

#include <filesystem>
#include <fstream>
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

// A small world: the operating system, an editor without sites, a browser with a supported and an
// unsupported site.
inline void writeSmallCatalogue(const std::filesystem::path& dir, const std::string& os = "mac_os") {
    writeCatalogue(dir,
                   "os|mac_os,os," + os +
                       ",true,false,false\n"
                       "app|textedit,app,textedit,true,false,false\n"
                       "app|google_chrome,app,google_chrome,true,false,true\n"
                       "domain|gmail,domain,gmail,true,false,false\n"
                       "domain|news,domain,news,false,false,false\n",
                   // action_id,namespace_id,name,description,include,priority,shortcut_id,mac_keys
                   "1,os|mac_os,Copy,,true,1,1,command + c\n"
                   "2,os|mac_os,Paste,,true,2,2,command + v\n"
                   "10,app|textedit,Bold,,true,1,10,command + b\n"
                   "11,app|textedit,Italic,,true,2,11,command + i\n"
                   "12,app|textedit,Save,,true,3,12,command + s\n"
                   "13,app|textedit,Find,,true,4,13,command + f\n"
                   "14,app|textedit,Print,,true,5,14,command + p\n"
                   "15,app|textedit,Undo,,true,6,15,command + z\n"
                   "20,app|google_chrome,New Tab,,true,1,20,command + t\n"
                   "21,app|google_chrome,Reload,,true,2,21,command + r\n"
                   "30,domain|gmail,Compose,,true,1,30,c\n"
                   "31,domain|gmail,Archive,,true,2,31,e\n",
                   "app|textedit,Bold,AXTitle,Bold\n"
                   "app|textedit,Save,AXDescription,Save document\n"
                   "domain|gmail,Compose,AXTitle,Compose\n");
}

} // namespace tavrin::testing
