#include <nlohmann/json.hpp>

#include "State/Dependencies.h"
#include "State/FTUEDomain.h"
#include "foundation/Overloaded.h"
#include "platform/Log.h"
#include "platform/MainQueue.h"
#include "sensing/AccessibilityManaging.h"
#include "vision/ScreenshotManaging.h"

namespace tavrin::FTUEDomain {

namespace {

using FX = Effect<Action>;

constexpr const char* kStateKey = CodableState::defaultsKey;

State::Step next(State::Step step) {
    return static_cast<State::Step>(static_cast<std::int64_t>(step) + 1);
}
State::Step previous(State::Step step) {
    return static_cast<State::Step>(static_cast<std::int64_t>(step) - 1);
}

// Writes the state as it stands after the change, off the main thread; a failure stores nothing.
FX saveState(const State& state, const Dependencies& deps) {
    auto stored = CodableState::from(state).stored();
    auto write = deps.userDefaults.setObject;
    return FX::run([stored = std::move(stored), write](Send<Action>) { write(stored, kStateKey); });
}

// Awaits a permission request; sends `granted` when the answer is yes.
template <class Request> FX awaitPermission(Request request, Action granted) {
    return FX::task([request, granted](Send<Action> send, Finish finish) {
        request([send, finish, granted](bool held) {
            if (held)
                send(granted);
            finish();
        });
    });
}

} // namespace

State::TimeSavings timeSavings(std::size_t appCount) {
    const auto minutesPerDay = static_cast<std::int64_t>(5 * appCount);
    return {minutesPerDay, minutesPerDay / 2, minutesPerDay * 365 / 1440};
}

Effect<Action> reduce(State& state, const Action& action, const Dependencies& deps) {
    return std::visit(
        Overloaded{
            [&](const setUserRole& a) {
                state.userRole = a.role;
                return FX::none();
            },
            [&](const toggleFrequentApp& a) {
                if (!state.frequentlyUsedApps.erase(a.app))
                    state.frequentlyUsedApps.insert(a.app);
                return FX::none();
            },
            [&](const screenRecordingPermissionDenied& a) {
                state.screenRecordingPermissionGranted = false;
                state.screenRecordingPermissionError = a.error.description;
                return saveState(state, deps);
            },
            [&](const trackEvent&) { return FX::none(); }, // the parent forwards it
            [&](const nextStep&) {
                // A second press on the last step's button, before the window has moved on.
                if (state.ftueCompleted)
                    return FX::none();
                const auto step = state.currentStep;
                if (step == State::Step::privacySetup)
                    return FX::concatenate({
                        FX::send(finishFTUE{}),
                        FX::send(trackEvent{"FTUE Completed", {Properties{{"final_step", step}}}}),
                    });
                state.currentStep = next(step);
                return FX::send(trackEvent{
                    "FTUE Step Completed",
                    {Properties{{"completed_step", step}, {"next_step", state.currentStep}}},
                });
            },
            [&](const previousStep&) {
                if (state.currentStep != State::Step::welcome)
                    state.currentStep = previous(state.currentStep);
                return FX::none();
            },
            [&](const calculateTimeSavings&) {
                state.potentialTimeSavings = timeSavings(state.frequentlyUsedApps.size());
                return FX::none();
            },
            [&](const grantPermissions&) { return FX::send(nextStep{}); },
            [&](const startFirstChallenge&) {
                state.firstChallengeShortcut =
                    State::Shortcut{"Open Tab in Browser", deps.profile->practiceTabKeysCopy};
                state.hasStartedFirstChallenge = true;
                return FX::none();
            },
            [&](const finishFTUE&) {
                if (!state.ftueCompleted && state.currentStep == State::Step::privacySetup &&
                    state.accessibilityPermissionGranted)
                    return FX::send(completeFTUE{});
                return FX::none();
            },
            [&](const requestAccessibilityPermission&) {
                auto accessibility = deps.accessibility;
                MainQueue* queue = deps.mainQueue;
                // The tracker is the main thread's: the request (and the monitoring it may start)
                // hops there from the task.
                return awaitPermission(
                    [accessibility, queue](std::function<void(bool)> done) {
                        queue->post([accessibility, done = std::move(done)]() mutable {
                            accessibility().requestPermission(std::move(done));
                        });
                    },
                    accessibilityPermissionGranted{});
            },
            [&](const accessibilityPermissionGranted&) {
                state.accessibilityPermissionGranted = true;
                return saveState(state, deps);
            },
            [&](const requestScreenRecordingPermission&) {
                auto screenshots = deps.screenshots;
                return awaitPermission(
                    [screenshots](std::function<void(bool)> done) { screenshots().requestPermission(std::move(done)); },
                    screenRecordingPermissionGranted{});
            },
            [&](const screenRecordingPermissionGranted&) {
                state.screenRecordingPermissionGranted = true;
                state.screenRecordingPermissionError.reset();
                return saveState(state, deps);
            },
            [&](const completeFTUE&) {
                if (state.ftueCompleted)
                    return FX::none();
                state.ftueCompleted = true;
                printLine("FTUE Completed");
                return saveState(state, deps);
            },
            [&](const loadState&) {
                if (const auto decoded = CodableState::fromStored(deps.userDefaults.object(kStateKey)))
                    decoded->applyTo(state);
                return FX::none();
            },
            [&](const incrementCommandRCounter&) {
                ++state.commandRCounter;
                return FX::none();
            },
            [&](const toggleDataShareAgreement&) {
                state.dataShareAgreement = !state.dataShareAgreement;
                return FX::none();
            },
        },
        action);
}

} // namespace tavrin::FTUEDomain
