#include "sensing/UIElementInspector.h"

#include <cstdio>

#include "platform/Log.h"

namespace tavrin {

std::string describeCoordinates(double x, double y) {
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, "(%.1f, %.1f)", x, y);
    return buffer;
}

namespace {

// The lookup proper; runs off the main thread. No value means the click ends here.
std::optional<AccessibleElementRef> lookUp(const ElementLookup& elements, TopLeftPoint point) {
    const auto found = elements.elementAt(point);
    switch (found.outcome) {
    case ElementAtPoint::Outcome::error:
        printLine("Error getting element at position " + describePoint(point) + ": " + found.error);
        return std::nullopt;
    case ElementAtPoint::Outcome::noElement:
        printLine("No element found at the clicked position: " + describePoint(point));
        return std::nullopt;
    case ElementAtPoint::Outcome::found:
        break;
    }
    if (!found.element) {
        printLine("No element found at the clicked position: " + describePoint(point));
        return std::nullopt;
    }
    const auto processId = found.element->processId();
    if (!processId) {
        printLine("Error getting process ID: no process owns the element");
        return std::nullopt;
    }
    if (!elements.isRunningApplication(*processId)) {
        printLine("Couldn't get application for process ID: " + std::to_string(*processId));
        return std::nullopt;
    }
    return found.element;
}

} // namespace

UIElementInspector::~UIElementInspector() {
    *alive_ = false;
}

void UIElementInspector::inspectElement(BottomLeftPoint point, const Uuid& uuid, std::function<void()> done) {
    const auto screen = screens_.mainScreenFrame();
    const TopLeftPoint target = screen ? flipped(point, screen->height) : TopLeftPoint{point.x, point.y};
    std::weak_ptr<bool> alive = alive_;
    const ElementLookup* elements = &elements_;
    MainQueue* queue = &mainQueue_;
    executor_.execute([this, alive, elements, queue, target, uuid, done = std::move(done)] {
        if (!alive.lock())
            return;
        auto element = lookUp(*elements, target);
        queue->post([this, alive, element = std::move(element), uuid, done] {
            if (alive.lock() && element && inspectionCallback_)
                inspectionCallback_(*element, uuid);
            if (done)
                done();
        });
    });
}

void UIElementInspector::stop() {
    printLine("Monitoring stopped");
}

} // namespace tavrin
