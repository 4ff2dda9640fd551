#pragma once

#include <algorithm>
#include <deque>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "State/Store.h"
#include "platform/fake/VirtualScheduler.h"

namespace tavrin::testing {

// One line per leaf where two JSON trees differ, named by its path ("ftue.commandRCounter",
// "recommendations[0].shortcutId").
inline void jsonDifferences(const nlohmann::ordered_json& expected, const nlohmann::ordered_json& actual,
                            const std::string& path, std::vector<std::string>& lines) {
    const auto absent = [](const nlohmann::ordered_json* value) { return value ? value->dump() : "(absent)"; };
    if (expected.is_object() && actual.is_object()) {
        for (const auto& [key, value] : expected.items()) {
            const auto at = path.empty() ? key : path + '.' + key;
            if (actual.contains(key))
                jsonDifferences(value, actual.at(key), at, lines);
            else
                lines.push_back(at + ": expected " + value.dump() + ", actual (absent)");
        }
        for (const auto& [key, value] : actual.items())
            if (!expected.contains(key))
                lines.push_back((path.empty() ? key : path + '.' + key) + ": expected (absent), actual " +
                                value.dump());
    } else if (expected.is_array() && actual.is_array()) {
        for (std::size_t i = 0; i < std::max(expected.size(), actual.size()); ++i) {
            const auto at = path + '[' + std::to_string(i) + ']';
            if (i < expected.size() && i < actual.size())
                jsonDifferences(expected[i], actual[i], at, lines);
            else
                lines.push_back(at + ": expected " + absent(i < expected.size() ? &expected[i] : nullptr) +
                                ", actual " + absent(i < actual.size() ? &actual[i] : nullptr));
        }
    } else if (expected != actual) {
        lines.push_back((path.empty() ? "(the state)" : path) + ": expected " + expected.dump() + ", actual " +
                        actual.dump());
    }
}

// Exhaustive reducer tests that read like stories:
//
//   store.send(Action{...}, [](State& s) { s.field = 1; });   // the change you expect
//   store.receive(Action{...}, [](State& s) { ... });          // each action effects deliver
//
// Each expectation is applied to the state before the action and compared with the real state
// after it. The test fails on an unexpected change, on an action that effects delivered but the
// test did not receive, and on effects still in flight when the store goes away.
template <class State, class Action> class TestStore {
public:
    using Reducer = std::function<Effect<Action>(State&, const Action&)>;
    using Mutation = std::function<void(State&)>;
    // The state as JSON, every field of it: a failing comparison prints the fields that differ.
    using Serialize = std::function<nlohmann::ordered_json(const State&)>;
    using Name = std::function<std::string(const Action&)>;

    TestStore(State initial, Reducer reducer, VirtualScheduler& scheduler, Serialize serialize = {}, Name name = {})
        : scheduler_(scheduler), serialize_(std::move(serialize)), name_(std::move(name)),
          store_(
              std::move(initial),
              [this, reducer = std::move(reducer)](State& state, const Action& action) {
                  Record record{action, state, {}};
                  auto effect = reducer(state, action);
                  record.after = state;
                  log_.push_back(std::move(record));
                  return effect;
              },
              scheduler, scheduler) {}

    ~TestStore() { finish(); }

    // Off: state changes and received actions need not be asserted (for scenarios that only check
    // outcomes, such as rows in the database). Effects still in flight at the end still fail.
    bool exhaustive = true;

    void send(const Action& action, const Mutation& expected = {}) {
        if (!exhaustive) {
            scheduler_.runUntilIdle();
            log_.clear();
            store_.send(action);
            log_.clear();
            return;
        }
        if (!log_.empty()) {
            ADD_FAILURE() << "Must handle " << log_.size() << " received action(s) before sending " << name(action)
                          << "; next: " << name(log_.front().action);
            log_.clear();
        }
        store_.send(action);
        if (log_.empty()) {
            ADD_FAILURE() << "The store did not process " << name(action);
            return;
        }
        check(action, std::move(log_.front()), expected, "sent");
        log_.pop_front();
    }

    void receive(const Action& action, const Mutation& expected = {}) {
        if (log_.empty())
            scheduler_.runUntilIdle();
        if (log_.empty()) {
            ADD_FAILURE() << "Expected to receive " << name(action) << ", but no action arrived";
            return;
        }
        Record record = std::move(log_.front());
        log_.pop_front();
        if (!(record.action == action)) {
            ADD_FAILURE() << "Received " << name(record.action) << ", expected " << name(action);
            return;
        }
        check(action, std::move(record), expected, "received");
    }

    // Lets time pass on the scheduler; actions that effects deliver meanwhile must be received.
    void advance(Duration by) { scheduler_.advance(by); }
    void runUntilIdle() { scheduler_.runUntilIdle(); }

    void skipReceivedActions() {
        scheduler_.runUntilIdle();
        log_.clear();
    }
    void skipInFlightEffects() {
        store_.cancelAll();
        scheduler_.runUntilIdle();
    }

    const State& state() const { return store_.state(); }

    void finish() {
        if (finished_)
            return;
        finished_ = true;
        scheduler_.runUntilIdle();
        if (!log_.empty() && exhaustive) {
            std::ostringstream names;
            for (const auto& record : log_)
                names << ' ' << name(record.action);
            ADD_FAILURE() << "Received but not asserted:" << names.str();
        }
        if (store_.tasksInFlight() > 0) {
            ADD_FAILURE() << store_.tasksInFlight() << " effect(s) still in flight at the end of the test";
            store_.cancelAll();
            scheduler_.runUntilIdle();
        }
    }

private:
    struct Record {
        Action action;
        State before;
        State after;
    };

    std::string name(const Action& action) const {
        if (name_)
            return name_(action);
        if constexpr (std::is_convertible_v<Action, std::string>)
            return '"' + std::string(action) + '"';
        else
            return "an action";
    }

    void check(const Action& action, Record record, const Mutation& expected, const char* how) {
        State expectedState = record.before;
        if (expected)
            expected(expectedState);
        if (expectedState == record.after)
            return;
        std::ostringstream message;
        message << "State after " << how << ' ' << name(action) << " differs from the expectation";
        if (serialize_) {
            std::vector<std::string> lines;
            jsonDifferences(serialize_(expectedState), serialize_(record.after), "", lines);
            if (lines.empty())
                lines.push_back("(no field differs in the JSON form)");
            for (const auto& line : lines)
                message << "\n  " << line;
        }
        ADD_FAILURE() << message.str();
    }

    VirtualScheduler& scheduler_;
    Serialize serialize_;
    Name name_;
    std::deque<Record> log_;
    bool finished_ = false;
    Store<State, Action> store_;
};

} // namespace tavrin::testing
