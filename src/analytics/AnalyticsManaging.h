#pragma once

#include <memory>
#include <optional>
#include <string>

#include "foundation/Properties.h"

namespace tavrin {

// A sink for product analytics events. Called on the main thread from reducers; implementations
// must return at once (any network work happens elsewhere).
class AnalyticsManaging {
public:
    virtual ~AnalyticsManaging() = default;
    virtual void trackEvent(const std::string& name, const std::optional<Properties>& properties) = 0;
    virtual void setUserId(const std::string& id) = 0;
    virtual bool equals(const AnalyticsManaging& other) const = 0;
};

// The state field: a shared reference that compares through the manager's own equality.
class AnalyticsManagerRef {
public:
    AnalyticsManagerRef() = default;
    template <class Manager> AnalyticsManagerRef(std::shared_ptr<Manager> manager) : manager_(std::move(manager)) {}
    AnalyticsManaging* operator->() const { return manager_.get(); }
    AnalyticsManaging& operator*() const { return *manager_; }
    explicit operator bool() const { return manager_ != nullptr; }
    const std::shared_ptr<AnalyticsManaging>& get() const { return manager_; }

    bool operator==(const AnalyticsManagerRef& other) const {
        if (!manager_ || !other.manager_)
            return manager_ == other.manager_;
        return manager_->equals(*other.manager_);
    }

private:
    std::shared_ptr<AnalyticsManaging> manager_;
};

// The manager a fresh state starts with. The composition root installs the real one; until it
// does (and in tests), it is a no-op manager.
std::shared_ptr<AnalyticsManaging> defaultAnalyticsManager();
void setDefaultAnalyticsManager(std::shared_ptr<AnalyticsManaging> manager);

} // namespace tavrin
