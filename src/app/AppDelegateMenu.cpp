#include "app/AppDelegate.h"

#include "app/CheatsheetShortcut.h"
#include "app/ShellTexts.h"
#include "platform/Log.h"

// The tray menu and what its entries do.

namespace tavrin {

void AppDelegate::setUpStatusItem() {
    statusItem_ = env_.statusBar->statusItem();
    if (statusItem_ && statusItem_->hasButton()) {
        if (!statusItem_->setImage("IconBw", 18, 18))
            printLine("Failed to load AppIcon");
    } else {
        printLine("Failed to create status bar button");
    }
    auto menu = buildMenu();
    if (statusItem_)
        statusItem_->setMenu(std::move(menu));
    // "Pause Tavrin" turns into "Resume Tavrin" and back, however the pause changed (the menu, the
    // command line, its end).
    menuShowsPause_ = store_->state().pause.has_value();
    menuShowsNotifications_ = store_->state().coaching.preferences.notifications;
    // Replaced on a later turn of the main queue: the entry that was chosen may still be running.
    std::weak_ptr<bool> alive = alive_;
    pauseMenu_ = store_->observe([this, alive](const AppDomain::State& state) {
        const bool notifications = state.coaching.preferences.notifications;
        if ((state.pause.has_value() == menuShowsPause_ && notifications == menuShowsNotifications_) || !statusItem_)
            return;
        menuShowsPause_ = state.pause.has_value();
        menuShowsNotifications_ = notifications;
        env_.mainQueue->post([this, alive] {
            if (alive.lock() && statusItem_)
                statusItem_->setMenu(buildMenu());
        });
    });
}

std::vector<MenuItem> AppDelegate::buildMenu() {
    std::weak_ptr<bool> alive = alive_;
    auto command = [this, alive](void (AppDelegate::*method)()) {
        return [this, alive, method] {
            if (alive.lock())
                (this->*method)();
        };
    };
    const std::size_t launchAtLoginEntry = 1;
    std::vector<MenuItem> menu{
        {"Check for Updates...", command(&AppDelegate::checkForUpdates), std::nullopt},
        {"Launch at Startup",
         [this, alive] {
             if (alive.lock())
                 toggleLaunchAtLogin(launchAtLoginEntry);
         },
         store_->state().launchAtLogin},
        {"Join our Discord", command(&AppDelegate::joinDiscord), std::nullopt},
        {"Send us your feedback", command(&AppDelegate::sendFeedback), std::nullopt},
        {isPaused(store_->state().pause, env_.clock->now()) ? "Resume Tavrin" : "Pause Tavrin",
         command(&AppDelegate::togglePause), std::nullopt},
    };
    if (env_.focusCheatsheet)
        menu.push_back({focusCheatsheetEntry(cheatsheetBinding_), command(&AppDelegate::focusCheatsheet), {}});
    if (env_.showProgress)
        menu.push_back({"Your Progress", command(&AppDelegate::showProgress), {}});
    if (env_.nudgeNotifications)
        menu.push_back({"Nudges as Notifications", command(&AppDelegate::toggleNudgeNotifications),
                        store_->state().coaching.preferences.notifications});
    if (env_.removeDesktopHelper && !desktopHelperRemoved_)
        menu.push_back({"Remove Desktop Helper", command(&AppDelegate::removeDesktopHelper), {}});
    menu.insert(menu.end(), {{}, {"Quit", command(&AppDelegate::quit), std::nullopt}});
    return menu;
}

void AppDelegate::removeDesktopHelper() {
    printLine(env_.removeDesktopHelper());
    desktopHelperRemoved_ = true;
    // On a later turn: the entry that was chosen is still running.
    std::weak_ptr<bool> alive = alive_;
    env_.mainQueue->post([this, alive] {
        if (alive.lock() && statusItem_)
            statusItem_->setMenu(buildMenu());
    });
}

void AppDelegate::bindCheatsheetShortcut() {
    if (!env_.globalShortcut)
        return;
    std::string problem;
    const KeyCombination combination = cheatsheetShortcut(*env_.defaults, &problem);
    if (!problem.empty())
        printLine(problem);
    std::weak_ptr<bool> alive = alive_;
    env_.globalShortcut->bind(
        combination,
        [this, alive](const GlobalShortcut::Binding& binding) {
            if (!alive.lock())
                return;
            if (!binding.bound)
                printLine(unboundShortcutLine(binding));
            cheatsheetBinding_ = binding;
            if (statusItem_)
                statusItem_->setMenu(buildMenu());
        },
        [this, alive](const GlobalShortcut::Activation& activation) {
            if (alive.lock() && env_.focusCheatsheet)
                env_.focusCheatsheet(activation);
        });
}

void AppDelegate::togglePause() {
    if (isPaused(store_->state().pause, env_.clock->now()))
        store_->send(AppDomain::resumeCounting{});
    else
        store_->send(AppDomain::pauseCounting{});
}

void AppDelegate::toggleNudgeNotifications() {
    store_->send(AppDomain::toggleNudgeNotifications{!store_->state().coaching.preferences.notifications});
}

void AppDelegate::checkForUpdates() {
    if (updater_)
        updater_->checkForUpdates();
}

void AppDelegate::toggleLaunchAtLogin(std::size_t sender) {
    const bool enabled = !store_->state().launchAtLogin;
    store_->send(AppDomain::toggleLaunchAtLogin{enabled});
    if (statusItem_)
        statusItem_->setItemState(sender, enabled);
    applyLaunchAtLogin(enabled);
}

void AppDelegate::joinDiscord() {
    const std::string& url = env_.deployment.communityUrl;
    if (!url.empty() && parsesAsUrl(url))
        env_.urls->openUrl(url);
}

std::optional<std::string> AppDelegate::feedbackUrl() const {
    const std::string os = env_.system ? env_.system->operatingSystemVersion() : std::string("Unknown");
    const std::string model = env_.system ? env_.system->hardwareModel().value_or("Unknown") : std::string("Unknown");
    return feedbackMailUrl(env_.deployment.feedbackAddress,
                           systemInformationText(*env_.profile, os, model, env_.bundle));
}

void AppDelegate::sendFeedback() {
    if (const auto url = feedbackUrl())
        env_.urls->openUrl(*url);
}

void AppDelegate::openSettings() {
    printLine("Settings clicked");
}

void AppDelegate::quit() {
    if (env_.terminate)
        env_.terminate();
}

} // namespace tavrin
