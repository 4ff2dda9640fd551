#pragma once

#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "app/CommandLine.h"

namespace tavrin::testing {

// `tavrin ARGS...` run in-process: its exit status and both outputs.
struct CommandRun {
    int status;
    std::string out, err;
};
inline CommandRun run(const std::vector<std::string>& args) {
    std::ostringstream out, err;
    const int status = runCommandLine(args, out, err);
    return {status, out.str(), err.str()};
}

// The keys of a JSON object in their printed order.
inline std::vector<std::string> keys(const nlohmann::ordered_json& object) {
    std::vector<std::string> out;
    for (const auto& [key, value] : object.items())
        out.push_back(key);
    return out;
}

// A recorded session for `tavrin replay`, one event a line, built in the order of its times.
struct Session {
    std::string text;

    Session& at(double time, nlohmann::json event) {
        event["at"] = time;
        text += event.dump() + "\n";
        return *this;
    }
    // Past the first-run flow, with the accessibility permission.
    Session& onboarded() { return at(0, {{"onboarded", true}}).at(0, {{"trusted", true}}); }
    // `app` comes to the front with one window; `pid` is its process.
    Session& front(double time, const std::string& app, const std::string& title, std::optional<int> pid = {}) {
        nlohmann::json place = {{"app", app}, {"windows", {{{"owner", app}, {"title", title}}}}};
        if (pid)
            place["pid"] = *pid;
        return at(time, {{"front", place}});
    }
    // A left click on an element of process `pid` with these attributes, under a parent with these.
    Session& click(double time, nlohmann::json attributes, nlohmann::json parent = {{"AXRole", "AXToolBar"}},
                   int pid = 42) {
        return at(time, {{"click",
                          {{"button", "left"},
                           {"x", 100},
                           {"y", 100},
                           {"target",
                            {{"hit", "b"},
                             {"nodes",
                              {{"b", {{"pid", pid}, {"attrs", attributes}, {"parent", "p"}}},
                               {"p", {{"pid", pid}, {"attrs", parent}}}}}}}}}});
    }
    // A click on a toolbar button with this title; with `foundBy`, its element found without a
    // point, as a Wayland session finds it ("toggle", "selection", ...).
    Session& button(double time, const std::string& title, const std::string& foundBy = {}) {
        click(time, {{"AXTitle", title}, {"AXRole", "AXButton"}, {"AXValue", 3}});
        if (!foundBy.empty()) {
            text.pop_back();
            const auto start = text.rfind('\n') + 1;
            auto event = nlohmann::json::parse(text.substr(start));
            event["click"].erase("x");
            event["click"].erase("y");
            event["click"]["foundBy"] = foundBy;
            text = text.substr(0, start) + event.dump() + "\n";
        }
        return *this;
    }
    // Command held, then a key pressed with it.
    Session& commandKey(double time, const std::string& key) {
        return at(time, {{"key", {{"type", "flags"}, {"flags", {"command"}}}}})
            .at(time + 0.1, {{"key", {{"type", "down"}, {"chars", key}, {"flags", {"command"}}}}});
    }
    // An action sent to the store as the views send it: {"name": {fields}}.
    Session& action(double time, const std::string& name, nlohmann::json fields = nlohmann::json::object()) {
        return at(time, {{"action", {{name, fields}}}});
    }
};

} // namespace tavrin::testing
