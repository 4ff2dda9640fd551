#include "sensing/UIElementInspector.h"

#include <cstdio>

#include "platform/Log.h"

namespace tavrin {

std::string describePoint(Point point) {
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, "(%.1f, %.1f)", point.x, point.y);
    return buffer;
}

void UIElementInspector::inspectElement(Point point, const Uuid& uuid) {
    if (const auto screen = desktop_.mainScreenFrame())
        point.y = screen->height - point.y;
    const auto found = desktop_.elementAt(point);
    switch (found.outcome) {
    case ElementAtPoint::Outcome::error:
        printLine("Error getting element at position " + describePoint(point) + ": " + found.error);
        return;
    case ElementAtPoint::Outcome::noElement:
        printLine("No element found at the clicked position: " + describePoint(point));
        return;
    case ElementAtPoint::Outcome::found:
        break;
    }
    if (!found.element) {
        printLine("No element found at the clicked position: " + describePoint(point));
        return;
    }
    const auto processId = found.element->processId();
    if (!processId) {
        printLine("Error getting process ID: no process owns the element");
        return;
    }
    if (!desktop_.isRunningApplication(*processId)) {
        printLine("Couldn't get application for process ID: " + std::to_string(*processId));
        return;
    }
    if (inspectionCallback_)
        inspectionCallback_(found.element, uuid);
}

void UIElementInspector::stop() {
    printLine("Monitoring stopped");
}

} // namespace tavrin
