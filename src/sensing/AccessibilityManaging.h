#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace tavrin {

// Where the user is: the application in front and, in a browser, the site. Reported by the
// active-application tracker; the store turns reports into `activeNamespaceChanged`.
struct PlaceReport {
    std::string app;
    std::optional<std::string> domain;
    bool operator==(const PlaceReport&) const = default;
};

// The tracker as the core sees it. All calls and callbacks on the main thread.
class AccessibilityManaging {
public:
    virtual ~AccessibilityManaging() = default;
    // Replaces the function that receives each (debounced) report.
    virtual void setOnStateChange(std::function<void(const PlaceReport&)> handler) = 0;
    virtual void startMonitoring() = 0;
    // The last report, if there was one.
    virtual std::optional<PlaceReport> currentState() const = 0;
    // Asks for the accessibility permission (prompting the user if needed) and calls `completion`
    // with true once it is held, or false when the wait gives up.
    virtual void requestPermission(std::function<void(bool)> completion) = 0;
};

} // namespace tavrin
