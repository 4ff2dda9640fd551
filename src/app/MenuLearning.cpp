#include "app/MenuLearning.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <optional>

#include <SQLiteCpp/Statement.h>

#include "database/DatabaseManager.h"
#include "database/ShortcutLearner.h"
#include "platform/Log.h"
#include "platform/linux/AtspiMenuReader.h"

namespace tavrin {

namespace {

// The process of the window in front, from the window manager's properties.
std::optional<int> frontProcess() {
    Display* display = XOpenDisplay(nullptr);
    if (!display)
        return std::nullopt;
    auto property = [&](Window window, const char* name, Atom type) -> std::optional<unsigned long> {
        Atom actual = 0;
        int format = 0;
        unsigned long count = 0, after = 0;
        unsigned char* data = nullptr;
        std::optional<unsigned long> value;
        if (XGetWindowProperty(display, window, XInternAtom(display, name, False), 0, 1, False, type, &actual, &format,
                               &count, &after, &data) == Success &&
            data) {
            if (format == 32 && count == 1)
                value = *reinterpret_cast<unsigned long*>(data);
            XFree(data);
        }
        return value;
    };
    std::optional<int> pid;
    if (const auto active = property(DefaultRootWindow(display), "_NET_ACTIVE_WINDOW", XA_WINDOW); active && *active)
        if (const auto found = property(static_cast<Window>(*active), "_NET_WM_PID", XA_CARDINAL))
            pid = static_cast<int>(*found);
    XCloseDisplay(display);
    return pid;
}

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
                           const AtspiAccessibility& accessibility, Executor& executor, MainQueue& mainQueue)
    : store_(store), database_(std::move(database)), accessibility_(accessibility), executor_(executor),
      mainQueue_(mainQueue) {
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
    const AtspiAccessibility* accessibility = &accessibility_;
    MainQueue* mainQueue = &mainQueue_;
    AppDelegate::AppStore* store = &store_;
    std::weak_ptr<bool> alive = alive_;
    executor_.execute([=] {
        if (!alive.lock() || hasShortcuts(database(), namespaceId))
            return;
        const auto pid = frontProcess();
        if (!pid)
            return;
        const auto walk =
            readApplicationMenus(*accessibility, *pid, {.maxNodes = 6000, .maxTime = std::chrono::seconds(4)});
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
