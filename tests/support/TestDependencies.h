#pragma once

#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "State/Dependencies.h"
#include "platform/MainQueue.h"
#include "support/Fakes.h"

namespace tavrin::testing {

template <class Function> struct Unimplemented;

// A function that fails the test, naming the dependency, and returns an empty value.
template <class R, class... Args> struct Unimplemented<std::function<R(Args...)>> {
    static std::function<R(Args...)> make(std::string name) {
        return [name](Args...) -> R {
            ADD_FAILURE() << "Unimplemented dependency called: " << name;
            if constexpr (std::is_reference_v<R>) {
                // An inert stand-in, so that the test goes on to report what else went wrong.
                using Service = std::remove_reference_t<R>;
                if constexpr (std::is_base_of_v<Service, FakeAccessibility>) {
                    static FakeAccessibility inert;
                    return inert;
                } else {
                    static FakeScreenshots inert;
                    return inert;
                }
            } else if constexpr (!std::is_void_v<R>) {
                return R{};
            }
        };
    }
};

// A main queue that fails the test on anything posted to it.
class UnimplementedMainQueue final : public MainQueue {
public:
    void post(Task) override { ADD_FAILURE() << "Unimplemented dependency called: mainQueue"; }
    TimerId postAfter(Duration, Task) override {
        ADD_FAILURE() << "Unimplemented dependency called: mainQueue (timer)";
        return 0;
    }
    void cancelTimer(TimerId) override {}
    Duration monotonicNow() const override { return {}; }
};

// Dependencies whose every member fails the test when it is called: a scenario sets the ones it
// means to use, so that any other reach outside the state shows.
inline Dependencies unimplementedDependencies() {
    static UnimplementedMainQueue mainQueue;
    Dependencies deps;
#define TAVRIN_UNIMPLEMENTED(member) deps.member = Unimplemented<decltype(deps.member)>::make(#member)
    TAVRIN_UNIMPLEMENTED(now);
    TAVRIN_UNIMPLEMENTED(uuid);
    TAVRIN_UNIMPLEMENTED(userDefaults.setBool);
    TAVRIN_UNIMPLEMENTED(userDefaults.boolForKey);
    TAVRIN_UNIMPLEMENTED(userDefaults.setObject);
    TAVRIN_UNIMPLEMENTED(userDefaults.object);
    TAVRIN_UNIMPLEMENTED(database.getNamespace);
    TAVRIN_UNIMPLEMENTED(database.getOrCreateNamespace);
    TAVRIN_UNIMPLEMENTED(database.getAccessibilityMapping);
    TAVRIN_UNIMPLEMENTED(database.insertClickEvents);
    TAVRIN_UNIMPLEMENTED(database.getShortcut);
    TAVRIN_UNIMPLEMENTED(database.insertShortcutUsage);
    TAVRIN_UNIMPLEMENTED(database.countElementClicks);
    TAVRIN_UNIMPLEMENTED(database.getRecommendations);
    TAVRIN_UNIMPLEMENTED(database.toggleShortcutBookmark);
    TAVRIN_UNIMPLEMENTED(database.toggleShortcutLearned);
    TAVRIN_UNIMPLEMENTED(database.flagShortcut);
    TAVRIN_UNIMPLEMENTED(database.getBookmarkedShortcuts);
    TAVRIN_UNIMPLEMENTED(database.getLearnedShortcuts);
    TAVRIN_UNIMPLEMENTED(database.learnShortcuts);
    TAVRIN_UNIMPLEMENTED(database.coachedShortcut);
    TAVRIN_UNIMPLEMENTED(database.coachedShortcutById);
    TAVRIN_UNIMPLEMENTED(database.practiceBalance);
    TAVRIN_UNIMPLEMENTED(database.setCoachingMark);
    TAVRIN_UNIMPLEMENTED(database.returnForPractice);
    TAVRIN_UNIMPLEMENTED(database.shortcutForApplicationKeys);
    TAVRIN_UNIMPLEMENTED(database.rememberApplicationKeys);
    TAVRIN_UNIMPLEMENTED(accessibility);
    TAVRIN_UNIMPLEMENTED(screenshots);
    TAVRIN_UNIMPLEMENTED(applicationOfProcess);
#undef TAVRIN_UNIMPLEMENTED
    deps.mainQueue = &mainQueue;
    return deps;
}

} // namespace tavrin::testing
