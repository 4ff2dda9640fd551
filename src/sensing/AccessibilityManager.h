#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/AccessibilityTrust.h"
#include "platform/FrontApplication.h"
#include "platform/MainQueue.h"
#include "platform/PlatformProfile.h"
#include "sensing/AccessibilityManaging.h"

namespace tavrin {

// Knows which application is in front and, in a browser, which site it shows (from the front
// window's title); reports a change after 0.3 s of quiet. Also asks for the accessibility trust and
// waits for it. Main thread only; timers run on the main queue.
class AccessibilityManager final : public AccessibilityManaging {
public:
    AccessibilityManager(FrontApplication& front, AccessibilityTrust& trust, MainQueue& mainQueue,
                         const PlatformProfile& profile);
    ~AccessibilityManager() override;

    void setOnStateChange(std::function<void(const PlaceReport&)> handler) override;
    void startMonitoring() override;
    std::optional<PlaceReport> currentState() const override { return currentState_; }
    // Trusted already: starts monitoring and answers true. Otherwise prompts and waits.
    void requestPermission(std::function<void(bool)> completion) override;
    // Polls the trust every 0.5 s for up to 60 s. A second wait during one answers false at once.
    void waitForPermission(std::function<void(bool)> completion);
    // Ends a running wait; it answers false.
    void cancelWait();

    void checkActiveApplication();
    bool isBrowser(const std::string& name) const;
    bool isWaitingForPermissions() const { return waiting_ != nullptr; }

    static constexpr double pollInterval = 1.0;
    static constexpr double debounceInterval = 0.3;
    static constexpr double permissionPollInterval = 0.5;
    static constexpr double permissionTimeout = 60.0;

private:
    struct Wait;
    void extractSiteName();
    void updateState(const std::string& app, const std::optional<std::string>& site);
    void schedulePoll();
    void pollPermission(std::shared_ptr<Wait> wait);

    FrontApplication& front_;
    AccessibilityTrust& trust_;
    MainQueue& mainQueue_;
    const PlatformProfile& profile_;
    std::optional<PlaceReport> currentState_;
    std::function<void(const PlaceReport&)> onStateChange_;
    std::optional<MainQueue::TimerId> monitorTimer_;
    std::optional<MainQueue::TimerId> debounceTimer_;
    std::shared_ptr<Wait> waiting_;
    // Timers hold this weakly: a tick after destruction does nothing.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
