#pragma once

#include <functional>
#include <memory>

#include "foundation/Uuid.h"
#include "platform/ElementLookup.h"
#include "platform/InputMonitor.h"
#include "platform/MainQueue.h"
#include "platform/Screens.h"

namespace tavrin {

// Resolves a clicked point to the accessibility element under it and checks that a running
// application owns it. Reports each resolved element to the callback; failures print a line and
// end that click. The lookup talks to another process, so it runs on the executor; the main
// thread only flips the point and hears the answer.
class UIElementInspector {
public:
    using Callback = std::function<void(const AccessibleElementRef&, const Uuid&, ElementFinding)>;

    UIElementInspector(ElementLookup& elements, Screens& screens, MainQueue& mainQueue, Executor& executor,
                       Callback inspectionCallback)
        : elements_(elements), screens_(screens), mainQueue_(mainQueue), executor_(executor),
          inspectionCallback_(std::move(inspectionCallback)) {}
    ~UIElementInspector();

    // `point` is in the pointer's coordinates (origin bottom left); it is flipped against the
    // main screen's height before the lookup. Main thread. `done` runs on the main queue once the
    // click has been reported or dropped.
    void inspectElement(BottomLeftPoint point, const Uuid& uuid, std::function<void()> done = {});
    // A click whose element the platform found itself (no point to look at): only its process is
    // checked, as after a lookup. Main thread; `done` as above.
    void inspectFoundElement(const ClickedElement& click, const Uuid& uuid, std::function<void()> done = {});
    void stop();

private:
    // Runs `lookUp` on the executor and reports what it gives on the main queue.
    void report(std::function<std::optional<ClickedElement>()> lookUp, const Uuid& uuid, std::function<void()> done);

    ElementLookup& elements_;
    Screens& screens_;
    MainQueue& mainQueue_;
    Executor& executor_;
    Callback inspectionCallback_;
    // Lookups still running hold this weakly: their answer after destruction is dropped.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

// "(640.0, 300.0)": how points appear in log lines.
std::string describeCoordinates(double x, double y);
template <Origin O> std::string describePoint(PointIn<O> point) {
    return describeCoordinates(point.x, point.y);
}

} // namespace tavrin
