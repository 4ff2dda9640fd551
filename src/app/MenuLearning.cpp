#include "app/MenuLearning.h"

#include <optional>

#include <SQLiteCpp/Statement.h>

#include "database/DatabaseManager.h"
#include "database/ShortcutLearner.h"
#include "platform/ApplicationMenus.h"
#include "platform/Log.h"

namespace tavrin {

namespace {

bool hasShortcuts(DatabaseManager& database, const std::string& namespaceId) {
    try {
        SQLite::Statement query(database.db(), "SELECT 1 FROM shortcuts WHERE namespace_id = ? LIMIT 1");
        query.bind(1, namespaceId);
        return query.executeStep();
    } catch (const std::exception&) {
        return true; // unreadable: leave it alone
    }
}

} // namespace

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
    if (!place.appNamespaceId || place.domainNamespaceId || !walked_.insert(*place.appNamespaceId).second)
        return;
    const std::string namespaceId = *place.appNamespaceId;
    auto database = database_;
    const ApplicationMenus* menus = &menus_;
    MainQueue* mainQueue = &mainQueue_;
    AppDelegate::AppStore* store = &store_;
    std::weak_ptr<bool> alive = alive_;
    executor_.execute([=] {
        if (!alive.lock() || hasShortcuts(database(), namespaceId))
            return;
        const auto pid = menus->frontProcess();
        if (!pid)
            return;
        const auto walk = menus->readMenus(*pid, {.maxNodes = 6000, .maxTime = std::chrono::seconds(4)});
        if (!walk)
            return;
        const auto items = harvestItems(walk->items);
        const int learned = ShortcutLearner::learn(database(), namespaceId, items);
        printLine("Read the menus of " + namespaceId + ": " + std::to_string(walk->itemsSeen) +
                  " menu items and buttons, " + std::to_string(learned) + " shortcuts learned in " +
                  std::to_string(walk->took.count()) + " ms");
        if (learned > 0)
            mainQueue->post([alive, store] {
                if (alive.lock())
                    store->send(AppDomain::updateShortcuts{});
            });
    });
}

} // namespace tavrin
