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

namespace {

// The process of the application a namespace stands for (`app`, its normalised name): the one in
// front when it is that application, else the first with a window. The place may have changed
// again since the namespace was read: the walk must not read whatever is in front by then.
std::optional<int> processOf(const ApplicationMenus& menus, const std::string& app) {
    const auto running = menus.runningApplications();
    const auto named = [&](const RunningApplication& r) { return AppDomain::normalizeName(r.displayName) == app; };
    const auto front = menus.frontProcess();
    for (const auto& r : running)
        if (front && r.pid == *front && named(r))
            return r.pid;
    for (const auto& r : running)
        if (named(r))
            return r.pid;
    return std::nullopt;
}

} // namespace

void MenuLearning::placeChanged(const AppDomain::State& state) {
    const auto& place = state.activeNamespace;
    const auto front = place.domainNamespaceId ? std::nullopt : place.appNamespaceId;
    if (front == front_)
        return;
    front_ = front;
    if (!front)
        return;
    const std::string namespaceId = *front;
    const std::string app = place.app;
    auto database = database_;
    const ApplicationMenus* menus = &menus_;
    MainQueue* mainQueue = &mainQueue_;
    AppDelegate::AppStore* store = &store_;
    std::weak_ptr<bool> alive = alive_;
    std::shared_ptr<Looked> looked = looked_;
    executor_.execute([=] {
        if (!alive.lock())
            return;
        const auto source = database().shortcutSource(namespaceId);
        const auto pid = processOf(*menus, app);
        if (!pid)
            return;
        {
            const std::lock_guard lock(looked->mutex);
            if (std::exchange(looked->process[namespaceId], *pid) == *pid)
                return;
        }
        const auto version = menus->applicationVersion(*pid);
        if (version ? database().walkedVersion(namespaceId) == version : source == ShortcutLearner::Source::learned)
            return;
        const auto walk = menus->readMenus(*pid, {.maxNodes = 6000, .maxTime = std::chrono::seconds(4)});
        if (!walk)
            return;
        const auto items = harvestItems(walk->items);
        if (source == ShortcutLearner::Source::catalogue) {
            // The catalogue's application: only the keys its menus show where they differ.
            const int changed = database().rememberApplicationKeys(namespaceId, items);
            printLine("Read the menus of " + namespaceId + ": " + std::to_string(walk->itemsSeen) +
                      " menu items and buttons, " + std::to_string(changed) + " keys of its own in " +
                      std::to_string(walk->took.count()) + " ms");
            if (version && walk->complete)
                database().rememberWalkedVersion(namespaceId, *version);
            if (changed > 0)
                mainQueue->post([alive, store] {
                    if (alive.lock())
                        store->send(AppDomain::updateShortcuts{});
                });
            return;
        }
        const auto outcome = database().learnShortcuts(namespaceId, items);
        printLine("Read the menus of " + namespaceId + ": " + std::to_string(walk->itemsSeen) +
                  " menu items and buttons, " + std::to_string(outcome.learned) + " shortcuts learned in " +
                  std::to_string(walk->took.count()) + " ms");
        // A walk cut short, or one with an item that could not be stored, is tried again when the
        // application next starts.
        if (version && walk->complete && outcome.failed == 0)
            database().rememberWalkedVersion(namespaceId, *version);
        if (outcome.learned > 0)
            mainQueue->post([alive, store] {
                if (alive.lock())
                    store->send(AppDomain::updateShortcuts{});
            });
    });
}

} // namespace tavrin
