#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <variant>
#include <vector>

#include "State/ActionCase.h"
#include "State/ClickAnalysis.h"
#include "State/Coaching.h"
#include "State/Effect.h"
#include "State/FeatureReducer.h"
#include "State/FTUEDomain.h"
#include "analytics/AnalyticsManaging.h"
#include "State/Pause.h"
#include "database/Models.h"
#include "foundation/Geometry.h"
#include "foundation/Image.h"
#include "foundation/LimitedQueue.h"
#include "foundation/Uuid.h"
#include "platform/AccessibleElement.h"
#include "platform/ElementLookup.h"
#include "vision/ScreenshotError.h"

namespace tavrin {
struct Dependencies;
}

// The root feature: where the user is, the cheat-sheet lists, the click pipeline and the session.
namespace tavrin::AppDomain {

// The version string stored with each click; "Unknown" when the build has none.
std::string bundleShortVersion();

struct ActiveNamespace {
    std::string app;    // normalised application name
    std::string domain; // normalised site name; empty when none applies
    std::optional<std::string> appNamespaceId;
    std::optional<std::string> domainNamespaceId;
    bool isSupported = false;
    bool operator==(const ActiveNamespace&) const = default;

    // The namespace clicks and shortcuts belong to: the site's when there is one, else the app's.
    const std::optional<std::string>& currentNamespaceId() const {
        return domainNamespaceId ? domainNamespaceId : appNamespaceId;
    }
};

// (index, attribute name, value, role) of one inspected element.
using UIElementInspectionResult = std::tuple<std::int64_t, std::string, std::string, std::string>;

struct State {
    ActiveNamespace activeNamespace;
    std::string currentUserId;
    std::optional<ClickEvent> lastSavedClickEvent;
    std::set<std::string> pressedKeys;
    std::vector<ShortcutRecommendation> recommendations;
    std::vector<BookmarkedShortcut> bookmarkedShortcuts;
    std::vector<LearnedShortcut> learnedShortcuts;
    ShortcutCategory selectedCategory = ShortcutCategory::recommended;
    bool isFloatingMode = false;
    LimitedQueue<ImageRef> capturedScreenshots;
    LimitedQueue<UIElementInspectionResult> uiElementInspectionResults;
    FTUEDomain::State ftue;
    bool hasCompletedFTUE = false;
    bool launchAtLogin = true;
    LimitedQueue<ClickAnalysis::AccessibilityResult> accessibilityResults;
    LimitedQueue<ClickAnalysis::ClassificationResult> classificationResults;
    LimitedQueue<ClickAnalysis> finalAnalyses;
    // How a click's element was found, for the clicks not found by the hit test (the rest are).
    LimitedQueue<ElementFinding> elementFindings;
    AnalyticsManagerRef analyticsManager{defaultAnalyticsManager()};
    std::string appVersion = bundleShortVersion();
    // Set while the user has paused the counting; loaded from the defaults by `loadPause`.
    std::optional<Pause> pause;
    // The nudges, their spacing, the notes on the lists' cards and the coaching's preferences.
    Coaching coaching;

    bool operator==(const State&) const = default;
};

// Action cases, in the order the union declares them.
struct activeNamespaceChanged {
    std::string app;
    std::optional<std::string> domain;
    bool operator==(const activeNamespaceChanged&) const = default;
};
struct saveClickEvent {
    ClickEvent event;
    bool operator==(const saveClickEvent&) const = default;
};
struct keyComboDetected {
    std::set<std::string> keys;
    bool operator==(const keyComboDetected&) const = default;
};
struct toggleFloatingMode {
    bool isFloating = false;
    bool operator==(const toggleFloatingMode&) const = default;
};
struct toggleShortcutBookmark {
    std::int64_t id = 0;
    bool operator==(const toggleShortcutBookmark&) const = default;
};
struct toggleShortcutLearned {
    std::int64_t id = 0;
    bool operator==(const toggleShortcutLearned&) const = default;
};
struct flagShortcut {
    std::int64_t id = 0;
    bool operator==(const flagShortcut&) const = default;
};
struct categoryChanged {
    ShortcutCategory category = ShortcutCategory::recommended;
    bool operator==(const categoryChanged&) const = default;
};
struct inspectUIElement {
    AccessibleElementRef element;
    Uuid uuid;
    ElementFinding foundBy = ElementFinding::hitTest;
    // How the click was made; the click intake sends its own left click unless it saw otherwise.
    ClickOrigin origin;
    bool operator==(const inspectUIElement&) const = default;
};
struct uiElementInspected {
    Uuid uuid;
    std::string properValue;
    bool operator==(const uiElementInspected&) const = default;
};
struct lookupAccessibilityMapping {
    Uuid uuid;
    std::string namespaceId;
    std::string predictedBestValue;
    // Looked in when `namespaceId` has no mapping for the value: the browser's namespace on a site.
    std::optional<std::string> fallbackNamespaceId;
    bool operator==(const lookupAccessibilityMapping&) const = default;
};
struct accessibilityMappingFound {
    Uuid uuid;
    AccessibilityMapping mapping;
    bool operator==(const accessibilityMappingFound&) const = default;
};
struct accessibilityMappingNotFound {
    Uuid uuid;
    bool operator==(const accessibilityMappingNotFound&) const = default;
};
struct compareClickResults {
    Uuid uuid;
    bool operator==(const compareClickResults&) const = default;
};
struct captureAndClassifyScreenshot {
    BottomLeftPoint point;
    Uuid uuid;
    bool operator==(const captureAndClassifyScreenshot&) const = default;
};
struct screenshotCaptured {
    Uuid uuid;
    ImageRef image;
    bool operator==(const screenshotCaptured&) const = default;
};
struct screenshotCaptureFailed {
    Uuid uuid;
    ScreenshotError error;
    bool operator==(const screenshotCaptureFailed&) const = default;
};
struct screenshotClassified {
    Uuid uuid;
    std::string sub_type;
    float confidence = 0;
    bool operator==(const screenshotClassified&) const = default;
};
struct screenshotClassificationFailed {
    Uuid uuid;
    ErrorValue error;
    bool operator==(const screenshotClassificationFailed&) const = default;
};
struct ftue {
    FTUEDomain::Action action;
    bool operator==(const ftue&) const = default;
};
struct toggleLaunchAtLogin {
    bool enabled = false;
    bool operator==(const toggleLaunchAtLogin&) const = default;
};
struct trackEvent {
    std::string name;
    std::optional<Properties> properties;
    bool operator==(const trackEvent&) const = default;
};
struct setAnonymousUserId {
    std::string id;
    bool operator==(const setAnonymousUserId&) const = default;
};
TAVRIN_EMPTY_ACTION(loadInitialState);
TAVRIN_EMPTY_ACTION(getRecommendations);
TAVRIN_EMPTY_ACTION(snoozeShortcut);
TAVRIN_EMPTY_ACTION(getBookmarkedShortcuts);
TAVRIN_EMPTY_ACTION(getLearnedShortcuts);
TAVRIN_EMPTY_ACTION(updateShortcuts);
TAVRIN_EMPTY_ACTION(checkAccessibilityAndStartMonitoring);
TAVRIN_EMPTY_ACTION(updateAnalyticsManager);
// The user pauses the counting ("Pause Tavrin"): for `minutes`, or until resumed without them.
struct pauseCounting {
    std::optional<std::int64_t> minutes;
    bool operator==(const pauseCounting&) const = default;
};
TAVRIN_EMPTY_ACTION(resumeCounting);
// Takes the pause the defaults hold: at start-up, when another process changed it, when it runs out.
TAVRIN_EMPTY_ACTION(loadPause);
// A click was saved (`event`, the click `uuid`): the coach looks at it for a nudge, or for a learned
// shortcut whose clicks came back.
struct coachClick {
    Uuid uuid;
    ClickEvent event;
    bool operator==(const coachClick&) const = default;
};
// A second after a nudge, with no press of its shortcut since.
struct nudgeSettled {
    std::int64_t id = 0;
    bool operator==(const nudgeSettled&) const = default;
};
// "Got it": the nudge of the shortcut `id` is done with.
struct dismissNudge {
    std::int64_t id = 0;
    bool operator==(const dismissNudge&) const = default;
};
// "Not for this one": no more nudges for the shortcut `id`.
struct suppressNudges {
    std::int64_t id = 0;
    bool operator==(const suppressNudges&) const = default;
};
// The graduation offer on the shortcut `id`, turned down for now. Accepting it is
// `toggleShortcutLearned`.
struct declineGraduation {
    std::int64_t id = 0;
    bool operator==(const declineGraduation&) const = default;
};
// Nudges also as desktop notifications, or not.
struct toggleNudgeNotifications {
    bool enabled = false;
    bool operator==(const toggleNudgeNotifications&) const = default;
};
// Takes the coaching's preferences from the defaults: at start-up and when another process changed them.
TAVRIN_EMPTY_ACTION(loadCoaching);

using Action =
    std::variant<activeNamespaceChanged, saveClickEvent, keyComboDetected, toggleFloatingMode, toggleShortcutBookmark,
                 toggleShortcutLearned, flagShortcut, categoryChanged, inspectUIElement, uiElementInspected,
                 lookupAccessibilityMapping, accessibilityMappingFound, accessibilityMappingNotFound,
                 compareClickResults, captureAndClassifyScreenshot, screenshotCaptured, screenshotCaptureFailed,
                 screenshotClassified, screenshotClassificationFailed, ftue, toggleLaunchAtLogin, trackEvent,
                 setAnonymousUserId, loadInitialState, getRecommendations, snoozeShortcut, getBookmarkedShortcuts,
                 getLearnedShortcuts, updateShortcuts, checkAccessibilityAndStartMonitoring, updateAnalyticsManager,
                 pauseCounting, resumeCounting, loadPause, coachClick, nudgeSettled, dismissNudge, suppressNudges,
                 declineGraduation, toggleNudgeNotifications, loadCoaching>;
static_assert(std::variant_size_v<Action> == 41);

// Cancellation identifiers of this feature's long-lived effects.
enum class CancelID { accessibilityMonitoring, pauseExpiry, nudgeSettling };
std::string cancelKey(CancelID id);

inline std::string_view caseName(const Action& action) {
    return actionCaseName(action);
}

// An application or site name as namespaces know it: lower-case letters, "_" and "-" only,
// blanks as single "_" ("Photo  Editor 2" gives "photo_editor").
std::string normalizeName(std::string_view name);

// Pressed keys as the catalogue writes them: the modifiers in the order command, control, option,
// shift, then the other keys lower-cased, joined by " + ".
std::string normalizeKeySet(const std::set<std::string>& keys);

// The decision on one click: an accessibility confidence above 0.5 names the action, anything
// else is "unknown" with 0.0.
ClickAnalysis::FinalResult decide(const ClickAnalysis::AccessibilityResult& result);

// The feature's own cases, without the child.
Effect<Action> reduce(State& state, const Action& action, const Dependencies& deps);
using Reducer = FeatureReducer<State, Action>;

// The root reducer: for an `ftue` action the child runs first on its slice, then this feature
// sees the same action; the effect is the child's merged with the parent's, the child's first.
class RootReducer {
public:
    explicit RootReducer(const Dependencies& dependencies) : child_(dependencies), parent_(dependencies) {}
    Effect<Action> operator()(State& state, const Action& action) const;

private:
    FTUEDomain::Reducer child_;
    Reducer parent_;
};

} // namespace tavrin::AppDomain
