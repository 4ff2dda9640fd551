#pragma once

// The format of recorded sessions: JSON Lines, one event per line with the virtual time "at" in
// seconds. What the events mean is played by runReplay (Replay.cpp).

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "State/AppDomain.h"
#include "foundation/JsonFields.h"
#include "platform/AccessibleElement.h"
#include "platform/FrontApplication.h"
#include "platform/InputMonitor.h"
#include "platform/MainQueue.h"

namespace tavrin::replay {

// What is wrong with a line: the message of a strict JSON reading, or of a check of the format.
using ReplayError = JsonFieldError;

// An element of a recorded accessibility tree.
class RecordedElement final : public AccessibleElement {
public:
    std::map<std::string, std::optional<std::string>> attributes;
    std::vector<std::string> children;
    std::optional<std::string> parentId;
    std::optional<int> pid;
    const std::map<std::string, std::shared_ptr<RecordedElement>>* tree = nullptr;

    std::optional<AttributeValue> attribute(std::string_view name) const override {
        const auto it = attributes.find(std::string(name));
        if (it == attributes.end())
            return std::nullopt;
        return it->second ? AttributeValue::string(*it->second) : AttributeValue::nonString();
    }
    std::optional<AccessibleElementRef> firstChild() const override {
        return children.empty() ? std::nullopt : lookup(children.front());
    }
    std::optional<AccessibleElementRef> parent() const override { return parentId ? lookup(*parentId) : std::nullopt; }
    std::optional<int> processId() const override { return pid; }
    bool equals(const AccessibleElement& other) const override { return this == &other; }

private:
    std::optional<AccessibleElementRef> lookup(const std::string& id) const {
        const auto it = tree->find(id);
        if (it == tree->end())
            return std::nullopt;
        return AccessibleElementRef(it->second);
    }
};

// A recorded tree owns its nodes; the handle on the hit node keeps the whole tree alive.
struct RecordedTree {
    std::map<std::string, std::shared_ptr<RecordedElement>> nodes;
};

struct Onboarded {};
struct Trusted {
    bool value;
};
struct Front {
    std::string app;
    std::vector<WindowInfo> windows;
    std::optional<int> pid; // the application's process, for elements that name it
};
struct Click {
    MouseButton button;
    bool synthetic = false;
    TopLeftPoint point;
    std::shared_ptr<RecordedTree> tree; // null: nothing at that point
    std::string hit;
    // Other than the hit test: the platform found the element without a point (a Wayland session).
    ElementFinding foundBy = ElementFinding::hitTest;
};
struct Key {
    KeyEvent event;
};
struct SendAction {
    AppDomain::Action action;
};
// The machine sleeps: the wall clock moves on, the session's clock and its timers do not.
struct Suspend {
    Duration length;
};
struct Tick {};
using Payload = std::variant<Onboarded, Trusted, Front, Click, Key, SendAction, Suspend, Tick>;

struct Event {
    double at;
    Payload payload;
};

// One line of a session; `previousAt` is the time of the line before. Throws ReplayError with what
// is wrong with the line.
Event parseLine(const std::string& line, double previousAt);

} // namespace tavrin::replay
