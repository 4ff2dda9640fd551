#include "platform/linux/AtspiAccessibility.h"

#include <atomic>
#include <cerrno>
#include <csignal>

#include "platform/Log.h"
#include "platform/common/Threads.h"
#include "platform/linux/AtspiWorker.h"
#include "platform/linux/X11Windows.h"

namespace tavrin {

using namespace atspi;

namespace {

// Whether an instance turns GLib's default context between tasks (see the worker's loop).
std::atomic<bool> eventsTaken = false;
// How often that instance takes in the applications' events while it has no task.
constexpr auto kEventPace = std::chrono::milliseconds(20);

GVariant* a11yStatus(const char* method, GVariant* parameters) {
    GError* error = nullptr;
    GDBusConnection* session = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (!session) {
        g_clear_error(&error);
        if (parameters)
            g_variant_unref(g_variant_ref_sink(parameters));
        return nullptr;
    }
    GVariant* reply =
        g_dbus_connection_call_sync(session, "org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties", method,
                                    parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, 1000, nullptr, &error);
    g_clear_error(&error);
    g_object_unref(session);
    return reply;
}

} // namespace

AtspiAccessibility::AtspiAccessibility(const std::string& displayName) : worker_(std::make_unique<Worker>()) {
    worker_->display = openDisplay(displayName);
    if (worker_->display) {
        worker_->wmPid = XInternAtom(worker_->display, "_NET_WM_PID", False);
        worker_->wmState = XInternAtom(worker_->display, "WM_STATE", False);
        worker_->activeWindow = XInternAtom(worker_->display, "_NET_ACTIVE_WINDOW", False);
    }
    worker_->thread = startThread([w = worker_.get()] {
        // The accessibility library attaches its bus, and each application's own connection as it
        // meets it, to GLib's default context. This thread alone turns that context: a second
        // thread turning it would take answers the calls here wait for, and a connection's watch
        // can vanish under it. The desktop application therefore runs Qt without GLib's loop.
        atspi_init();
        // The default waits 15 s for a stopped application; half a second fails it in about one.
        atspi_set_timeout(static_cast<int>(AtspiAccessibility::callTimeout.count()), 2000);
        // The menu item selected when a menu closes names a click too quick to find it on screen:
        // the first instance follows the applications' events as they come.
        const bool ownsEvents = !eventsTaken.exchange(true);
        if (ownsEvents) {
            w->menuSelection = std::make_unique<atspi::AtspiMenuSelection>();
            w->menuSelection->attach();
        }
        GMainContext* context = g_main_context_default();
        for (;;) {
            std::function<void()> task;
            {
                std::unique_lock lock(w->mutex);
                auto ready = [w] { return w->stopping || !w->tasks.empty(); };
                // The owner takes in events every few milliseconds, so each is timed as it came; it
                // never waits inside the context, where another instance's calls would wait for it.
                if (ownsEvents)
                    w->wake.wait_for(lock, kEventPace, ready);
                else
                    w->wake.wait(lock, ready);
                if (!w->tasks.empty()) {
                    task = std::move(w->tasks.front());
                    w->tasks.pop_front();
                } else if (w->stopping) {
                    break;
                }
            }
            // Where another instance turns the context, it takes in what arrived for this one too (the
            // library's cache is the process's).
            if (ownsEvents || !eventsTaken)
                while (g_main_context_iteration(context, FALSE)) {
                }
            if (w->menuSelection)
                w->menuSelection->drain();
            if (task)
                task();
        }
        if (ownsEvents) {
            w->menuSelection.reset();
            eventsTaken = false;
        }
    });
}

AtspiAccessibility::~AtspiAccessibility() {
    {
        std::lock_guard lock(worker_->mutex);
        worker_->stopping = true;
    }
    worker_->wake.notify_all();
    if (worker_->thread.joinable())
        worker_->thread.join();
    if (worker_->display)
        XCloseDisplay(worker_->display);
}

void AtspiAccessibility::post(std::function<void()> task) const {
    {
        std::lock_guard lock(worker_->mutex);
        if (worker_->stopping)
            return;
        worker_->tasks.push_back(std::move(task));
    }
    worker_->wake.notify_one();
}

void AtspiAccessibility::release(void* accessible) const {
    post([accessible] { g_object_unref(accessible); });
}

bool AtspiAccessibility::busIsAvailable() {
    GVariant* reply = a11yStatus("Get", g_variant_new("(ss)", "org.a11y.Status", "IsEnabled"));
    if (!reply)
        return false;
    g_variant_unref(reply);
    return true;
}

bool AtspiAccessibility::isTrusted() const {
    GVariant* reply = a11yStatus("Get", g_variant_new("(ss)", "org.a11y.Status", "IsEnabled"));
    if (!reply)
        return false;
    GVariant* boxed = nullptr;
    g_variant_get(reply, "(v)", &boxed);
    const bool enabled = boxed && g_variant_is_of_type(boxed, G_VARIANT_TYPE_BOOLEAN) && g_variant_get_boolean(boxed);
    if (boxed)
        g_variant_unref(boxed);
    g_variant_unref(reply);
    return enabled;
}

void AtspiAccessibility::promptForTrust() {
    GVariant* reply =
        a11yStatus("Set", g_variant_new("(ssv)", "org.a11y.Status", "IsEnabled", g_variant_new_boolean(TRUE)));
    if (!reply) {
        printLine("Accessibility could not be switched on: the accessibility bus does not answer. Install "
                  "at-spi2-core and log in again.");
        return;
    }
    g_variant_unref(reply);
    printLine("Accessibility is now on.");
}

std::optional<std::string> AtspiAccessibility::applicationName(int processId) const {
    const auto result = call([processId]() -> std::optional<std::string> {
        const Owned<AtspiAccessible> app = applicationOf(processId);
        if (!app)
            return std::nullopt;
        GError* error = nullptr;
        auto name = takeString(atspi_accessible_get_name(app.get(), &error));
        g_clear_error(&error);
        return name;
    });
    return result ? *result : std::nullopt;
}

bool AtspiAccessibility::readsInsideWindowAt(TopLeftPoint point) const {
    Worker* w = worker_.get();
    const auto found = call([w, point] { return findElement(*w, point); });
    return found && found->outcome == ElementAtPoint::Outcome::found && found->insideWindow;
}

ElementAtPoint AtspiAccessibility::elementAt(TopLeftPoint point) const {
    Worker* w = worker_.get();
    return element(call([w, point] { return findElement(*w, point); }));
}

ElementAtPoint AtspiAccessibility::elementInWindow(int pid, const std::string& title, TopLeftPoint local) const {
    Worker* w = worker_.get();
    return element(call([w, pid, title, local] { return findElementInFrame(*w, pid, title, local); }));
}

ElementAtPoint AtspiAccessibility::element(std::optional<atspi::Found> result) const {
    if (!result)
        return {ElementAtPoint::Outcome::error, {}, "the accessibility bus did not answer in time"};
    Found found = std::move(*result);
    if (found.outcome != ElementAtPoint::Outcome::found)
        return {found.outcome, {}, found.error};
    return {found.outcome, makeElement(*this, found.accessible.release(), found.pid), {}, found.foundBy};
}

bool AtspiAccessibility::isRunningApplication(int processId) const {
    return processId > 0 && (::kill(processId, 0) == 0 || errno == EPERM);
}

} // namespace tavrin
