#include "State/StateJson.h"

#include <typeinfo>

#include "analytics/RealAnalyticsManager.h"

namespace tavrin {

namespace {

OutputJson baseJson(const ShortcutBase& base) {
    return {
        {"shortcutId", base.shortcutId},     {"actionName", base.actionName}, {"shortcutKeys", base.shortcutKeys},
        {"isBookmarked", base.isBookmarked}, {"isLearned", base.isLearned},
    };
}

template <class T, class Convert> OutputJson optionalJson(const std::optional<T>& value, Convert convert) {
    return value ? OutputJson(convert(*value)) : OutputJson(nullptr);
}

OutputJson optionalJson(const std::optional<std::string>& value) {
    return optionalJson(value, [](const std::string& text) { return text; });
}

OutputJson toJson(const ClickEvent& event) {
    return {
        {"userId", event.userId},
        {"namespaceId", event.namespaceId},
        {"timestamp", formatDate(event.timestamp)},
        {"elementClicked", event.elementClicked},
        {"confidence", event.confidence},
        {"elementType", event.elementType},
        {"appVersion", optionalJson(event.appVersion)},
    };
}

OutputJson toJson(const ImageRef& image) {
    if (!image)
        return nullptr;
    // Images compare by identity: the address tells two of the same size apart.
    return {{"width", image->width},
            {"height", image->height},
            {"at", std::to_string(reinterpret_cast<std::uintptr_t>(image.get()))}};
}

OutputJson toJson(const AppDomain::UIElementInspectionResult& result) {
    return {std::get<0>(result), std::get<1>(result), std::get<2>(result), std::get<3>(result)};
}

OutputJson toJson(const ClickAnalysis::AccessibilityResult& result) {
    return {{"elementInfo", result.elementInfo},
            {"confidence", result.confidence},
            {"namespaceId", optionalJson(result.namespaceId)}};
}

OutputJson toJson(const ClickAnalysis::ClassificationResult& result) {
    return {{"subType", result.subType}, {"confidence", result.confidence}};
}

OutputJson toJson(const ClickAnalysis& analysis) {
    return {
        {"uuid", analysis.uuid.toString()},
        {"timestamp", formatDate(analysis.timestamp)},
        {"accessibilityResult", toJson(analysis.accessibilityResult)},
        {"classificationResult", toJson(analysis.classificationResult)},
        {"finalResult", optionalJson(analysis.finalResult,
                                     [](const ClickAnalysis::FinalResult& final) {
                                         return OutputJson{{"elementClicked", final.elementClicked},
                                                           {"confidence", final.confidence},
                                                           {"source", rawValue(final.source)}};
                                     })},
    };
}

OutputJson toJson(const ClickOrigin& origin) {
    static constexpr const char* buttons[] = {"left", "right", "other"};
    return {{"button", buttons[static_cast<int>(origin.button)]}, {"synthetic", origin.synthetic}};
}

// Newest first, as the queue keeps them: [uuid, value] pairs.
template <class T> OutputJson toJson(const LimitedQueue<T>& queue) {
    OutputJson items = OutputJson::array();
    for (const auto& [uuid, value] : queue.items)
        items.push_back({uuid.toString(), toJson(value)});
    return {{"items", std::move(items)}, {"maxSize", queue.maxSize}};
}

OutputJson toJson(const NudgeSpacing::Count& count) {
    return {{"quietMisses", count.quietMisses},
            {"nudgedAt", optionalJson(count.nudgedAt, [](Date date) { return formatDate(date); })}};
}

OutputJson toJson(const NudgeSpacing& spacing) {
    return {{"count", toJson(spacing.count)},
            {"lastMissAt", optionalJson(spacing.lastMissAt, [](Date date) { return formatDate(date); })},
            {"beforeLastMiss", toJson(spacing.beforeLastMiss)}};
}

} // namespace

OutputJson toJson(const ApplicationKeys& keys) {
    return {{"keys", keys.keys},
            {"application", keys.application},
            {"menu", keys.menu},
            {"seenAt", formatDate(keys.seenAt)}};
}

OutputJson toJson(const Nudge& nudge) {
    return {
        {"shortcutId", nudge.shortcutId},
        {"actionName", nudge.actionName},
        {"keys", nudge.keys},
        {"applicationKeys",
         optionalJson(nudge.applicationKeys, [](const ApplicationKeys& keys) { return toJson(keys); })},
        {"at", formatDate(nudge.at)},
        {"settled", nudge.settled},
    };
}

OutputJson toJson(const CoachingNote& note) {
    return {
        {"shortcutId", note.shortcutId},
        {"applicationKeys",
         optionalJson(note.applicationKeys, [](const ApplicationKeys& keys) { return toJson(keys); })},
        {"offersGraduation", note.offersGraduation},
        {"backForPractice", note.backForPractice},
    };
}

OutputJson toJson(const Coaching& coaching) {
    OutputJson spacing = OutputJson::object();
    for (const auto& [id, value] : coaching.spacing)
        spacing[std::to_string(id)] = toJson(value);
    return {
        {"preferences", OutputJson::parse(coaching.preferences.toStored().dump())},
        {"nudge", optionalJson(coaching.nudge, [](const Nudge& nudge) { return toJson(nudge); })},
        {"spacing", std::move(spacing)},
        {"clickOrigins", toJson(coaching.clickOrigins)},
        {"notes", toJson(coaching.notes)},
    };
}

OutputJson toJson(const ShortcutRecommendation& recommendation) {
    auto out = baseJson(recommendation.base);
    out["source"] = std::string(toString(recommendation.source));
    out["count"] = recommendation.count;
    out["estimatedAnnualTimeSavings"] = recommendation.estimatedAnnualTimeSavings;
    return out;
}

OutputJson toJson(const BookmarkedShortcut& shortcut) {
    auto out = baseJson(shortcut.base);
    out["bookmarkedAt"] = formatDate(shortcut.bookmarkedAt);
    return out;
}

OutputJson toJson(const LearnedShortcut& shortcut) {
    auto out = baseJson(shortcut.base);
    out["learnedAt"] = formatDate(shortcut.learnedAt);
    return out;
}

OutputJson toJson(const AppDomain::ActiveNamespace& place) {
    return {
        {"app", place.app},
        {"domain", place.domain},
        {"appNamespaceId", optionalJson(place.appNamespaceId)},
        {"domainNamespaceId", optionalJson(place.domainNamespaceId)},
        {"isSupported", place.isSupported},
    };
}

OutputJson toJson(const FTUEDomain::State& state) {
    OutputJson apps = OutputJson::array();
    for (const auto app : state.frequentlyUsedApps)
        apps.push_back(FTUEDomain::rawValue(app));
    return {
        {"currentStep", static_cast<std::int64_t>(state.currentStep)},
        {"userRole", FTUEDomain::rawValue(state.userRole)},
        {"frequentlyUsedApps", std::move(apps)},
        {"potentialTimeSavings", optionalJson(state.potentialTimeSavings,
                                              [](const FTUEDomain::State::TimeSavings& savings) {
                                                  return OutputJson{{"minutesPerDay", savings.minutesPerDay},
                                                                    {"hoursPerMonth", savings.hoursPerMonth},
                                                                    {"daysPerYear", savings.daysPerYear}};
                                              })},
        {"firstChallengeShortcut", optionalJson(state.firstChallengeShortcut,
                                                [](const FTUEDomain::State::Shortcut& shortcut) {
                                                    return OutputJson{{"name", shortcut.name}, {"keys", shortcut.keys}};
                                                })},
        {"accessibilityPermissionGranted", state.accessibilityPermissionGranted},
        {"screenRecordingPermissionGranted", state.screenRecordingPermissionGranted},
        {"screenRecordingPermissionError", optionalJson(state.screenRecordingPermissionError)},
        {"ftueCompleted", state.ftueCompleted},
        {"hasStartedFirstChallenge", state.hasStartedFirstChallenge},
        {"commandRCounter", state.commandRCounter},
        {"dataShareAgreement", state.dataShareAgreement},
    };
}

OutputJson toJson(const AppDomain::State& state) {
    OutputJson keys = OutputJson::array();
    for (const auto& key : state.pressedKeys)
        keys.push_back(key);
    const auto* manager = state.analyticsManager.get().get();
    return {
        {"activeNamespace", toJson(state.activeNamespace)},
        {"currentUserId", state.currentUserId},
        {"lastSavedClickEvent",
         optionalJson(state.lastSavedClickEvent, [](const ClickEvent& event) { return toJson(event); })},
        {"pressedKeys", std::move(keys)},
        {"recommendations", toJson(state.recommendations)},
        {"bookmarkedShortcuts", toJson(state.bookmarkedShortcuts)},
        {"learnedShortcuts", toJson(state.learnedShortcuts)},
        {"selectedCategory", rawValue(state.selectedCategory)},
        {"isFloatingMode", state.isFloatingMode},
        {"capturedScreenshots", toJson(state.capturedScreenshots)},
        {"uiElementInspectionResults", toJson(state.uiElementInspectionResults)},
        {"ftue", toJson(state.ftue)},
        {"hasCompletedFTUE", state.hasCompletedFTUE},
        {"launchAtLogin", state.launchAtLogin},
        {"accessibilityResults", toJson(state.accessibilityResults)},
        {"classificationResults", toJson(state.classificationResults)},
        {"finalAnalyses", toJson(state.finalAnalyses)},
        // The manager's type: managers compare by their own equality, not by what they hold.
        {"analyticsManager", manager ? OutputJson(typeid(*manager).name()) : OutputJson(nullptr)},
        {"appVersion", state.appVersion},
        {"pause", optionalJson(state.pause, [](const Pause& pause) { return pause.toStored(); })},
        {"coaching", toJson(state.coaching)},
    };
}

OutputJson toJson(const std::optional<Properties>& properties) {
    return properties ? OutputJson(propertiesJson(properties)) : OutputJson(nullptr);
}

} // namespace tavrin
