#pragma once

#include <deque>
#include <functional>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "State/Store.h"
#include "platform/fake/VirtualScheduler.h"

namespace tavrin::testing {

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
            // One line per field that differs, by its path ("/ftue/commandRCounter").
            const auto want = serialize_(expectedState), got = serialize_(record.after);
            const auto at = [](const nlohmann::ordered_json& tree, const nlohmann::ordered_json::json_pointer& path) {
                return tree.contains(path) ? tree.at(path).dump() : "(absent)";
            };
            for (const auto& change : nlohmann::ordered_json::diff(want, got)) {
                const nlohmann::ordered_json::json_pointer path(change["path"].template get<std::string>());
                message << "\n  " << path.to_string() << ": expected " << at(want, path) << ", actual "
                        << at(got, path);
            }
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
