#include "views/qt/NudgeNotifier.h"

#include "views/presenters/ShortcutCardPresenter.h"

namespace tavrin {

NudgeNotifier::NudgeNotifier(DesktopNotifications& notifications, const PlatformProfile& profile, Send send)
    : notifications_(notifications), profile_(profile), send_(std::move(send)) {}

void NudgeNotifier::present(const AppDomain::State& state) {
    if (!state.coaching.preferences.notifications) {
        if (shown_)
            notifications_.withdraw();
        shown_.reset();
        return;
    }
    const auto& nudge = state.coaching.nudge;
    // Only a settled nudge: a click whose shortcut followed within the second was no miss.
    if (!nudge || !nudge->settled || shown_ == std::pair(nudge->shortcutId, nudge->at))
        return;
    shown_ = std::pair(nudge->shortcutId, nudge->at);
    notifications_.show(nudgeNotification(*nudge, profile_),
                        [send = send_, id = nudge->shortcutId](const std::string& key) {
                            if (key == kNotForThisOne)
                                send(AppDomain::suppressNudges{id});
                            else if (key == kGotIt || key.empty())
                                send(AppDomain::dismissNudge{id});
                        });
}

} // namespace tavrin
