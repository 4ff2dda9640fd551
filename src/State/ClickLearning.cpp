#include "State/ClickLearning.h"

#include "foundation/MenuHarvest.h"
#include "platform/Log.h"

namespace tavrin {

void learnFromClickedElement(const DatabaseClient& database, const std::string& appNamespaceId,
                             const AccessibleElement& element) {
    auto text = [&](const char* name) {
        const auto value = element.attribute(name);
        return value && value->text ? *value->text : std::string();
    };
    MenuNode node;
    node.keyBinding = text("AXKeyBinding");
    node.keyShortcuts = text("AXKeyShortcuts");
    node.name = text("AXTitle");
    node.description = text("AXDescription");
    if (node.keyBinding.empty() && node.keyShortcuts.empty() && node.name.find('+') == std::string::npos &&
        node.description.find('+') == std::string::npos && node.name.find(" F") == std::string::npos)
        return; // shows no shortcut: the usual click costs no more reads
    node.role = text("AXRole");
    const auto item = harvestItem(node);
    if (!item || database.getAccessibilityMapping(appNamespaceId, item->value))
        return;
    if (database.learnShortcuts(appNamespaceId, {*item}).learned > 0)
        printLine("Learned \"" + item->name + "\" (" + item->keys + ") in " + appNamespaceId);
}

} // namespace tavrin
