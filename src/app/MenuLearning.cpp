#include "app/MenuLearning.h"

#include <optional>
#include <utility>

#include "database/DatabaseManager.h"
#include "database/ShortcutLearner.h"
#include "platform/ApplicationMenus.h"
#include "platform/Log.h"

namespace tavrin {

MenuLearning::MenuLearning(AppDelegate::AppStore& store, std::function<DatabaseManager&()> database,
                           const ApplicationMenus& menus, Executor& executor, MainQueue& mainQueue)
    : store_(store), database_(std::move(database)), menus_(menus), executor_(executor), mainQueue_(mainQueue) {
    observation_ = store_.observe([this](const AppDomain::State& state) { placeChanged(state); });
}

MenuLearning::~MenuLearning() {
    *alive_ = false;
}

void MenuLearning::placeChanged(const AppDomain::State& state) {
    const auto& place = state.activeNamespace;
    const auto front = place.domainNamespaceId ? std::nullopt : place.appNamespaceId;
    if (front == front_)
        return;
    front_ = front;
    if (!front)
        return;
    const std::string namespaceId = *front;
    auto database = database_;
    const ApplicationMenus* menus = &menus_;
    MainQueue* mainQueue = &mainQueue_;
    AppDelegate::AppStore* store = &store_;
    std::weak_ptr<bool> alive = alive_;
    std::shared_ptr<Looked> looked = looked_;
    executor_.execute([=] {
        if (!alive.lock())
            return;
        const auto source = ShortcutLearner::shortcutSource(database(), namespaceId);
        if (source == ShortcutLearner::Source::catalogue)
            return;
        const auto pid = menus->frontProcess();
        if (!pid)
            return;
        {
            const std::lock_guard lock(looked->mutex);
            if (std::exchange(looked->process[namespaceId], *pid) == *pid)
                return;
        }
        const auto version = menus->applicationVersion(*pid);
        if (version ? ShortcutLearner::walkedVersion(database(), namespaceId) == version
                    : source == ShortcutLearner::Source::learned)
            return;
        const auto walk = menus->readMenus(*pid, {.maxNodes = 6000, .maxTime = std::chrono::seconds(4)});
        if (!walk)
            return;
        const auto items = harvestItems(walk->items);
        const int learned = ShortcutLearner::learn(database(), namespaceId, items);
        printLine("Read the menus of " + namespaceId + ": " + std::to_string(walk->itemsSeen) +
                  " menu items and buttons, " + std::to_string(learned) + " shortcuts learned in " +
                  std::to_string(walk->took.count()) + " ms");
        // A walk cut short is tried again when the application next starts.
        if (version && walk->complete)
            ShortcutLearner::rememberWalkedVersion(database(), namespaceId, *version);
        if (learned > 0)
            mainQueue->post([alive, store] {
                if (alive.lock())
                    store->send(AppDomain::updateShortcuts{});
            });
    });
}

} // namespace tavrin
