#include "State/AppDomain.h"

#include <algorithm>

#include "State/Dependencies.h"
#include "State/Scope.h"
#include "foundation/KeyText.h"
#include "foundation/Text.h"

#ifndef TAVRIN_VERSION
#define TAVRIN_VERSION ""
#endif

namespace tavrin::AppDomain {

std::string bundleShortVersion() {
    const std::string version = TAVRIN_VERSION;
    return version.empty() ? "Unknown" : version;
}

namespace {

constexpr double kDecisionThreshold = 0.5;

} // namespace

std::string normalizeName(std::string_view name) {
    static constexpr std::u32string_view kept = U"abcdefghijklmnopqrstuvwxyz_-";
    // Blanks and underscores both become one "_", never at either end.
    std::string result;
    bool gap = false;
    for (const char32_t c : codePoints(lowercased(name))) {
        if (c == U'_' || isWhitespace(c)) {
            gap = true;
        } else if (kept.find(c) != std::u32string_view::npos) {
            if (gap && !result.empty())
                result.push_back('_');
            gap = false;
            result.push_back(static_cast<char>(c));
        }
    }
    return result;
}

std::string normalizeKeySet(const std::set<std::string>& keys) {
    // Modifiers as spelled in the set (exactly); every other member lower-cased, a modifier's name
    // in other case left out.
    KeyText::Modifiers modifiers{};
    for (std::size_t i = 0; i < KeyText::kModifierOrder.size(); ++i)
        modifiers[i] = keys.count(std::string(KeyText::kModifierOrder[i])) > 0;
    std::vector<std::string> others;
    for (const auto& key : keys) {
        std::string lower = lowercased(key);
        if (!KeyText::modifierSlot(lower))
            others.push_back(std::move(lower));
    }
    const std::string joined = KeyText::join(modifiers, others);
    const auto first = joined.find_first_not_of("+ ");
    if (first == std::string::npos)
        return {};
    return joined.substr(first, joined.find_last_not_of("+ ") - first + 1);
}

ClickAnalysis::FinalResult decide(const ClickAnalysis::AccessibilityResult& result) {
    if (result.confidence > kDecisionThreshold)
        return {result.elementInfo, result.confidence, ClickAnalysis::ResultSource::accessibility};
    return {"unknown", 0.0, ClickAnalysis::ResultSource::fallback};
}

std::string cancelKey(CancelID id) {
    switch (id) {
    case CancelID::accessibilityMonitoring:
        return "AppDomain.accessibilityMonitoring";
    case CancelID::pauseExpiry:
        return "AppDomain.pauseExpiry";
    case CancelID::nudgeSettling:
        return "AppDomain.nudgeSettling";
    }
    return "AppDomain";
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
