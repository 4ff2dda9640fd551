#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What an application's own menus, toolbars and header bars say about its shortcuts, read from its
// accessibility tree, and the rules that decide which of it may be taught or learned.
namespace tavrin {

// One element of a menu walk, as read.
struct MenuNode {
    std::string role;         // accessibility role name: "menu item", "push button", "text", ...
    std::string name;         // accessible name, trailing blanks trimmed
    std::string description;  // accessible description (GTK and Qt put tooltips there)
    std::string keyBinding;   // the key binding of the element's first action
    std::string keyShortcuts; // the "keyshortcuts" object attribute (web content)
    bool editable = false;
    bool enabled = true;               // false for an item the application greys out
    std::vector<std::string> menuPath; // the names of the menus it sits in, outermost first
    std::vector<int> place;            // the child indices from the application down to it
};

// A shortcut found in a menu walk: the catalogue rows it becomes.
struct HarvestedItem {
    std::string name;        // the action's name ("Save As...", "Open a new tab")
    std::string keys;        // canonical key text
    std::string column;      // where the click analysis reads `value`: "AXTitle" or "AXDescription"
    std::string value;       // what a click on the element reads ("Open a new tab (Ctrl+T)")
    std::string description; // the element's own description, without a shortcut in it
    std::string menu;        // the outermost menu, for people reading a harvest ("File")
    bool operator==(const HarvestedItem&) const = default;
};

// Names of at most this many characters are kept.
inline constexpr std::size_t kMaxHarvestedNameLength = 60;

// The item a node stands for, when it is a menu item or a button that shows a shortcut worth
// teaching. Nothing for text and password fields, anything editable, items of menus that list
// the user's own things (recent files, history, bookmarks, windows), names longer than 60
// characters or shaped like documents ("1. notes.txt", paths), and shortcuts without a modifier
// or function key.
std::optional<HarvestedItem> harvestItem(const MenuNode& node);

// Whether a node is a menu item that shows no shortcut while it is disabled and would otherwise
// be harvested: GTK publishes no key binding for a disabled item, so it is worth reading again once
// the application enables it (Save in an unmodified document, Undo, Copy without a selection).
bool awaitsShortcut(const MenuNode& node);

// The nodes of a walk that await their shortcut, each name once, leaving out the names that
// `harvested` already holds (an application may list a command twice, once enabled).
std::vector<MenuNode> awaitingItems(const std::vector<MenuNode>& nodes, const std::vector<HarvestedItem>& harvested);

// Whether a click read as `value` (a tool bar button's name) names the same command as the menu
// item named `itemName`: the same name, or the same without its trailing ellipsis.
bool namesSameCommand(std::string_view value, std::string_view itemName);

// Whether a menu lists the user's own things rather than commands: "Open Recent", "History",
// "Bookmarks", "Windows", "Sessions".
bool isPrivateMenu(std::string_view menuName);

// Whether a node of this role may hold a menu item or button worth reading; the walk does not
// enter the others' children (documents, text, tables, lists, terminals, canvases).
bool isContentRole(std::string_view role);

// Whether a node of this role is a document or a web page ("document web", "document text", ...):
// nothing inside one is learned, since its names are the user's content.
bool isDocumentRole(std::string_view role);

// A menu item's name as a toolbar button names the same command: "Save As..." and "Save As…"
// give "Save As". Nothing when the name has no trailing ellipsis or is nothing else.
std::optional<std::string> withoutEllipsis(std::string_view value);

// The items of a walk with each name once (the first wins): some applications list their menus
// twice.
std::vector<HarvestedItem> harvestItems(const std::vector<MenuNode>& nodes);

} // namespace tavrin
