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

// The element's process must be a running application's, or the click ends here.
bool ownedByRunningApplication(const ElementLookup& elements, const AccessibleElementRef& element) {
    const auto processId = element->processId();
    if (!processId) {
        printLine("Error getting process ID: no process owns the element");
        return false;
    }
    if (!elements.isRunningApplication(*processId)) {
        printLine("Couldn't get application for process ID: " + std::to_string(*processId));
        return false;
    }
    return true;
}

// The lookup proper; runs off the main thread. No value means the click ends here.
std::optional<ClickedElement> lookUp(const ElementLookup& elements, TopLeftPoint point) {
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
    if (!ownedByRunningApplication(elements, found.element))
        return std::nullopt;
    return ClickedElement{found.element, found.foundBy};
}

} // namespace

UIElementInspector::~UIElementInspector() {
    *alive_ = false;
}

void UIElementInspector::inspectElement(BottomLeftPoint point, const Uuid& uuid, std::function<void()> done) {
    const auto screen = screens_.mainScreenFrame();
    const TopLeftPoint target = screen ? flipped(point, screen->height) : TopLeftPoint{point.x, point.y};
    const ElementLookup* elements = &elements_;
    report([elements, target] { return lookUp(*elements, target); }, uuid, std::move(done));
}

void UIElementInspector::inspectFoundElement(const ClickedElement& click, const Uuid& uuid,
                                             std::function<void()> done) {
    const ElementLookup* elements = &elements_;
    report(
        [elements, click]() -> std::optional<ClickedElement> {
            if (!click.element || !ownedByRunningApplication(*elements, click.element))
                return std::nullopt;
            return click;
        },
        uuid, std::move(done));
}

void UIElementInspector::report(std::function<std::optional<ClickedElement>()> lookUp, const Uuid& uuid,
                                std::function<void()> done) {
    std::weak_ptr<bool> alive = alive_;
    MainQueue* queue = &mainQueue_;
    executor_.execute([this, alive, queue, lookUp = std::move(lookUp), uuid, done = std::move(done)] {
        if (!alive.lock())
            return;
        auto found = lookUp();
        queue->post([this, alive, found = std::move(found), uuid, done] {
            if (alive.lock() && found && inspectionCallback_)
                inspectionCallback_(found->element, uuid, found->foundBy);
            if (done)
                done();
        });
    });
}

void UIElementInspector::stop() {
    printLine("Monitoring stopped");
}

} // namespace tavrin
