#pragma once

#include "analytics/AnalyticsManaging.h"

namespace tavrin {

// Drops every event: what runs when the user has not agreed to share usage data.
class NoOpAnalyticsManager final : public AnalyticsManaging {
public:
    void trackEvent(const std::string&, const std::optional<Properties>&) override {}
    void setUserId(const std::string&) override {}
    // All no-op managers are alike.
    bool equals(const AnalyticsManaging& other) const override {
        return dynamic_cast<const NoOpAnalyticsManager*>(&other) != nullptr;
    }
};

} // namespace tavrin
