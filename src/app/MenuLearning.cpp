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

// What reading pending items again did.
struct ReadAgain {
    int stored = 0;     // items with a shortcut, stored
    int learned = 0;    // of those, new actions
    bool stale = false; // a place no longer held its item
};

// Reads `pending` again in process `pid`: an item now enabled is learned when it shows a shortcut
// and leaves the list either way (enabled, it shows what it has); one still disabled stays.
ReadAgain readAgain(DatabaseManager& database, const ApplicationMenus& menus, const std::string& namespaceId, int pid,
                    const std::vector<MenuNode>& pending) {
    ReadAgain out;
    if (pending.empty())
        return out;
    const auto read = menus.readMenuItems(pid, pending);
    std::vector<MenuNode> settled;
    for (std::size_t i = 0; i < pending.size() && i < read.size(); ++i) {
        if (!read[i]) {
            out.stale = true;
            continue;
        }
        if (!read[i]->enabled)
            continue;
        if (const auto item = harvestItem(*read[i])) {
            const auto outcome = database.learnShortcuts(namespaceId, {*item});
            if (outcome.failed > 0)
                continue; // read again at the next front
            ++out.stored;
            out.learned += outcome.learned;
            printLine("Learned \"" + item->name + "\" (" + item->keys + ") in " + namespaceId);
        }
        settled.push_back(pending[i]);
    }
    database.dropPendingMenuItems(namespaceId, settled);
    return out;
}

// Walks the menus of process `pid` whole, learns what they show and keeps the items that await
// their shortcut (for the catalogue's applications, only the keys that differ from the
// catalogue's); true when something changed. `version` is recorded once every item is stored.
bool walkMenus(DatabaseManager& database, const ApplicationMenus& menus, const std::string& namespaceId, int pid,
               const std::optional<std::string>& version, ShortcutLearner::Source source) {
    const auto walk = menus.readMenus(pid, {.maxNodes = 6000, .maxTime = std::chrono::seconds(4)});
    if (!walk)
        return false;
    const auto items = harvestItems(walk->items);
    if (source == ShortcutLearner::Source::catalogue) {
        // The catalogue's application: only the keys its menus show where they differ.
        const int changed = database.rememberApplicationKeys(namespaceId, items);
        printLine("Read the menus of " + namespaceId + ": " + std::to_string(walk->itemsSeen) +
                  " menu items and buttons, " + std::to_string(changed) + " keys of its own in " +
                  std::to_string(walk->took.count()) + " ms");
        if (version && walk->complete)
            database.rememberWalkedVersion(namespaceId, *version);
        return changed > 0;
    }
    const auto outcome = database.learnShortcuts(namespaceId, items);
    const auto pending = awaitingItems(walk->items, items);
    if (walk->complete) // a whole walk says all that waits; a part adds to what an earlier one found
        database.dropPendingMenuItems(namespaceId, database.pendingMenuItems(namespaceId));
    database.rememberPendingMenuItems(namespaceId, pending);
    printLine("Read the menus of " + namespaceId + ": " + std::to_string(walk->itemsSeen) +
              " menu items and buttons, " + std::to_string(outcome.learned) + " shortcuts learned, " +
              std::to_string(pending.size()) + " to read again once enabled, in " + std::to_string(walk->took.count()) +
              " ms");
    // A walk cut short, or one with an item that could not be stored, is tried again when the
    // application next starts.
    if (version && walk->complete && outcome.failed == 0)
        database.rememberWalkedVersion(namespaceId, *version);
    return outcome.learned > 0;
}

} // namespace

bool MenuLearning::learnPendingItems(DatabaseManager& database, const ApplicationMenus& menus,
                                     const std::string& namespaceId, const std::string& app, int pid,
                                     const std::string& value) {
    auto pending = database.pendingMenuItems(namespaceId);
    std::erase_if(pending, [&](const MenuNode& item) { return !namesSameCommand(value, item.name); });
    if (pending.empty())
        return false;
    const auto owner = menus.applicationName(pid);
    if (!owner || AppDomain::normalizeName(*owner) != app)
        return false;
    return readAgain(database, menus, namespaceId, pid, pending).stored > 0;
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
        // Whether to walk this process whole: once per release, and once more when a pending item
        // is no longer where the walk found it. Decided under the lock, so two fronts walk once.
        const auto claimWalk = [&] {
            const std::lock_guard lock(looked->mutex);
            return !std::exchange(looked->process[namespaceId].walked, true);
        };
        bool firstLook = false;
        {
            const std::lock_guard lock(looked->mutex);
            auto& seen = looked->process[namespaceId];
            if (seen.pid != *pid) {
                seen = {.pid = *pid, .walked = false};
                firstLook = true;
            }
        }
        bool learned = false;
        bool walk = false;
        std::optional<std::string> version;
        if (firstLook) {
            version = menus->applicationVersion(*pid);
            walk = !(version ? database().walkedVersion(namespaceId) == version
                             : source == ShortcutLearner::Source::learned);
        }
        if (!walk && source != ShortcutLearner::Source::catalogue) {
            const auto again =
                readAgain(database(), *menus, namespaceId, *pid, database().pendingMenuItems(namespaceId));
            learned = again.stored > 0;
            walk = again.stale;
        }
        if (walk && claimWalk())
            learned = walkMenus(database(), *menus, namespaceId, *pid, version, source) || learned;
        if (learned)
            mainQueue->post([alive, store] {
                if (alive.lock())
                    store->send(AppDomain::updateShortcuts{});
            });
    });
}

} // namespace tavrin
