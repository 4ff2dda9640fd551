#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "State/ActionCase.h"
#include "State/Effect.h"
#include "State/FeatureReducer.h"
#include "foundation/ErrorValue.h"
#include "foundation/Properties.h"

namespace tavrin {
struct Dependencies;
}

// The first-run flow: a child feature of AppDomain, under the state field and action case `ftue`.
namespace tavrin::FTUEDomain {

struct State {
    using Step = FTUEStep;

    // Raw values are also the display strings (a persisted contract).
    enum class UserRole {
        designerUXUI,
        softwareEngineer,
        productManager,
        dataAnalyst,
        marketingSpecialist,
        projectManager,
        salesRepresentative,
        videoProducer,
        other,
    };
    enum class AppType { email, spreadsheet, wordProcessor, browser, designTool, other };

    struct TimeSavings {
        std::int64_t minutesPerDay = 0;
        std::int64_t hoursPerMonth = 0;
        std::int64_t daysPerYear = 0;
        bool operator==(const TimeSavings&) const = default;
    };

    struct Shortcut {
        std::string name;
        std::string keys;
        bool operator==(const Shortcut&) const = default;
    };

    Step currentStep = Step::welcome;
    UserRole userRole = UserRole::designerUXUI;
    std::set<AppType> frequentlyUsedApps;
    std::optional<TimeSavings> potentialTimeSavings;
    std::optional<Shortcut> firstChallengeShortcut;
    bool accessibilityPermissionGranted = false;
    bool screenRecordingPermissionGranted = false;
    std::optional<std::string> screenRecordingPermissionError;
    bool ftueCompleted = false;
    bool hasStartedFirstChallenge = false;
    std::int64_t commandRCounter = 0; // not persisted
    bool dataShareAgreement = true;

    bool operator==(const State&) const = default;
};

inline constexpr State::UserRole kAllUserRoles[] = {
    State::UserRole::designerUXUI,        State::UserRole::softwareEngineer,    State::UserRole::productManager,
    State::UserRole::dataAnalyst,         State::UserRole::marketingSpecialist, State::UserRole::projectManager,
    State::UserRole::salesRepresentative, State::UserRole::videoProducer,       State::UserRole::other,
};
inline constexpr State::AppType kAllAppTypes[] = {
    State::AppType::email,   State::AppType::spreadsheet, State::AppType::wordProcessor,
    State::AppType::browser, State::AppType::designTool,  State::AppType::other,
};

std::string_view rawValue(State::UserRole role);
std::string_view rawValue(State::AppType app);
std::optional<State::UserRole> userRoleFromRaw(std::string_view raw);
std::optional<State::AppType> appTypeFromRaw(std::string_view raw);
// An integer outside 0 to 4 makes no step.
std::optional<State::Step> stepFromRaw(std::int64_t raw);

// The persisted form of the state under the defaults key "FTUEState" (a persisted contract):
// a JSON object whose keys are these field names, enums by their raw values, absent optionals
// left out. Everything but commandRCounter.
struct CodableState {
    static constexpr const char* defaultsKey = "FTUEState";

    State::Step currentStep = State::Step::welcome;
    State::UserRole userRole = State::UserRole::designerUXUI;
    std::vector<State::AppType> frequentlyUsedApps;
    std::optional<State::TimeSavings> potentialTimeSavings;
    std::optional<State::Shortcut> firstChallengeShortcut;
    bool accessibilityPermissionGranted = false;
    bool screenRecordingPermissionGranted = false;
    std::optional<std::string> screenRecordingPermissionError;
    bool ftueCompleted = false;
    bool hasStartedFirstChallenge = false;
    bool dataShareAgreement = true;

    bool operator==(const CodableState&) const = default;

    static CodableState from(const State& state);
    // Copies every field into `state`; commandRCounter keeps its value.
    void applyTo(State& state) const;

    std::string encode() const;
    // No value when the text is not JSON, a field is missing or of the wrong kind, or an enum
    // value is unknown. Unknown keys are ignored; optional fields may be absent or null.
    static std::optional<CodableState> decode(std::string_view json);

    // As the preferences keep it under `defaultsKey`: the encoded text as binary data.
    nlohmann::json stored() const;
    // No value when `value` is absent, not binary data, or does not decode.
    static std::optional<CodableState> fromStored(const std::optional<nlohmann::json>& value);
};

// Actions. The first four carry a payload.
struct setUserRole {
    State::UserRole role;
    bool operator==(const setUserRole&) const = default;
};
struct toggleFrequentApp {
    State::AppType app;
    bool operator==(const toggleFrequentApp&) const = default;
};
struct screenRecordingPermissionDenied {
    ErrorValue error;
    bool operator==(const screenRecordingPermissionDenied&) const = default;
};
struct trackEvent {
    std::string name;
    EquatableDict properties;
    bool operator==(const trackEvent&) const = default;
};
TAVRIN_EMPTY_ACTION(nextStep);
TAVRIN_EMPTY_ACTION(previousStep);
TAVRIN_EMPTY_ACTION(calculateTimeSavings);
TAVRIN_EMPTY_ACTION(grantPermissions);
TAVRIN_EMPTY_ACTION(startFirstChallenge);
TAVRIN_EMPTY_ACTION(finishFTUE);
TAVRIN_EMPTY_ACTION(requestAccessibilityPermission);
TAVRIN_EMPTY_ACTION(accessibilityPermissionGranted);
TAVRIN_EMPTY_ACTION(requestScreenRecordingPermission);
TAVRIN_EMPTY_ACTION(screenRecordingPermissionGranted);
TAVRIN_EMPTY_ACTION(completeFTUE);
TAVRIN_EMPTY_ACTION(loadState);
TAVRIN_EMPTY_ACTION(incrementCommandRCounter);
TAVRIN_EMPTY_ACTION(toggleDataShareAgreement);

using Action = std::variant<setUserRole, toggleFrequentApp, screenRecordingPermissionDenied, trackEvent, nextStep,
                            previousStep, calculateTimeSavings, grantPermissions, startFirstChallenge, finishFTUE,
                            requestAccessibilityPermission, accessibilityPermissionGranted,
                            requestScreenRecordingPermission, screenRecordingPermissionGranted, completeFTUE, loadState,
                            incrementCommandRCounter, toggleDataShareAgreement>;

// The estimate of the first-run flow: five minutes a day per chosen app, in whole units.
State::TimeSavings timeSavings(std::size_t appCount);

// The case's name as written here ("nextStep"), for logs and test failures.
inline std::string_view caseName(const Action& action) {
    return actionCaseName(action);
}

Effect<Action> reduce(State& state, const Action& action, const Dependencies& deps);
using Reducer = FeatureReducer<State, Action>;

} // namespace tavrin::FTUEDomain
