#pragma once

#include <string>

#include "State/DatabaseClient.h"
#include "platform/AccessibleElement.h"

namespace tavrin {

// Learns the shortcut the clicked element shows when its application's namespace has no mapping
// for it yet. Off the main thread; the element's reads may block on its application.
void learnFromClickedElement(const DatabaseClient& database, const std::string& appNamespaceId,
                             const AccessibleElement& element);

} // namespace tavrin
