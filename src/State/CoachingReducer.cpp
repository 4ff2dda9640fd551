#include "State/CoachingReducer.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "State/Dependencies.h"
#include "database/TableDefinitions.h"
#include "platform/MainQueue.h"

namespace tavrin::AppDomain::CoachingReducer {

namespace {

using FX = Effect<Action>;

// The clock is read only while there is a pause.
bool paused(const State& state, const Dependencies& deps) {
    return state.pause && !state.pause->isOver(deps.now());
}

// Settles the nudge a second after the click; a newer nudge's timer replaces it.
FX settleLater(std::int64_t id, const Dependencies& deps) {
    MainQueue* queue = deps.mainQueue;
    return FX::task([queue, id](Send<Action> send, Finish finish) {
               queue->postAfter(Duration(CoachingRules::keyWindow), [send, finish, id] {
                   send(nudgeSettled{id});
                   finish();
               });
           })
        .cancellable(cancelKey(CancelID::nudgeSettling), true);
}

} // namespace

void clickReceived(State& state, const inspectUIElement& action) {
    if (!action.origin.canBeMiss())
        state.coaching.clickOrigins.enqueue(action.uuid, action.origin);
}

Effect<Action> coach(State& state, const coachClick& action, const Dependencies& deps) {
    const ClickEvent& click = action.event;
    if (paused(state, deps) || click.confidence < TableDefinitions::kCountedConfidence)
        return FX::none();
    const auto shortcut = deps.database.coachedShortcut(click.namespaceId, click.elementClicked);
    if (!shortcut)
        return FX::none();
    const Date now = click.timestamp;
    if (shortcut->learnedAt) {
        const auto balance =
            deps.database.practiceBalance(shortcut->shortcutId, CoachingRules::returnBalanceStart(*shortcut, now));
        if (CoachingRules::returnsForPractice(*shortcut, balance) &&
            deps.database.returnForPractice(shortcut->shortcutId, now))
            return FX::send(updateShortcuts{});
        return FX::none();
    }
    if (shortcut->flagged || shortcut->nudgesOffAt)
        return FX::none();
    if (const auto* origin = state.coaching.clickOrigins.lookup(action.uuid); origin && !origin->canBeMiss())
        return FX::none();
    // Pressed in the second before: the click did what the keys had done, or the other way round.
    if (deps.database.practiceBalance(shortcut->shortcutId, now - CoachingRules::keyWindow).uses > 0)
        return FX::none();

    auto& spacing = state.coaching.spacing[shortcut->shortcutId];
    spacing.beforeLastMiss = spacing.count;
    spacing.lastMissAt = now;
    if (!CoachingRules::nudges(spacing.count, state.coaching.preferences.nudgeEvery, now)) {
        ++spacing.count.quietMisses;
        return FX::none();
    }
    spacing.count = {0, now};
    state.coaching.nudge =
        Nudge{shortcut->shortcutId, shortcut->actionName, shortcut->keys(), shortcut->applicationKeys, now, false};
    return settleLater(shortcut->shortcutId, deps);
}

void used(State& state, std::int64_t shortcutId, const Dependencies& deps) {
    auto& coaching = state.coaching;
    if (const auto it = coaching.spacing.find(shortcutId);
        it != coaching.spacing.end() && it->second.lastMissAt &&
        deps.now() - *it->second.lastMissAt <= CoachingRules::keyWindow) {
        it->second.count = it->second.beforeLastMiss;
        it->second.lastMissAt.reset();
        if (coaching.nudge && coaching.nudge->shortcutId == shortcutId)
            coaching.nudge.reset();
    }
    const auto onList = [&](const auto& list) {
        return std::any_of(list.begin(), list.end(), [&](const auto& s) { return s.base.shortcutId == shortcutId; });
    };
    if (onList(state.recommendations) || onList(state.learnedShortcuts))
        refreshNotes(state, deps);
}

Effect<Action> settled(State& state, const nudgeSettled& action, const Dependencies& deps) {
    auto& nudge = state.coaching.nudge;
    if (!nudge || nudge->shortcutId != action.id || nudge->settled)
        return FX::none();
    if (!paused(state, deps))
        nudge->settled = true;
    else
        nudge.reset(); // none while paused
    return FX::none();
}

Effect<Action> dismiss(State& state, const dismissNudge& action) {
    if (state.coaching.nudge && state.coaching.nudge->shortcutId == action.id)
        state.coaching.nudge.reset();
    return FX::none();
}

Effect<Action> suppress(State& state, const suppressNudges& action, const Dependencies& deps) {
    if (!deps.database.setCoachingMark(action.id, CoachingMark::nudgesOff, deps.now()))
        return FX::none();
    if (state.coaching.nudge && state.coaching.nudge->shortcutId == action.id)
        state.coaching.nudge.reset();
    state.coaching.spacing.erase(action.id);
    return FX::none();
}

Effect<Action> decline(State& state, const declineGraduation& action, const Dependencies& deps) {
    if (deps.database.setCoachingMark(action.id, CoachingMark::offerDeclined, deps.now()))
        refreshNotes(state, deps);
    return FX::none();
}

Effect<Action> toggleNotifications(State& state, const toggleNudgeNotifications& action, const Dependencies& deps) {
    auto& preferences = state.coaching.preferences;
    preferences.notifications = action.enabled;
    deps.userDefaults.setObject(preferences.toStored(), CoachingPreferences::defaultsKey);
    return FX::none();
}

Effect<Action> load(State& state, const Dependencies& deps) {
    state.coaching.preferences =
        CoachingPreferences::fromStored(deps.userDefaults.object(CoachingPreferences::defaultsKey));
    return FX::none();
}

void refreshNotes(State& state, const Dependencies& deps) {
    std::vector<std::int64_t> ids;
    for (const auto& item : state.recommendations)
        ids.push_back(item.base.shortcutId);
    for (const auto& item : state.learnedShortcuts)
        if (std::find(ids.begin(), ids.end(), item.base.shortcutId) == ids.end())
            ids.push_back(item.base.shortcutId);
    std::vector<CoachingNote> notes;
    const Date now = ids.empty() ? Date{} : deps.now();
    for (const auto id : ids) {
        const auto shortcut = deps.database.coachedShortcutById(id);
        if (!shortcut)
            continue;
        CoachingNote note{id, shortcut->applicationKeys, false, shortcut->returnedAt && !shortcut->learnedAt};
        if (!shortcut->learnedAt && !shortcut->flagged)
            note.offersGraduation = CoachingRules::offersGraduation(
                *shortcut, deps.database.practiceBalance(id, now - CoachingRules::graduationSpan), now);
        if (note.applicationKeys || note.offersGraduation || note.backForPractice)
            notes.push_back(std::move(note));
    }
    state.coaching.notes = std::move(notes);
}

void learnedToggled(State& state, std::int64_t shortcutId, const Dependencies& deps) {
    if (const auto shortcut = deps.database.coachedShortcutById(shortcutId); shortcut && shortcut->returnedAt)
        deps.database.setCoachingMark(shortcutId, CoachingMark::returned, std::nullopt);
    if (state.coaching.nudge && state.coaching.nudge->shortcutId == shortcutId)
        state.coaching.nudge.reset();
}

} // namespace tavrin::AppDomain::CoachingReducer
