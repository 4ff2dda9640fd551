#include "State/FTUEDomain.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "State/Dependencies.h"

namespace tavrin::FTUEDomain {

using json = nlohmann::json;

std::string_view rawValue(State::UserRole role) {
    switch (role) {
    case State::UserRole::designerUXUI:
        return "UX/UI Designer";
    case State::UserRole::softwareEngineer:
        return "Software Engineer";
    case State::UserRole::productManager:
        return "Product Manager";
    case State::UserRole::dataAnalyst:
        return "Data Analyst";
    case State::UserRole::marketingSpecialist:
        return "Marketing Specialist";
    case State::UserRole::projectManager:
        return "Project Manager";
    case State::UserRole::salesRepresentative:
        return "Sales Representative";
    case State::UserRole::videoProducer:
        return "Video Producer";
    case State::UserRole::other:
        return "Other";
    }
    return "Other";
}

std::string_view rawValue(State::AppType app) {
    switch (app) {
    case State::AppType::email:
        return "Email Client";
    case State::AppType::spreadsheet:
        return "Spreadsheet App";
    case State::AppType::wordProcessor:
        return "Word Processor";
    case State::AppType::browser:
        return "Web Browser";
    case State::AppType::designTool:
        return "Design Tool";
    case State::AppType::other:
        return "The One That Always Crashes";
    }
    return "The One That Always Crashes";
}

std::optional<State::UserRole> userRoleFromRaw(std::string_view raw) {
    for (auto role : kAllUserRoles)
        if (rawValue(role) == raw)
            return role;
    return std::nullopt;
}

std::optional<State::AppType> appTypeFromRaw(std::string_view raw) {
    for (auto app : kAllAppTypes)
        if (rawValue(app) == raw)
            return app;
    return std::nullopt;
}

std::optional<State::Step> stepFromRaw(std::int64_t raw) {
    if (raw < 0 || raw > 4)
        return std::nullopt;
    return static_cast<State::Step>(raw);
}

CodableState CodableState::from(const State& state) {
    return {
        .currentStep = state.currentStep,
        .userRole = state.userRole,
        .frequentlyUsedApps = {state.frequentlyUsedApps.begin(), state.frequentlyUsedApps.end()},
        .potentialTimeSavings = state.potentialTimeSavings,
        .firstChallengeShortcut = state.firstChallengeShortcut,
        .accessibilityPermissionGranted = state.accessibilityPermissionGranted,
        .screenRecordingPermissionGranted = state.screenRecordingPermissionGranted,
        .screenRecordingPermissionError = state.screenRecordingPermissionError,
        .ftueCompleted = state.ftueCompleted,
        .hasStartedFirstChallenge = state.hasStartedFirstChallenge,
        .dataShareAgreement = state.dataShareAgreement,
    };
}

void CodableState::applyTo(State& state) const {
    state.currentStep = currentStep;
    state.userRole = userRole;
    state.frequentlyUsedApps = {frequentlyUsedApps.begin(), frequentlyUsedApps.end()};
    state.potentialTimeSavings = potentialTimeSavings;
    state.firstChallengeShortcut = firstChallengeShortcut;
    state.accessibilityPermissionGranted = accessibilityPermissionGranted;
    state.screenRecordingPermissionGranted = screenRecordingPermissionGranted;
    state.screenRecordingPermissionError = screenRecordingPermissionError;
    state.ftueCompleted = ftueCompleted;
    state.hasStartedFirstChallenge = hasStartedFirstChallenge;
    state.dataShareAgreement = dataShareAgreement;
}

std::string CodableState::encode() const {
    json apps = json::array();
    for (auto app : frequentlyUsedApps)
        apps.push_back(rawValue(app));
    json out = {
        {"currentStep", static_cast<std::int64_t>(currentStep)},
        {"userRole", rawValue(userRole)},
        {"frequentlyUsedApps", std::move(apps)},
        {"accessibilityPermissionGranted", accessibilityPermissionGranted},
        {"screenRecordingPermissionGranted", screenRecordingPermissionGranted},
        {"ftueCompleted", ftueCompleted},
        {"hasStartedFirstChallenge", hasStartedFirstChallenge},
        {"dataShareAgreement", dataShareAgreement},
    };
    if (potentialTimeSavings)
        out["potentialTimeSavings"] = {{"minutesPerDay", potentialTimeSavings->minutesPerDay},
                                       {"hoursPerMonth", potentialTimeSavings->hoursPerMonth},
                                       {"daysPerYear", potentialTimeSavings->daysPerYear}};
    if (firstChallengeShortcut)
        out["firstChallengeShortcut"] = {{"name", firstChallengeShortcut->name},
                                         {"keys", firstChallengeShortcut->keys}};
    if (screenRecordingPermissionError)
        out["screenRecordingPermissionError"] = *screenRecordingPermissionError;
    return out.dump();
}

namespace {

// Strict readers in the manner of a typed decoder: a missing key or a value of another kind fails.
struct DecodeError {};

const json& required(const json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end() || it->is_null())
        throw DecodeError{};
    return *it;
}

const json* optionalField(const json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end() || it->is_null())
        return nullptr;
    return &*it;
}

bool readBool(const json& value) {
    if (!value.is_boolean())
        throw DecodeError{};
    return value.get<bool>();
}

std::int64_t readInteger(const json& value) {
    if (value.is_number_integer())
        return value.get<std::int64_t>();
    if (value.is_number_float()) {
        const double d = value.get<double>();
        if (d == static_cast<double>(static_cast<std::int64_t>(d)))
            return static_cast<std::int64_t>(d);
    }
    throw DecodeError{};
}

std::string readString(const json& value) {
    if (!value.is_string())
        throw DecodeError{};
    return value.get<std::string>();
}

template <class T> T orFail(std::optional<T> value) {
    if (!value)
        throw DecodeError{};
    return *value;
}

} // namespace

std::optional<CodableState> CodableState::decode(std::string_view text) {
    const json document = json::parse(text, nullptr, false);
    if (document.is_discarded() || !document.is_object())
        return std::nullopt;
    try {
        CodableState state;
        state.currentStep = orFail(stepFromRaw(readInteger(required(document, "currentStep"))));
        state.userRole = orFail(userRoleFromRaw(readString(required(document, "userRole"))));
        const json& apps = required(document, "frequentlyUsedApps");
        if (!apps.is_array())
            return std::nullopt;
        for (const auto& app : apps) {
            const auto type = orFail(appTypeFromRaw(readString(app)));
            // A set was encoded: a repeated entry would not survive the round trip either.
            if (std::find(state.frequentlyUsedApps.begin(), state.frequentlyUsedApps.end(), type) ==
                state.frequentlyUsedApps.end())
                state.frequentlyUsedApps.push_back(type);
        }
        if (const json* savings = optionalField(document, "potentialTimeSavings")) {
            if (!savings->is_object())
                return std::nullopt;
            state.potentialTimeSavings = State::TimeSavings{readInteger(required(*savings, "minutesPerDay")),
                                                            readInteger(required(*savings, "hoursPerMonth")),
                                                            readInteger(required(*savings, "daysPerYear"))};
        }
        if (const json* shortcut = optionalField(document, "firstChallengeShortcut")) {
            if (!shortcut->is_object())
                return std::nullopt;
            state.firstChallengeShortcut =
                State::Shortcut{readString(required(*shortcut, "name")), readString(required(*shortcut, "keys"))};
        }
        state.accessibilityPermissionGranted = readBool(required(document, "accessibilityPermissionGranted"));
        state.screenRecordingPermissionGranted = readBool(required(document, "screenRecordingPermissionGranted"));
        if (const json* error = optionalField(document, "screenRecordingPermissionError"))
            state.screenRecordingPermissionError = readString(*error);
        state.ftueCompleted = readBool(required(document, "ftueCompleted"));
        state.hasStartedFirstChallenge = readBool(required(document, "hasStartedFirstChallenge"));
        state.dataShareAgreement = readBool(required(document, "dataShareAgreement"));
        return state;
    } catch (const DecodeError&) {
        return std::nullopt;
    }
}

std::string_view caseName(const Action& action) {
    static constexpr std::string_view names[] = {
        "setUserRole",
        "toggleFrequentApp",
        "screenRecordingPermissionDenied",
        "trackEvent",
        "nextStep",
        "previousStep",
        "calculateTimeSavings",
        "grantPermissions",
        "startFirstChallenge",
        "finishFTUE",
        "requestAccessibilityPermission",
        "accessibilityPermissionGranted",
        "requestScreenRecordingPermission",
        "screenRecordingPermissionGranted",
        "completeFTUE",
        "loadState",
        "incrementCommandRCounter",
        "toggleDataShareAgreement",
    };
    static_assert(std::size(names) == std::variant_size_v<Action>);
    return names[action.index()];
}

} // namespace tavrin::FTUEDomain
