#pragma once

#include <functional>
#include <optional>
#include <string>

#include "State/DatabaseClient.h"
#include "platform/AccessibleElement.h"

namespace tavrin {

// Learns the shortcut the clicked element shows when its application's namespace has no mapping
// for it yet, and keeps the keys it shows for an action the namespace has where they differ from
// the catalogue's. Only from the application the namespace stands for (`app`, its normalised name, as
// `applicationOfProcess` names the element's process: the place follows a switch only after its
// debounce, and a click may land on another application's window), never from inside a document
// or web page, and with the menu walk's filters: nothing editable, nothing of the menus that list
// the user's own things. Off the main thread; the element's reads may block on its application.
void learnFromClickedElement(const DatabaseClient& database, const std::string& appNamespaceId, const std::string& app,
                             const AccessibleElement& element,
                             const std::function<std::optional<std::string>(int processId)>& applicationOfProcess);

} // namespace tavrin
