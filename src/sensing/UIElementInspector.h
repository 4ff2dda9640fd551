#pragma once

#include <functional>

#include "State/Uuid.h"
#include "platform/Desktop.h"

namespace tavrin {

// Resolves a clicked point to the accessibility element under it and checks that a running
// application owns it. Reports each resolved element to the callback; failures print a line and
// end that click.
class UIElementInspector {
public:
    using Callback = std::function<void(const AccessibleElementRef&, const Uuid&)>;

    UIElementInspector(Desktop& desktop, Callback inspectionCallback)
        : desktop_(desktop), inspectionCallback_(std::move(inspectionCallback)) {}

    // `point` is in the pointer's coordinates (origin bottom left); it is flipped against the
    // main screen's height before the lookup.
    void inspectElement(Point point, const Uuid& uuid);
    void stop();

private:
    Desktop& desktop_;
    Callback inspectionCallback_;
};

// "(640.0, 300.0)": how points appear in log lines.
std::string describePoint(Point point);

} // namespace tavrin
