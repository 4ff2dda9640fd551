#include "State/FTUEDomain.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "State/Dependencies.h"
#include "foundation/JsonFields.h"

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

json CodableState::stored() const {
    const auto text = encode();
    return json::binary(std::vector<std::uint8_t>(text.begin(), text.end()));
}

std::optional<CodableState> CodableState::fromStored(const std::optional<json>& value) {
    if (!value || !value->is_binary())
        return std::nullopt;
    const auto& bytes = value->get_binary();
    return decode(std::string(bytes.begin(), bytes.end()));
}

namespace {

// A raw value that names no case fails the decoding.
template <class T> T orFail(std::optional<T> value) {
    if (!value)
        throw JsonFieldError{"unknown value"};
    return *value;
}

} // namespace

std::optional<CodableState> CodableState::decode(std::string_view text) {
    const json document = json::parse(text, nullptr, false);
    if (document.is_discarded() || !document.is_object())
        return std::nullopt;
    try {
        CodableState state;
        state.currentStep = orFail(stepFromRaw(integerField(document, "currentStep")));
        state.userRole = orFail(userRoleFromRaw(stringField(document, "userRole")));
        const json& apps = field(document, "frequentlyUsedApps");
        if (!apps.is_array())
            return std::nullopt;
        for (const auto& app : apps) {
            const auto type = orFail(appTypeFromRaw(asString(app, "frequentlyUsedApps")));
            // A set was encoded: a repeated entry would not survive the round trip either.
            if (std::find(state.frequentlyUsedApps.begin(), state.frequentlyUsedApps.end(), type) ==
                state.frequentlyUsedApps.end())
                state.frequentlyUsedApps.push_back(type);
        }
        if (const json* savings = optionalField(document, "potentialTimeSavings")) {
            if (!savings->is_object())
                return std::nullopt;
            state.potentialTimeSavings =
                State::TimeSavings{integerField(*savings, "minutesPerDay"), integerField(*savings, "hoursPerMonth"),
                                   integerField(*savings, "daysPerYear")};
        }
        if (const json* shortcut = optionalField(document, "firstChallengeShortcut")) {
            if (!shortcut->is_object())
                return std::nullopt;
            state.firstChallengeShortcut =
                State::Shortcut{stringField(*shortcut, "name"), stringField(*shortcut, "keys")};
        }
        state.accessibilityPermissionGranted = boolField(document, "accessibilityPermissionGranted");
        state.screenRecordingPermissionGranted = boolField(document, "screenRecordingPermissionGranted");
        if (const json* error = optionalField(document, "screenRecordingPermissionError"))
            state.screenRecordingPermissionError = asString(*error, "screenRecordingPermissionError");
        state.ftueCompleted = boolField(document, "ftueCompleted");
        state.hasStartedFirstChallenge = boolField(document, "hasStartedFirstChallenge");
        state.dataShareAgreement = boolField(document, "dataShareAgreement");
        return state;
    } catch (const JsonFieldError&) {
        return std::nullopt;
    }
}

} // namespace tavrin::FTUEDomain
