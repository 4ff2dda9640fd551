#pragma once

#include "State/AppDomain.h"

// The cases of AppDomain's reducer that coach: the nudge at a click, its spacing, the taking back
// of a click the user's own key press made redundant, graduation and the return for practice.
namespace tavrin::AppDomain::CoachingReducer {

// A click that cannot be a miss is remembered by its UUID until it is saved.
void clickReceived(State& state, const inspectUIElement& action);
// A saved click: a learned shortcut whose clicks came back returns to practice; otherwise a miss
// may bring a nudge, which settles a second later.
Effect<Action> coach(State& state, const coachClick& action, const Dependencies& deps);
// A use of the shortcut was booked: a miss of it within the second before is taken back, with its
// nudge, and the notes are read again (the offer may stand now).
void used(State& state, std::int64_t shortcutId, const Dependencies& deps);
Effect<Action> settled(State& state, const nudgeSettled& action, const Dependencies& deps);
Effect<Action> dismiss(State& state, const dismissNudge& action);
Effect<Action> suppress(State& state, const suppressNudges& action, const Dependencies& deps);
Effect<Action> decline(State& state, const declineGraduation& action, const Dependencies& deps);
Effect<Action> toggleNotifications(State& state, const toggleNudgeNotifications& action, const Dependencies& deps);
Effect<Action> load(State& state, const Dependencies& deps);
// The notes on the shortcuts of both lists, after either was read.
void refreshNotes(State& state, const Dependencies& deps);
// The user marked or unmarked a shortcut as learned: it is no longer back for practice.
void learnedToggled(State& state, std::int64_t shortcutId, const Dependencies& deps);

} // namespace tavrin::AppDomain::CoachingReducer
