#include "State/ClickLearning.h"

#include <algorithm>
#include <vector>

#include "State/AppDomain.h"
#include "foundation/MenuHarvest.h"
#include "platform/Log.h"

namespace tavrin {

namespace {

// Deeper than any application's menus and toolbars sit; an element below is taken for content.
constexpr int kMaxAncestors = 64;

std::string text(const AccessibleElement& element, const char* name) {
    const auto value = element.attribute(name);
    return value && value->text ? *value->text : std::string();
}

// The menus an element sits in, outermost first, as the menu walk names them; no value when it
// sits in a document or web page, or deeper than any menu.
std::optional<std::vector<std::string>> menusAround(const AccessibleElement& element) {
    std::vector<std::string> menus;
    auto current = element.parent();
    for (int depth = 0; current && *current; ++depth) {
        if (depth == kMaxAncestors)
            return std::nullopt;
        const AccessibleElement& ancestor = **current;
        const std::string role = text(ancestor, "AXRole");
        if (isDocumentRole(role))
            return std::nullopt;
        if (role == "menu" || role == "menu item")
            if (const auto name = text(ancestor, "AXTitle"); !name.empty() && (menus.empty() || menus.back() != name))
                menus.push_back(name);
        auto next = ancestor.parent();
        if (next && *next == *current)
            break; // its own parent: the top
        current = std::move(next);
    }
    std::reverse(menus.begin(), menus.end());
    return menus;
}

} // namespace

void learnFromClickedElement(const DatabaseClient& database, const std::string& appNamespaceId, const std::string& app,
                             const AccessibleElement& element,
                             const std::function<std::optional<std::string>(int processId)>& applicationOfProcess) {
    MenuNode node;
    node.keyBinding = text(element, "AXKeyBinding");
    node.keyShortcuts = text(element, "AXKeyShortcuts");
    node.name = text(element, "AXTitle");
    node.description = text(element, "AXDescription");
    if (node.keyBinding.empty() && node.keyShortcuts.empty() && node.name.find('+') == std::string::npos &&
        node.description.find('+') == std::string::npos && node.name.find(" F") == std::string::npos)
        return; // shows no shortcut: the usual click costs no more reads
    const auto process = element.processId();
    const auto owner = process && applicationOfProcess ? applicationOfProcess(*process) : std::nullopt;
    if (!owner || AppDomain::normalizeName(*owner) != app)
        return;
    node.role = text(element, "AXRole");
    node.editable = text(element, "AXEditable") == "true";
    auto menus = menusAround(element);
    if (!menus)
        return;
    node.menuPath = std::move(*menus);
    const auto item = harvestItem(node);
    if (!item)
        return;
    // Where the item is one of the namespace's actions, the keys it shows may be its own.
    database.rememberApplicationKeys(appNamespaceId, {*item});
    if (database.getAccessibilityMapping(appNamespaceId, item->value))
        return;
    if (database.learnShortcuts(appNamespaceId, {*item}).learned > 0)
        printLine("Learned \"" + item->name + "\" (" + item->keys + ") in " + appNamespaceId);
}

} // namespace tavrin
