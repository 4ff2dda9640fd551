#include <algorithm>

#include "State/AppDomain.h"
#include "State/ClickAnalysis.h"
#include "State/CoachingReducer.h"
#include "State/Dependencies.h"
#include "State/PauseReducer.h"
#include "analytics/NoOpAnalyticsManager.h"
#include "foundation/Overloaded.h"
#include "foundation/Text.h"
#include "State/ClickLearning.h"
#include "platform/Log.h"
#include "platform/MainQueue.h"
#include "sensing/AccessibilityManaging.h"
#include "sensing/UIElementAnalyzer.h"
#include "vision/ScreenshotManaging.h"

namespace tavrin::AppDomain {

namespace {

using FX = Effect<Action>;

constexpr std::string_view kOwnName = "tavrin";
constexpr const char* kLaunchAtLoginKey = "LaunchAtLogin";
constexpr double kConfidenceFloor = 0.8;
constexpr std::int64_t kListLength = 5;
constexpr const char* kNotFound = "NOT_FOUND";
constexpr const char* kClassificationPlaceholder = "SCREENSHOT_CAPTURE_REMOVED";

// Refreshes the list, then tracks the event.
FX refreshThenTrack(std::string event, Properties properties) {
    return FX::concatenate(
        {FX::send(updateShortcuts{}), FX::send(trackEvent{std::move(event), std::move(properties)})});
}

} // namespace

Effect<Action> reduce(State& state, const Action& action, const Dependencies& deps) {
    const DatabaseClient& database = deps.database;

    return std::visit(
        Overloaded{
            // Where the user is.
            [&](const activeNamespaceChanged& a) {
                if (auto held = PauseReducer::holdWhilePaused(state, action, deps))
                    return std::move(*held); // not even where the user is, while paused
                const std::string app = normalizeName(a.app);
                std::string domain = a.domain ? normalizeName(*a.domain) : std::string();
                if (app == kOwnName)
                    return FX::none();
                if (domain.ends_with("mail"))
                    domain = "gmail";
                else if (domain.ends_with("google_sheets"))
                    domain = "google_sheets";
                else if (domain.ends_with("_github")) // "Issues · owner/repo · GitHub"
                    domain = "github";

                ActiveNamespace place;
                const auto appRow = database.getOrCreateNamespace(std::nullopt, app);
                if (appRow && appRow->level_type == NamespaceLevel::app) {
                    place.appNamespaceId = appRow->namespace_id;
                    place.isSupported = appRow->is_supported;
                    if (!appRow->has_domain)
                        domain.clear();
                }
                if (!domain.empty()) {
                    if (const auto site = database.getNamespace(domain, std::nullopt, std::nullopt, std::nullopt)) {
                        if (site->level_type == NamespaceLevel::domain && site->is_supported) {
                            place.domainNamespaceId = site->namespace_id;
                            place.isSupported = true;
                        } else {
                            place.isSupported = false;
                        }
                    }
                }
                place.app = app;
                place.domain = domain;
                const bool same = place == state.activeNamespace;
                state.activeNamespace = place;
                if (same)
                    return FX::none();
                if (deps.profile->browserNamespaces.count(lowercased(app)) && !place.isSupported)
                    return FX::send(updateShortcuts{});
                return refreshThenTrack("Active Namespace Changed", {{"app", app}, {"domain", domain}});
            },

            // The click pipeline.
            [&](const inspectUIElement& a) {
                if (auto held = PauseReducer::holdWhilePaused(state, action, deps))
                    return std::move(*held);
                CoachingReducer::clickReceived(state, a);
                const auto element = a.element;
                const auto uuid = a.uuid;
                if (a.foundBy != ElementFinding::hitTest)
                    state.elementFindings.enqueue(uuid, a.foundBy);
                const auto appNamespaceId = state.activeNamespace.appNamespaceId;
                const auto app = state.activeNamespace.app;
                auto db = deps.database;
                auto owner = deps.applicationOfProcess;
                auto pending = deps.learnPendingMenuItems;
                return FX::run([element, uuid, appNamespaceId, app, db, owner, pending](Send<Action> send) {
                    // A click on no action (a menu title, text, a scroll bar) counts as unknown, whatever
                    // its name or its neighbours' say, and teaches nothing.
                    const auto target = UIElementAnalyzer::clickTarget(element);
                    using Kind = UIElementAnalyzer::ClickTarget::Kind;
                    // A menu item or button that shows its shortcut teaches it before its lookup.
                    if (appNamespaceId && element && target.kind != Kind::notAction)
                        learnFromClickedElement(db, *appNamespaceId, app, *element, owner);
                    const auto record = UIElementAnalyzer::properValueOfClick(element, target);
                    // A button for a menu item that was disabled, and so showed no shortcut, when the
                    // menus were read: the item is read again first, and the click counts as its action.
                    if (record && appNamespaceId && pending && target.kind != Kind::notAction)
                        if (const auto pid = element->processId())
                            pending(*appNamespaceId, app, *pid, std::get<3>(*record));
                    if (record)
                        send(uiElementInspected{uuid, std::get<3>(*record)});
                    else
                        send(accessibilityMappingNotFound{uuid});
                });
            },
            [&](const uiElementInspected& a) {
                const auto namespaceId = state.activeNamespace.currentNamespaceId();
                if (!namespaceId)
                    return FX::none();
                // On a known site the browser's own buttons still count, in the browser's namespace.
                const auto& place = state.activeNamespace;
                const auto fallback = place.domainNamespaceId ? place.appNamespaceId : std::nullopt;
                return FX::send(lookupAccessibilityMapping{a.uuid, *namespaceId, a.properValue, fallback});
            },
            [&](const lookupAccessibilityMapping& a) {
                auto db = deps.database;
                return FX::run([db, a](Send<Action> send) {
                    auto mapping = db.getAccessibilityMapping(a.namespaceId, a.predictedBestValue);
                    if (!mapping && a.fallbackNamespaceId)
                        mapping = db.getAccessibilityMapping(*a.fallbackNamespaceId, a.predictedBestValue);
                    if (mapping)
                        send(accessibilityMappingFound{a.uuid, std::move(*mapping)});
                    else
                        send(accessibilityMappingNotFound{a.uuid});
                });
            },
            [&](const accessibilityMappingFound& a) {
                // Found in the browser's namespace while a site is in front (a click still in flight
                // when the user changes place is booked to the new place, as any other).
                const auto& place = state.activeNamespace;
                std::optional<std::string> elsewhere;
                if (place.domainNamespaceId && a.mapping.namespace_id != *place.domainNamespaceId &&
                    a.mapping.namespace_id == place.appNamespaceId)
                    elsewhere = a.mapping.namespace_id;
                state.accessibilityResults.enqueue(a.uuid, {a.mapping.action_name, 1.0, elsewhere, a.mapping.learned});
                return FX::send(compareClickResults{a.uuid});
            },
            [&](const accessibilityMappingNotFound& a) {
                state.accessibilityResults.enqueue(a.uuid, {kNotFound, 0.0});
                return FX::send(compareClickResults{a.uuid});
            },
            [&](const compareClickResults& a) {
                const auto* found = state.accessibilityResults.lookup(a.uuid);
                if (!found)
                    return FX::none();
                ClickAnalysis analysis;
                analysis.uuid = a.uuid;
                analysis.timestamp = deps.now();
                analysis.accessibilityResult = *found;
                analysis.classificationResult = {kClassificationPlaceholder, 0.0f};
                analysis.finalResult = decide(*found);
                if (const auto* finding = state.elementFindings.lookup(a.uuid))
                    analysis.foundBy = *finding;
                // A click found in the browser's namespace counts there.
                const auto namespaceId =
                    found->namespaceId ? found->namespaceId : state.activeNamespace.currentNamespaceId();
                state.analyticsManager->trackEvent(
                    "Click Analysis", clickAnalysisProperties(analysis, *analysis.finalResult, namespaceId));
                state.finalAnalyses.enqueue(a.uuid, analysis);
                if (!namespaceId)
                    return FX::none();
                ClickEvent event{
                    .userId = state.currentUserId,
                    .namespaceId = *namespaceId,
                    .timestamp = analysis.timestamp,
                    .elementClicked = analysis.finalResult->elementClicked,
                    .confidence = analysis.finalResult->confidence,
                    .elementType = std::string(rawValue(analysis.finalResult->source)),
                    .appVersion = state.appVersion,
                };
                // Saved and listed first; then the coach looks at it.
                return FX::concatenate({FX::send(saveClickEvent{event}), FX::send(coachClick{a.uuid, event})});
            },
            [&](const saveClickEvent& a) {
                state.lastSavedClickEvent = a.event;
                database.insertClickEvents({a.event});
                return FX::send(getRecommendations{});
            },

            // The picture path: it has its actions, but no click starts a capture.
            [&](const captureAndClassifyScreenshot& a) {
                auto screenshots = deps.screenshots;
                MainQueue* queue = deps.mainQueue;
                return FX::run([screenshots, queue, a](Send<Action>) {
                    queue->post([screenshots, a] { screenshots().captureAndClassify(a.point, a.uuid); });
                });
            },
            [&](const screenshotCaptured& a) {
                state.capturedScreenshots.enqueue(a.uuid, a.image);
                return FX::none();
            },
            [&](const screenshotCaptureFailed& a) {
                state.classificationResults.enqueue(
                    a.uuid, {"SCREENSHOT_CAPTURE_FAILED-" + a.error.localizedDescription(), 0.0f});
                return FX::send(compareClickResults{a.uuid});
            },
            [&](const screenshotClassified& a) {
                state.classificationResults.enqueue(a.uuid, {a.sub_type, a.confidence});
                return FX::send(compareClickResults{a.uuid});
            },
            [&](const screenshotClassificationFailed& a) {
                state.classificationResults.enqueue(a.uuid, {"CLASSIFICATION_FAILED", 0.0f});
                return FX::send(compareClickResults{a.uuid});
            },

            // Keys.
            [&](const keyComboDetected& a) {
                if (auto held = PauseReducer::holdWhilePaused(state, action, deps))
                    return std::move(*held);
                if (a.keys == deps.profile->practiceKeySet)
                    return FX::send(ftue{FTUEDomain::incrementCommandRCounter{}});
                if (state.activeNamespace.domain != "gmail" && a.keys.size() <= 1)
                    return FX::none();
                state.pressedKeys = a.keys;
                const auto place = database.getNamespace(state.activeNamespace.domain, state.activeNamespace.app,
                                                         std::nullopt, std::nullopt);
                if (!place)
                    return FX::none();
                const auto keys = normalizeKeySet(a.keys);
                std::optional<std::int64_t> id;
                if (const auto shortcut = database.getShortcut(keys, place->namespace_id))
                    id = shortcut->shortcut_id;
                else // the keys the application itself shows for one of its catalogue actions
                    id = database.shortcutForApplicationKeys(keys, place->namespace_id);
                if (!id)
                    return FX::none();
                database.insertShortcutUsage(state.currentUserId, *id);
                CoachingReducer::used(state, *id, deps);
                return FX::none();
            },

            // The list and its toggles.
            [&](const toggleFloatingMode& a) {
                state.isFloatingMode = a.isFloating;
                return FX::send(trackEvent{"Toggle Floating Mode", Properties{{"isFloating", a.isFloating}}});
            },
            [&](const toggleShortcutBookmark& a) {
                if (!database.toggleShortcutBookmark(a.id))
                    return FX::none();
                return refreshThenTrack("Shortcut Bookmark Toggled", {{"shortcut_id", a.id}});
            },
            [&](const toggleShortcutLearned& a) {
                if (!database.toggleShortcutLearned(a.id))
                    return FX::none();
                CoachingReducer::learnedToggled(state, a.id, deps);
                return refreshThenTrack("Shortcut Learned Toggled", {{"shortcut_id", a.id}});
            },
            [&](const flagShortcut& a) {
                auto flag = deps.database.flagShortcut;
                auto now = deps.now;
                const auto id = a.id;
                return FX::run([flag, now, id](Send<Action> send) {
                    if (flag(id, now())) {
                        printLine("Successfully flagged shortcut with ID: " + std::to_string(id));
                        send(updateShortcuts{});
                        send(trackEvent{"Shortcut Flagged", Properties{{"shortcut_id", id}}});
                    } else {
                        printLine("Failed to flag shortcut with ID: " + std::to_string(id));
                        send(trackEvent{"Shortcut Flag Failed", Properties{{"shortcut_id", id}}});
                    }
                });
            },
            [&](const categoryChanged& a) {
                state.selectedCategory = a.category;
                return FX::send(updateShortcuts{});
            },
            [&](const updateShortcuts&) {
                if (state.selectedCategory == ShortcutCategory::recommended)
                    return FX::send(getRecommendations{});
                return FX::send(getLearnedShortcuts{});
            },
            [&](const getRecommendations&) {
                auto place =
                    database.getNamespace(state.activeNamespace.domain, state.activeNamespace.app, std::nullopt, true);
                if (!place)
                    place = database.getNamespace(std::nullopt, std::nullopt, deps.profile->osNamespaceName, true);
                if (!place) {
                    state.recommendations.clear();
                } else {
                    const auto counts = database.countElementClicks(place->namespace_id, kConfidenceFloor);
                    state.recommendations = database.getRecommendations(counts, place->namespace_id, kListLength);
                }
                CoachingReducer::refreshNotes(state, deps);
                return FX::none();
            },
            [&](const getBookmarkedShortcuts&) {
                if (const auto id = state.activeNamespace.currentNamespaceId())
                    state.bookmarkedShortcuts = database.getBookmarkedShortcuts(*id);
                return FX::none();
            },
            [&](const getLearnedShortcuts&) {
                if (const auto id = state.activeNamespace.currentNamespaceId()) {
                    state.learnedShortcuts = database.getLearnedShortcuts(*id);
                    CoachingReducer::refreshNotes(state, deps);
                }
                return FX::none();
            },
            [&](const snoozeShortcut&) { return FX::none(); },

            // The session.
            [&](const ftue& a) {
                if (const auto* event = std::get_if<FTUEDomain::trackEvent>(&a.action))
                    return FX::send(trackEvent{event->name, event->properties.dict});
                // The flow ends once: a late finish after completion changes nothing.
                if (std::holds_alternative<FTUEDomain::finishFTUE>(a.action) && !state.ftue.ftueCompleted) {
                    state.hasCompletedFTUE = true;
                    return FX::concatenate({FX::send(checkAccessibilityAndStartMonitoring{}),
                                            FX::send(trackEvent{"FTUE Completed", std::nullopt})});
                }
                return FX::none();
            },
            [&](const toggleLaunchAtLogin& a) {
                state.launchAtLogin = a.enabled;
                deps.userDefaults.setBool(a.enabled, kLaunchAtLoginKey);
                return FX::send(trackEvent{"Launch At Login Toggled", Properties{{"launch_at_login", a.enabled}}});
            },
            [&](const trackEvent& a) {
                state.analyticsManager->trackEvent(a.name, a.properties);
                return FX::none();
            },
            [&](const setAnonymousUserId& a) {
                state.currentUserId = a.id;
                state.analyticsManager->setUserId(a.id);
                return FX::none();
            },
            [&](const loadInitialState&) {
                const auto stored = deps.userDefaults.object(kLaunchAtLoginKey);
                state.launchAtLogin = stored && stored->is_boolean() ? stored->get<bool>() : true;
                return FX::run([](Send<Action> send) {
                    send(ftue{FTUEDomain::loadState{}});
                    send(checkAccessibilityAndStartMonitoring{});
                    send(updateAnalyticsManager{});
                });
            },
            [&](const checkAccessibilityAndStartMonitoring&) {
                if (!state.ftue.ftueCompleted)
                    return FX::none();
                if (!state.ftue.accessibilityPermissionGranted)
                    return FX::send(ftue{FTUEDomain::requestAccessibilityPermission{}});
                auto accessibility = deps.accessibility;
                MainQueue* queue = deps.mainQueue;
                // Stands for the life of the process: reports keep arriving until it is cancelled.
                return FX::task([accessibility, queue](Send<Action> send, Finish) {
                           queue->post([accessibility, send] {
                               auto& manager = accessibility();
                               manager.setOnStateChange([send](const PlaceReport& report) {
                                   send(activeNamespaceChanged{report.app, report.domain});
                               });
                               manager.startMonitoring();
                               if (const auto current = manager.currentState())
                                   send(activeNamespaceChanged{current->app, current->domain});
                           });
                       })
                    .cancellable(cancelKey(CancelID::accessibilityMonitoring), false);
            },
            [&](const pauseCounting& a) { return PauseReducer::pause(state, a, deps); },
            [&](const resumeCounting&) { return PauseReducer::resume(state, deps); },
            [&](const loadPause&) { return PauseReducer::load(state, deps); },
            [&](const coachClick& a) { return CoachingReducer::coach(state, a, deps); },
            [&](const nudgeSettled& a) { return CoachingReducer::settled(state, a, deps); },
            [&](const dismissNudge& a) { return CoachingReducer::dismiss(state, a); },
            [&](const suppressNudges& a) { return CoachingReducer::suppress(state, a, deps); },
            [&](const declineGraduation& a) { return CoachingReducer::decline(state, a, deps); },
            [&](const toggleNudgeNotifications& a) { return CoachingReducer::toggleNotifications(state, a, deps); },
            [&](const loadCoaching&) { return CoachingReducer::load(state, deps); },
            [&](const updateAnalyticsManager&) {
                if (state.ftue.dataShareAgreement)
                    state.analyticsManager = defaultAnalyticsManager();
                else
                    state.analyticsManager = std::make_shared<NoOpAnalyticsManager>();
                // The id may have changed while another manager was in place (a deletion of all
                // records while sharing was off).
                if (!state.currentUserId.empty())
                    state.analyticsManager->setUserId(state.currentUserId);
                return FX::none();
            },
        },
        action);
}

} // namespace tavrin::AppDomain
