#pragma once

#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <vector>

#include <gtest/gtest.h>

#include "analytics/AnalyticsManaging.h"
#include "foundation/Uuid.h"
#include "platform/GlobalShortcut.h"
#include "platform/InputMonitor.h"
#include "platform/UserDefaults.h"
#include "sensing/AccessibilityManaging.h"
#include "vision/ScreenshotManaging.h"

namespace tavrin::testing {

// A UUID a test can name: its first byte is `n`, the rest zero.
inline Uuid uuid(std::uint8_t n) {
    Uuid id;
    id.bytes[0] = n;
    return id;
}

class InMemoryUserDefaults final : public UserDefaults {
public:
    std::map<std::string, nlohmann::json> values;
    int writes = 0;

    std::optional<nlohmann::json> object(const std::string& key) const override {
        auto it = values.find(key);
        return it == values.end() ? std::nullopt : std::optional(it->second);
    }
    void setObject(std::optional<nlohmann::json> value, const std::string& key) override {
        ++writes;
        if (value)
            values[key] = std::move(*value);
        else
            values.erase(key);
    }
};

// The desktop's global shortcut: binds what it is asked to unless told to refuse, and hands over the
// user's presses while bound.
class FakeGlobalShortcut final : public GlobalShortcut {
public:
    std::vector<KeyCombination> bound; // every combination asked for, in order
    std::string refusal;               // non-empty: bindings are refused with this problem
    bool otherKeysMayWork = true;      // with a refusal: whether other keys could be bound
    std::function<void(const Activation&)> activated;

    void bind(const KeyCombination& combination, std::function<void(const Binding&)> done,
              std::function<void(const Activation&)> onPress) override {
        bound.push_back(combination);
        activated = refusal.empty() ? std::move(onPress) : nullptr;
        done(refusal.empty() ? Binding{.bound = true, .trigger = keyCombinationText(combination)}
                             : Binding{.problem = refusal, .otherKeysMayWork = otherKeysMayWork});
    }
    void unbind() override { activated = nullptr; }
    // The user presses the bound combination at `timestamp`.
    void press(std::uint32_t timestamp) {
        if (activated)
            activated({.timestamp = timestamp});
    }
};

// Permission requests that wait until the test answers them.
struct PendingPermissions {
    std::vector<std::function<void(bool)>> pendingRequests;
    void answer(bool granted) {
        auto requests = std::move(pendingRequests);
        pendingRequests.clear();
        for (auto& request : requests)
            request(granted);
    }
};

// A tracker the test drives by hand: reports go to the installed handler.
class FakeAccessibility final : public AccessibilityManaging, public PendingPermissions {
public:
    std::function<void(const PlaceReport&)> handler;
    std::optional<PlaceReport> current;
    int starts = 0;

    void setOnStateChange(std::function<void(const PlaceReport&)> h) override { handler = std::move(h); }
    void startMonitoring() override { ++starts; }
    std::optional<PlaceReport> currentState() const override { return current; }
    void requestPermission(std::function<void(bool)> completion) override {
        pendingRequests.push_back(std::move(completion));
    }
    void report(PlaceReport place) {
        current = place;
        if (handler)
            handler(place);
    }
};

class FakeScreenshots final : public ScreenshotManaging, public PendingPermissions {
public:
    ScreenshotStore* store = nullptr; // where outcomes go
    std::vector<std::pair<BottomLeftPoint, Uuid>> captures;
    int cancels = 0;
    std::function<void()> onCancel;
    void captureAndClassify(BottomLeftPoint point, Uuid uuid) override { captures.emplace_back(point, uuid); }
    void setStore(ScreenshotStore* s) override { store = s; }
    void cancelCapture() override {
        ++cancels;
        if (onCancel)
            onCancel();
    }
    void requestPermission(std::function<void(bool)> completion) override {
        pendingRequests.push_back(std::move(completion));
    }
};

// The analytics manager of a test state: keeps every event it is given, and fails the test on an
// event the scenario did not declare with `expect`, in the order declared.
class RecordingAnalytics final : public AnalyticsManaging {
public:
    struct Event {
        std::string name;
        std::optional<Properties> properties;
    };
    std::vector<Event> events;
    std::vector<std::string> userIds;

    void expect(std::initializer_list<std::string> names, int times = 1) {
        for (int i = 0; i < times; ++i)
            expected_.insert(expected_.end(), names);
    }
    // Fails on declared events that have not come.
    void verify() {
        for (const auto& name : expected_)
            ADD_FAILURE() << "Expected the analytics event \"" << name << "\", which was not tracked";
        expected_.clear();
    }

    void trackEvent(const std::string& name, const std::optional<Properties>& properties) override {
        if (expected_.empty() || expected_.front() != name)
            ADD_FAILURE() << "Unexpected analytics event \"" << name << '"'
                          << (expected_.empty() ? std::string() : "; expected \"" + expected_.front() + '"');
        else
            expected_.pop_front();
        events.push_back({name, properties});
    }
    void setUserId(const std::string& id) override { userIds.push_back(id); }
    bool equals(const AnalyticsManaging& other) const override { return this == &other; }

private:
    std::deque<std::string> expected_;
};

// Mouse and key events the test plays by hand.
class FakeInput final : public InputMonitor {
public:
    std::map<Token, std::function<void(const MouseDown&)>> mouse;
    std::map<Token, std::function<void(const KeyEvent&)>> keys;
    bool refuse = false;

    std::optional<Token> addMouseDownMonitor(std::function<void(const MouseDown&)> handler) override {
        if (refuse)
            return std::nullopt;
        mouse[next_] = std::move(handler);
        return next_++;
    }
    std::optional<Token> addKeyMonitor(std::function<void(const KeyEvent&)> handler) override {
        if (refuse)
            return std::nullopt;
        keys[next_] = std::move(handler);
        return next_++;
    }
    void removeMonitor(Token token) override {
        mouse.erase(token);
        keys.erase(token);
    }

    void click(MouseButton button = MouseButton::left, BottomLeftPoint at = {}) {
        for (auto& [token, handler] : std::map(mouse))
            handler({button, at, false});
    }
    void key(const KeyEvent& event) {
        for (auto& [token, handler] : std::map(keys))
            handler(event);
    }

private:
    Token next_ = 1;
};

} // namespace tavrin::testing
