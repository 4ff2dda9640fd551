#include "platform/linux/AtspiAccessibility.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <algorithm>
#include <atspi/atspi.h>
#include <cstdio>
#include <gio/gio.h>
#include <set>

#include "platform/Log.h"

namespace tavrin {

namespace {

std::string takeString(gchar* text) {
    if (!text)
        return {};
    std::string out(text);
    g_free(text);
    return out;
}

// GTK pads menu item names with trailing blanks.
std::string trimTrailing(std::string text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.pop_back();
    return text;
}

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

struct AtspiAccessibility::Worker {
    std::thread thread;
    mutable std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::function<void()>> tasks;
    bool stopping = false;
    Display* display = nullptr; // worker thread only
    Atom wmPid = 0, wmState = 0;
    std::map<int, std::chrono::steady_clock::time_point> timedOut; // worker thread only

    bool backingOff(int pid) {
        const auto it = timedOut.find(pid);
        if (it == timedOut.end())
            return false;
        if (std::chrono::steady_clock::now() - it->second > AtspiAccessibility::backOff) {
            timedOut.erase(it);
            return false;
        }
        return true;
    }
    // Notes a time-out; true when `error` was one.
    bool noteTimeout(int pid, GError* error) {
        const bool timeout = error && error->domain == G_IO_ERROR && error->code == G_IO_ERROR_TIMED_OUT;
        const bool noReply = error && error->message && std::string(error->message).find("imeout") != std::string::npos;
        if (timeout || noReply)
            timedOut[pid] = std::chrono::steady_clock::now();
        return timeout || noReply;
    }
};

// An element of another application's tree. It keeps its own reference; every call goes through
// the worker thread.
class AtspiElement final : public AccessibleElement, public std::enable_shared_from_this<AtspiElement> {
public:
    AtspiElement(const AtspiAccessibility& owner, AtspiAccessible* accessible, int pid)
        : owner_(owner), accessible_(accessible), pid_(pid) {
        busName_ = accessible->parent.app ? accessible->parent.app->bus_name : "";
        path_ = accessible->parent.path ? accessible->parent.path : "";
    }
    ~AtspiElement() override { owner_.release(accessible_); }

    std::optional<AttributeValue> attribute(std::string_view name) const override {
        const std::string key(name);
        AtspiAccessible* a = accessible_;
        const auto result = owner_.call([a, key]() -> std::optional<AttributeValue> {
            GError* error = nullptr;
            const AtspiRole role = atspi_accessible_get_role(a, &error);
            g_clear_error(&error);
            const bool secret = role == ATSPI_ROLE_PASSWORD_TEXT;
            std::string text;
            if (key == "AXTitle") {
                if (secret)
                    return std::nullopt;
                text = trimTrailing(takeString(atspi_accessible_get_name(a, &error)));
            } else if (key == "AXDescription") {
                text = takeString(atspi_accessible_get_description(a, &error));
            } else if (key == "AXRoleDescription") {
                text = takeString(atspi_accessible_get_localized_role_name(a, &error));
            } else if (key == "AXIdentifier") {
                text = takeString(atspi_accessible_get_accessible_id(a, &error));
            } else if (key == "AXRole") {
                text = takeString(atspi_accessible_get_role_name(a, &error));
            } else if (key == "AXValue") {
                if (secret) // password fields are never read
                    return std::nullopt;
                if (AtspiText* textInterface = atspi_accessible_get_text_iface(a)) {
                    const gint count = atspi_text_get_character_count(textInterface, &error);
                    if (!error && count > 0)
                        text = takeString(atspi_text_get_text(textInterface, 0, std::min(count, 4096), &error));
                    g_object_unref(textInterface);
                } else if (AtspiValue* value = atspi_accessible_get_value_iface(a)) {
                    g_object_unref(value);
                    return AttributeValue::nonString(); // a number
                } else {
                    return std::nullopt;
                }
            } else {
                return std::nullopt; // no help text in AT-SPI
            }
            if (error) {
                g_error_free(error);
                return std::nullopt;
            }
            return AttributeValue::string(std::move(text));
        });
        return result ? *result : std::nullopt;
    }

    std::optional<AccessibleElementRef> firstChild() const override {
        return related([](AtspiAccessible* a, GError** error) {
            return atspi_accessible_get_child_count(a, error) > 0 ? atspi_accessible_get_child_at_index(a, 0, error)
                                                                  : nullptr;
        });
    }
    std::optional<AccessibleElementRef> parent() const override {
        return related([](AtspiAccessible* a, GError** error) { return atspi_accessible_get_parent(a, error); });
    }
    std::optional<int> processId() const override { return pid_; }
    bool equals(const AccessibleElement& other) const override {
        const auto* that = dynamic_cast<const AtspiElement*>(&other);
        return that && that->busName_ == busName_ && that->path_ == path_;
    }

private:
    template <class Get> std::optional<AccessibleElementRef> related(Get get) const {
        AtspiAccessible* a = accessible_;
        const auto found = owner_.call([a, get]() -> AtspiAccessible* {
            GError* error = nullptr;
            AtspiAccessible* other = get(a, &error);
            g_clear_error(&error);
            return other;
        });
        if (!found || !*found)
            return std::nullopt;
        return AccessibleElementRef(std::make_shared<AtspiElement>(owner_, *found, pid_));
    }

    const AtspiAccessibility& owner_;
    AtspiAccessible* accessible_;
    int pid_;
    std::string busName_;
    std::string path_;
};

AtspiAccessibility::AtspiAccessibility(const std::string& displayName) : worker_(std::make_unique<Worker>()) {
    worker_->display = XOpenDisplay(displayName.empty() ? nullptr : displayName.c_str());
    if (worker_->display) {
        worker_->wmPid = XInternAtom(worker_->display, "_NET_WM_PID", False);
        worker_->wmState = XInternAtom(worker_->display, "WM_STATE", False);
    }
    worker_->thread = std::thread([w = worker_.get()] {
        atspi_init();
        // The default waits 15 s for a stopped application; half a second fails it in about one.
        atspi_set_timeout(500, 2000);
        for (;;) {
            std::function<void()> task;
            {
                std::unique_lock lock(w->mutex);
                w->wake.wait(lock, [w] { return w->stopping || !w->tasks.empty(); });
                if (w->tasks.empty())
                    return;
                task = std::move(w->tasks.front());
                w->tasks.pop_front();
            }
            task();
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
    printLine("Accessibility is now on. Applications started before this moment (Qt applications, Chromium, "
              "Electron apps) must be restarted once before Tavrin can see their buttons.");
}

std::optional<std::string> AtspiAccessibility::applicationName(int processId) const {
    const auto result = call([processId]() -> std::optional<std::string> {
        AtspiAccessible* desktop = atspi_get_desktop(0);
        if (!desktop)
            return std::nullopt;
        std::optional<std::string> name;
        GError* error = nullptr;
        const gint count = atspi_accessible_get_child_count(desktop, &error);
        for (gint i = 0; i < count && !name; ++i) {
            AtspiAccessible* app = atspi_accessible_get_child_at_index(desktop, i, &error);
            g_clear_error(&error);
            if (!app)
                continue;
            if (static_cast<int>(atspi_accessible_get_process_id(app, &error)) == processId && !error)
                name = takeString(atspi_accessible_get_name(app, &error));
            g_clear_error(&error);
            g_object_unref(app);
        }
        g_clear_error(&error);
        g_object_unref(desktop);
        return name;
    });
    return result ? *result : std::nullopt;
}

ElementAtPoint AtspiAccessibility::elementAt(Point point) const {
    const AtspiAccessibility* self = this;
    Worker* w = worker_.get();
    const auto result =
        call([self, w, point]() -> std::pair<ElementAtPoint::Outcome, std::pair<AtspiAccessible*, std::string>> {
            using Outcome = ElementAtPoint::Outcome;
            if (!w->display)
                return {Outcome::error, {nullptr, "no X11 display"}};
            // The client window under the point, and its process.
            Window root = DefaultRootWindow(w->display), window = root, child = None;
            int x = static_cast<int>(point.x), y = static_cast<int>(point.y), cx = 0, cy = 0;
            std::optional<int> pid;
            for (int depth = 0; depth < 16; ++depth) {
                if (!XTranslateCoordinates(w->display, root, window, x, y, &cx, &cy, &child) || child == None)
                    break;
                window = child;
                Atom type = 0;
                int format = 0;
                unsigned long count = 0, after = 0;
                unsigned char* data = nullptr;
                if (XGetWindowProperty(w->display, window, w->wmPid, 0, 1, False, XA_CARDINAL, &type, &format, &count,
                                       &after, &data) == Success &&
                    data) {
                    if (format == 32 && count == 1)
                        pid = static_cast<int>(*reinterpret_cast<long*>(data));
                    XFree(data);
                }
                if (pid)
                    break;
            }
            if (!pid)
                return {Outcome::noElement, {nullptr, {}}};
            if (w->backingOff(*pid))
                return {Outcome::error, {nullptr, "application not responding"}};

            GError* error = nullptr;
            AtspiAccessible* desktop = atspi_get_desktop(0);
            AtspiAccessible* app = nullptr;
            const gint apps = atspi_accessible_get_child_count(desktop, &error);
            for (gint i = 0; i < apps && !app; ++i) {
                AtspiAccessible* candidate = atspi_accessible_get_child_at_index(desktop, i, &error);
                g_clear_error(&error);
                if (!candidate)
                    continue;
                if (static_cast<int>(atspi_accessible_get_process_id(candidate, &error)) == *pid && !error)
                    app = candidate;
                else
                    g_object_unref(candidate);
                g_clear_error(&error);
            }
            g_object_unref(desktop);
            if (!app)
                return {Outcome::error, {nullptr, "the application is not on the accessibility bus"}};

            // The top-level that holds the point: the active one first.
            AtspiAccessible* top = nullptr;
            const gint windows = atspi_accessible_get_child_count(app, &error);
            if (w->noteTimeout(*pid, error)) {
                g_object_unref(app);
                g_clear_error(&error);
                return {Outcome::error, {nullptr, "application not responding"}};
            }
            g_clear_error(&error);
            int bestScore = -1;
            for (gint i = 0; i < windows; ++i) {
                AtspiAccessible* candidate = atspi_accessible_get_child_at_index(app, i, &error);
                g_clear_error(&error);
                if (!candidate)
                    continue;
                int score = -1;
                AtspiStateSet* states = atspi_accessible_get_state_set(candidate);
                AtspiComponent* component = atspi_accessible_get_component_iface(candidate);
                if (states && component && atspi_state_set_contains(states, ATSPI_STATE_SHOWING) &&
                    atspi_component_contains(component, x, y, ATSPI_COORD_TYPE_SCREEN, &error))
                    score = atspi_state_set_contains(states, ATSPI_STATE_ACTIVE) ? 2 : 1;
                g_clear_error(&error);
                if (states)
                    g_object_unref(states);
                if (component)
                    g_object_unref(component);
                if (score > bestScore) {
                    if (top)
                        g_object_unref(top);
                    top = candidate;
                    bestScore = score;
                } else {
                    g_object_unref(candidate);
                }
            }
            g_object_unref(app);
            if (!top || bestScore < 0) {
                if (top)
                    g_object_unref(top);
                return {Outcome::noElement, {nullptr, {}}};
            }
            // Descend by hit tests until they stop going deeper.
            AtspiAccessible* current = top;
            for (int depth = 0; depth < 64; ++depth) {
                AtspiComponent* component = atspi_accessible_get_component_iface(current);
                if (!component)
                    break;
                AtspiAccessible* deeper =
                    atspi_component_get_accessible_at_point(component, x, y, ATSPI_COORD_TYPE_SCREEN, &error);
                g_object_unref(component);
                if (w->noteTimeout(*pid, error)) {
                    g_clear_error(&error);
                    g_object_unref(current);
                    return {Outcome::error, {nullptr, "application not responding"}};
                }
                g_clear_error(&error);
                if (!deeper || deeper == current) {
                    if (deeper)
                        g_object_unref(deeper);
                    break;
                }
                g_object_unref(current);
                current = deeper;
            }
            (void)self;
            return {Outcome::found, {current, std::to_string(*pid)}};
        });
    if (!result)
        return {ElementAtPoint::Outcome::error, {}, "the accessibility bus did not answer in time"};
    const auto& [outcome, payload] = *result;
    if (outcome != ElementAtPoint::Outcome::found)
        return {outcome, {}, payload.second};
    const int pid = std::stoi(payload.second);
    return {outcome, AccessibleElementRef(std::make_shared<AtspiElement>(*this, payload.first, pid)), {}};
}

} // namespace tavrin
