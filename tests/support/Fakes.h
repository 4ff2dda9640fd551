#pragma once

#include <functional>
#include <map>
#include <vector>

#include "platform/UserDefaults.h"
#include "sensing/AccessibilityManaging.h"
#include "vision/ScreenshotManaging.h"

namespace tavrin::testing {

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

// A tracker the test drives by hand: reports go to the installed handler; permission requests
// wait until the test answers them.
class FakeAccessibility final : public AccessibilityManaging {
public:
    std::function<void(const PlaceReport&)> handler;
    std::optional<PlaceReport> current;
    int starts = 0;
    std::vector<std::function<void(bool)>> pendingRequests;

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
    void answer(bool granted) {
        auto requests = std::move(pendingRequests);
        pendingRequests.clear();
        for (auto& request : requests)
            request(granted);
    }
};

class FakeScreenshots final : public ScreenshotManaging {
public:
    std::vector<std::pair<Point, Uuid>> captures;
    std::vector<std::function<void(bool)>> pendingRequests;
    void captureAndClassify(Point point, Uuid uuid) override { captures.emplace_back(point, uuid); }
    void requestPermission(std::function<void(bool)> completion) override {
        pendingRequests.push_back(std::move(completion));
    }
    void answer(bool granted) {
        auto requests = std::move(pendingRequests);
        pendingRequests.clear();
        for (auto& request : requests)
            request(granted);
    }
};

} // namespace tavrin::testing
