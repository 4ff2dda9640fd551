#include <mutex>

#include "analytics/NoOpAnalyticsManager.h"

namespace tavrin {

namespace {
std::mutex mutex;
std::shared_ptr<AnalyticsManaging> current;
} // namespace

std::shared_ptr<AnalyticsManaging> defaultAnalyticsManager() {
    std::lock_guard lock(mutex);
    if (!current)
        current = std::make_shared<NoOpAnalyticsManager>();
    return current;
}

void setDefaultAnalyticsManager(std::shared_ptr<AnalyticsManaging> manager) {
    std::lock_guard lock(mutex);
    current = std::move(manager);
}

} // namespace tavrin
