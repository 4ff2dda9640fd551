#pragma once

#include <functional>
#include <optional>
#include <utility>

#include "State/AppDomain.h"
#include "platform/DesktopNotifications.h"
#include "platform/PlatformProfile.h"

namespace tavrin {

// Nudges as desktop notifications, while the user wants them: each settled nudge is shown once,
// and the answer goes back to the store ("Got it", or closing it: `dismissNudge`; "Not for this
// one": `suppressNudges`). Turning them off takes the one shown back. Main thread.
class NudgeNotifier {
public:
    using Send = std::function<void(AppDomain::Action)>;

    NudgeNotifier(DesktopNotifications& notifications, const PlatformProfile& profile, Send send);

    // Follows the state, on every change.
    void present(const AppDomain::State& state);

private:
    DesktopNotifications& notifications_;
    const PlatformProfile& profile_;
    Send send_;
    std::optional<std::pair<std::int64_t, Date>> shown_; // the nudge shown: shortcut and time
};

} // namespace tavrin
