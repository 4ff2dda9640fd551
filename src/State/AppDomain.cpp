#include "State/AppDomain.h"

#include "State/Dependencies.h"
#include "State/Scope.h"

#ifndef TAVRIN_VERSION
#define TAVRIN_VERSION ""
#endif

namespace tavrin::AppDomain {

std::string bundleShortVersion() {
    const std::string version = TAVRIN_VERSION;
    return version.empty() ? "Unknown" : version;
}

std::string cancelKey(CancelID id) {
    switch (id) {
    case CancelID::accessibilityMonitoring:
        return "AppDomain.accessibilityMonitoring";
    case CancelID::pauseExpiry:
        return "AppDomain.pauseExpiry";
    }
    return "AppDomain";
}

std::string_view caseName(const Action& action) {
    static constexpr std::string_view names[] = {
        "activeNamespaceChanged",
        "saveClickEvent",
        "keyComboDetected",
        "toggleFloatingMode",
        "toggleShortcutBookmark",
        "toggleShortcutLearned",
        "flagShortcut",
        "categoryChanged",
        "inspectUIElement",
        "uiElementInspected",
        "lookupAccessibilityMapping",
        "accessibilityMappingFound",
        "accessibilityMappingNotFound",
        "compareClickResults",
        "captureAndClassifyScreenshot",
        "screenshotCaptured",
        "screenshotCaptureFailed",
        "screenshotClassified",
        "screenshotClassificationFailed",
        "ftue",
        "toggleLaunchAtLogin",
        "trackEvent",
        "setAnonymousUserId",
        "loadInitialState",
        "getRecommendations",
        "snoozeShortcut",
        "getBookmarkedShortcuts",
        "getLearnedShortcuts",
        "updateShortcuts",
        "checkAccessibilityAndStartMonitoring",
        "updateAnalyticsManager",
        "pauseCounting",
        "resumeCounting",
        "loadPause",
    };
    static_assert(std::size(names) == std::variant_size_v<Action>);
    return names[action.index()];
}

Effect<Action> RootReducer::operator()(State& state, const Action& action) const {
    return reduceChildFirst(
        state, action, &State::ftue, child_, parent_,
        [](const Action& a) -> const FTUEDomain::Action* {
            const auto* wrapped = std::get_if<ftue>(&a);
            return wrapped ? &wrapped->action : nullptr;
        },
        [](FTUEDomain::Action a) -> Action { return ftue{std::move(a)}; });
}

} // namespace tavrin::AppDomain
