#include "foundation/MenuHarvest.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <set>

#include "foundation/Text.h"
#include "foundation/KeyText.h"

namespace tavrin {

namespace {

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool isItemRole(std::string_view role) {
    static constexpr std::array<std::string_view, 5> roles = {"menu item", "check menu item", "radio menu item",
                                                              "push button", "toggle button"};
    return std::find(roles.begin(), roles.end(), role) != roles.end();
}

// Widget class names that some toolkits give unnamed elements: "GtkMenuButton", "EditorSourceView".
bool isWidgetTypeName(std::string_view name) {
    if (name.empty() || contains(name, " ") || !std::isupper(static_cast<unsigned char>(name[0])))
        return false;
    const auto uppers =
        std::count_if(name.begin(), name.end(), [](char c) { return std::isupper(static_cast<unsigned char>(c)); });
    return uppers >= 2 &&
           std::all_of(name.begin(), name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)); });
}

// Names of recent documents and open windows: "1. notes.txt", "2 report.odt", "/home/me/a.txt",
// "file-open-recent-01".
bool looksLikeADocument(std::string_view name) {
    if (name.empty() || name[0] == '/' || name[0] == '~' || contains(name, ":/") || contains(name, "recent-"))
        return true;
    std::size_t digits = 0;
    while (digits < name.size() && std::isdigit(static_cast<unsigned char>(name[digits])))
        ++digits;
    return digits > 0 && digits < name.size() && (name[digits] == '.' || name[digits] == ' ' || name[digits] == ':');
}

std::string withoutShortcut(const std::string& text) {
    if (const auto split = KeyText::splitName(text))
        return split->name;
    return text;
}

} // namespace

bool isPrivateMenu(std::string_view menuName) {
    const std::string name = lowercased(trimmed(menuName));
    for (const char* word : {"recent", "history", "bookmark", "session"})
        if (contains(name, word))
            return true;
    return name == "windows" || name == "window list";
}

bool isContentRole(std::string_view role) {
    static const std::set<std::string_view> roles = {"text",
                                                     "entry",
                                                     "password text",
                                                     "paragraph",
                                                     "terminal",
                                                     "table",
                                                     "tree table",
                                                     "tree",
                                                     "list",
                                                     "list box",
                                                     "canvas",
                                                     "document frame",
                                                     "document web",
                                                     "document text",
                                                     "document spreadsheet",
                                                     "document presentation",
                                                     "document email",
                                                     "editbar",
                                                     "table cell",
                                                     "tree item",
                                                     "list item",
                                                     "heading",
                                                     "page",
                                                     "image map",
                                                     "section"};
    return roles.count(role) > 0;
}

bool isDocumentRole(std::string_view role) {
    return role.starts_with("document");
}

namespace {

// The filters every item passes before its shortcut is looked at.
bool mayBeRead(const MenuNode& node) {
    return isItemRole(node.role) && !node.editable &&
           std::none_of(node.menuPath.begin(), node.menuPath.end(),
                        [](const std::string& menu) { return isPrivateMenu(menu); });
}

} // namespace

std::optional<HarvestedItem> harvestItem(const MenuNode& node) {
    if (!mayBeRead(node))
        return std::nullopt;

    const std::string name = isWidgetTypeName(node.name) ? std::string() : trimmed(node.name);
    const std::string description = trimmed(node.description);
    HarvestedItem item;
    item.menu = node.menuPath.empty() ? std::string() : node.menuPath.front();
    // The shortcut: the element's own key binding, else one written into its name, its tooltip or
    // its web attribute.
    std::optional<std::string> keys = KeyText::fromKeyBinding(node.keyBinding);
    std::optional<KeyText::NamedShortcut> inName = name.empty() ? std::nullopt : KeyText::splitName(name);
    if (!keys && inName)
        keys = inName->keys;
    if (!keys)
        if (const auto inDescription = KeyText::splitName(description))
            keys = inDescription->keys;
    if (!keys && !node.keyShortcuts.empty()) {
        const std::string first = node.keyShortcuts.substr(0, node.keyShortcuts.find(' '));
        if (const auto parsed = KeyText::canonical(first); parsed && KeyText::isLearnable(*parsed))
            keys = parsed;
    }
    if (!keys)
        return std::nullopt;
    item.keys = *keys;

    if (!name.empty()) {
        item.column = "AXTitle";
        item.value = name;
        item.name = inName ? inName->name : name;
        item.description = withoutShortcut(description);
    } else if (!description.empty()) {
        // An unnamed icon button: the analysis falls to its description.
        item.column = "AXDescription";
        item.value = description;
        item.name = withoutShortcut(description);
    } else {
        return std::nullopt;
    }
    if (item.description == item.name)
        item.description.clear();
    if (codePoints(item.value).size() > kMaxHarvestedNameLength || looksLikeADocument(item.name))
        return std::nullopt;
    if (codePoints(item.description).size() > 100)
        item.description.clear();
    return item;
}

std::vector<HarvestedItem> harvestItems(const std::vector<MenuNode>& nodes) {
    std::vector<HarvestedItem> items;
    std::set<std::string> names;
    for (const auto& node : nodes)
        if (auto item = harvestItem(node); item && names.insert(item->name).second)
            items.push_back(std::move(*item));
    return items;
}

bool awaitsShortcut(const MenuNode& node) {
    if (node.enabled || !node.role.ends_with("menu item") || !mayBeRead(node) || !node.keyBinding.empty() ||
        !node.keyShortcuts.empty() || harvestItem(node))
        return false;
    const std::string name = trimmed(node.name);
    return !name.empty() && !isWidgetTypeName(name) && codePoints(name).size() <= kMaxHarvestedNameLength &&
           !looksLikeADocument(name);
}

std::vector<MenuNode> awaitingItems(const std::vector<MenuNode>& nodes, const std::vector<HarvestedItem>& harvested) {
    std::vector<MenuNode> items;
    std::set<std::string> names;
    for (const auto& item : harvested)
        names.insert(item.name);
    for (const auto& node : nodes)
        if (awaitsShortcut(node) && names.insert(trimmed(node.name)).second)
            items.push_back(node);
    return items;
}

bool namesSameCommand(std::string_view value, std::string_view itemName) {
    return !value.empty() && (value == itemName || withoutEllipsis(itemName) == value);
}

std::optional<std::string> withoutEllipsis(std::string_view value) {
    for (const std::string_view tail : {std::string_view("..."), std::string_view("\u2026")})
        if (value.size() > tail.size() && value.ends_with(tail)) {
            auto bare = value.substr(0, value.size() - tail.size());
            while (!bare.empty() && bare.back() == ' ')
                bare.remove_suffix(1);
            if (!bare.empty())
                return std::string(bare);
        }
    return std::nullopt;
}

} // namespace tavrin
