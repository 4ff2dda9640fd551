#include "sensing/AccessibilityManager.h"
#include "foundation/Text.h"

#include <algorithm>

#include "platform/Log.h"

namespace tavrin {

struct AccessibilityManager::Wait {
    std::function<void(bool)> completion;
    Duration started{};
    std::optional<MainQueue::TimerId> timer;
    bool done = false;
};

AccessibilityManager::AccessibilityManager(FrontApplication& front, AccessibilityTrust& trust, MainQueue& mainQueue,
                                           const PlatformProfile& profile)
    : front_(front), trust_(trust), mainQueue_(mainQueue), profile_(profile) {}

AccessibilityManager::~AccessibilityManager() {
    *alive_ = false;
    if (monitorTimer_)
        mainQueue_.cancelTimer(*monitorTimer_);
    if (debounceTimer_)
        mainQueue_.cancelTimer(*debounceTimer_);
    if (waiting_ && waiting_->timer)
        mainQueue_.cancelTimer(*waiting_->timer);
}

void AccessibilityManager::setOnStateChange(std::function<void(const PlaceReport&)> handler) {
    onStateChange_ = std::move(handler);
}

void AccessibilityManager::startMonitoring() {
    std::weak_ptr<bool> alive = alive_;
    // Every call adds an observer, as repeated subscriptions do on the desktop.
    front_.observeActivation([this, alive] {
        if (alive.lock())
            checkActiveApplication();
    });
    if (monitorTimer_) {
        mainQueue_.cancelTimer(*monitorTimer_);
        monitorTimer_.reset();
    }
    mainQueue_.post([this, alive] {
        if (alive.lock())
            schedulePoll();
    });
}

void AccessibilityManager::schedulePoll() {
    std::weak_ptr<bool> alive = alive_;
    monitorTimer_ = mainQueue_.postAfter(Duration{pollInterval}, [this, alive] {
        if (!alive.lock())
            return;
        schedulePoll(); // repeating
        checkActiveApplication();
    });
}

bool AccessibilityManager::isBrowser(const std::string& name) const {
    const auto lower = lowercased(name);
    return std::any_of(profile_.browserNameFragments.begin(), profile_.browserNameFragments.end(),
                       [&](const std::string& fragment) { return lower.find(fragment) != std::string::npos; });
}

void AccessibilityManager::checkActiveApplication() {
    const auto name = front_.frontApplicationName();
    if (!name)
        return;
    if (isBrowser(*name)) {
        extractSiteName();
        return;
    }
    updateState(*name, std::nullopt);
}

void AccessibilityManager::extractSiteName() {
    const auto name = front_.frontApplicationName();
    if (!name)
        return;
    const auto windows = front_.onScreenWindows();
    if (!windows)
        return;
    const auto app = lowercased(*name);
    for (const auto& window : *windows) {
        if (!window.owner || lowercased(*window.owner) != app)
            continue;
        if (!window.name || window.name->empty())
            continue;
        // The site is the last " - " piece of the title: "Inbox (3) - user@example.com - Gmail".
        // The pieces are cut from the left, so "x - - y" ends in "- y".
        std::string_view piece = *window.name;
        for (auto at = piece.find(" - "); at != std::string_view::npos; at = piece.find(" - "))
            piece.remove_prefix(at + 3);
        updateState(*name, trimmed(piece));
        return;
    }
    // No titled window of the browser: the earlier report stands.
}

void AccessibilityManager::updateState(const std::string& app, const std::optional<std::string>& site) {
    if (currentState_ && currentState_->app == app && currentState_->domain == site)
        return;
    currentState_ = PlaceReport{app, site};
    if (debounceTimer_)
        mainQueue_.cancelTimer(*debounceTimer_);
    std::weak_ptr<bool> alive = alive_;
    debounceTimer_ = mainQueue_.postAfter(Duration{debounceInterval}, [this, alive] {
        if (!alive.lock())
            return;
        debounceTimer_.reset();
        if (currentState_ && onStateChange_)
            onStateChange_(*currentState_);
    });
}

void AccessibilityManager::requestPermission(std::function<void(bool)> completion) {
    if (trust_.isTrusted()) {
        printLine("Accessibility permissions already granted");
        startMonitoring();
        completion(true);
        return;
    }
    trust_.promptForTrust();
    waitForPermission(std::move(completion));
}

void AccessibilityManager::waitForPermission(std::function<void(bool)> completion) {
    if (waiting_) {
        printLine("Already waiting for permissions, returning false");
        completion(false);
        return;
    }
    waiting_ = std::make_shared<Wait>();
    waiting_->completion = std::move(completion);
    waiting_->started = mainQueue_.monotonicNow();
    pollPermission(waiting_);
}

void AccessibilityManager::pollPermission(std::shared_ptr<Wait> wait) {
    if (wait->done)
        return;
    auto finish = [this, wait](bool result) {
        wait->done = true;
        if (waiting_ == wait)
            waiting_.reset();
        wait->completion(result);
    };
    if (trust_.isTrusted()) {
        printLine("Accessibility permissions granted after waiting");
        startMonitoring();
        finish(true);
        return;
    }
    // Measured on the clock: a busy main thread that runs the polls late does not stretch the wait.
    if (mainQueue_.monotonicNow() - wait->started > Duration{permissionTimeout}) {
        printLine("Timed out waiting for accessibility permissions");
        finish(false);
        return;
    }
    std::weak_ptr<bool> alive = alive_;
    wait->timer = mainQueue_.postAfter(Duration{permissionPollInterval}, [this, alive, wait] {
        if (!alive.lock())
            return;
        pollPermission(wait);
    });
}

void AccessibilityManager::cancelWait() {
    if (!waiting_)
        return;
    auto wait = waiting_;
    if (wait->timer)
        mainQueue_.cancelTimer(*wait->timer);
    printLine("Waiting for accessibility permissions was cancelled");
    wait->done = true;
    waiting_.reset();
    wait->completion(false);
}

} // namespace tavrin
