#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/X11Windows.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <algorithm>
#include <atspi/atspi.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gio/gio.h>
#include <limits>
#include <set>
#include <thread>
#include <vector>

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
    Atom wmPid = 0, wmState = 0, activeWindow = 0;
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

namespace {

struct Unref {
    void operator()(gpointer object) const {
        if (object)
            g_object_unref(object);
    }
};
template <class T> using Owned = std::unique_ptr<T, Unref>;

struct ScreenRect {
    int x = 0, y = 0, width = 0, height = 0;
    bool contains(int px, int py) const { return px >= x && py >= y && px < x + width && py < y + height; }
    int distance(const ScreenRect& other) const {
        return std::abs(x - other.x) + std::abs(y - other.y) + std::abs(width - other.width) +
               std::abs(height - other.height);
    }
};

bool hasState(AtspiAccessible* a, AtspiStateType state) {
    Owned<AtspiStateSet> states(atspi_accessible_get_state_set(a));
    return states && atspi_state_set_contains(states.get(), state);
}

std::optional<ScreenRect> extentsOf(AtspiAccessible* a, GError** error) {
    Owned<AtspiComponent> component(atspi_accessible_get_component_iface(a));
    if (!component)
        return std::nullopt;
    AtspiRect* rect = atspi_component_get_extents(component.get(), ATSPI_COORD_TYPE_SCREEN, error);
    if (!rect)
        return std::nullopt;
    const ScreenRect out{rect->x, rect->y, rect->width, rect->height};
    g_free(rect);
    return out;
}

bool showingAt(AtspiAccessible* a, int x, int y, GError** error) {
    if (!hasState(a, ATSPI_STATE_SHOWING))
        return false;
    const auto extents = extentsOf(a, error);
    return extents && extents->contains(x, y);
}

bool isMenuRole(AtspiRole role) {
    return role == ATSPI_ROLE_MENU_ITEM || role == ATSPI_ROLE_CHECK_MENU_ITEM || role == ATSPI_ROLE_RADIO_MENU_ITEM ||
           role == ATSPI_ROLE_MENU || role == ATSPI_ROLE_TEAROFF_MENU_ITEM;
}

// What the element search hands back from the worker thread.
struct Found {
    ElementAtPoint::Outcome outcome = ElementAtPoint::Outcome::noElement;
    Owned<AtspiAccessible> accessible;
    int pid = 0;
    std::string error;
    bool insideWindow = false; // a menu item, or the hit tests reached below the window
};

Found failure(std::string error) {
    return {ElementAtPoint::Outcome::error, nullptr, 0, std::move(error)};
}

} // namespace

namespace {

// The X11 side of a lookup: the client window under the point and what it says about itself.
// GDK_SCALE from the process's environment, 1 when unset or unreadable.
int gtkScaleOf(int pid) {
    std::ifstream environ("/proc/" + std::to_string(pid) + "/environ", std::ios::binary);
    std::string entry;
    while (std::getline(environ, entry, '\0')) {
        if (entry.rfind("GDK_SCALE=", 0) == 0) {
            const int scale = std::atoi(entry.c_str() + 10);
            return scale >= 1 && scale <= 8 ? scale : 1;
        }
    }
    return 1;
}

struct WindowUnderPoint {
    bool popup = false; // an override-redirect window: a menu, a tooltip, a combo box list
    std::optional<int> pid;
    std::optional<ScreenRect> client;
};

} // namespace

namespace {

WindowUnderPoint windowAt(AtspiAccessibility::Worker& w, int x, int y) {
    WindowUnderPoint found;
    Display* display = w.display;
    const Window root = DefaultRootWindow(display);
    Window window = root, child = None;
    int cx = 0, cy = 0;
    for (int depth = 0; depth < 16 && !found.pid; ++depth) {
        if (!XTranslateCoordinates(display, root, window, x, y, &cx, &cy, &child) || child == None)
            break;
        window = child;
        XWindowAttributes attributes{};
        if (depth == 0 && XGetWindowAttributes(display, window, &attributes))
            found.popup = attributes.override_redirect;
        found.pid = windowPid(display, window, w.wmPid);
        if (found.pid && XGetWindowAttributes(display, window, &attributes)) {
            int rootX = 0, rootY = 0;
            Window ignored = None;
            XTranslateCoordinates(display, window, root, 0, 0, &rootX, &rootY, &ignored);
            found.client = ScreenRect{rootX, rootY, attributes.width, attributes.height};
        }
    }
    if (!found.pid && found.popup) {
        // Some toolkits leave the process off their menu windows; a menu belongs to the
        // application in front.
        Atom type = 0;
        int format = 0;
        unsigned long count = 0, after = 0;
        unsigned char* data = nullptr;
        if (XGetWindowProperty(display, root, w.activeWindow, 0, 1, False, XA_WINDOW, &type, &format, &count, &after,
                               &data) == Success &&
            data) {
            if (format == 32 && count == 1)
                found.pid = windowPid(display, static_cast<Window>(*reinterpret_cast<long*>(data)), w.wmPid);
            XFree(data);
        }
    }
    return found;
}

Owned<AtspiAccessible> applicationOf(int pid) {
    Owned<AtspiAccessible> desktop(atspi_get_desktop(0));
    if (!desktop)
        return nullptr;
    GError* error = nullptr;
    const gint count = atspi_accessible_get_child_count(desktop.get(), &error);
    g_clear_error(&error);
    for (gint i = 0; i < count; ++i) {
        Owned<AtspiAccessible> app(atspi_accessible_get_child_at_index(desktop.get(), i, &error));
        g_clear_error(&error);
        if (!app)
            continue;
        const auto appPid = static_cast<int>(atspi_accessible_get_process_id(app.get(), &error));
        const bool ok = !error;
        g_clear_error(&error);
        if (ok && appPid == pid)
            return app;
    }
    return nullptr;
}

// The showing menu item under the point in any of the application's windows. Found with one
// Collection query per window where the toolkit has it, else depth-first over showing subtrees.
Owned<AtspiAccessible> menuItemAt(AtspiAccessible* app, int x, int y, GError** error) {
    Owned<AtspiAccessible> best;
    auto consider = [&](AtspiAccessible* candidate) {
        GError* ignored = nullptr;
        if (showingAt(candidate, x, y, &ignored)) // later matches lie deeper: submenus follow their opener
            best.reset(static_cast<AtspiAccessible*>(g_object_ref(candidate)));
        g_clear_error(&ignored);
    };
    const gint windows = atspi_accessible_get_child_count(app, error);
    for (gint i = 0; i < windows && !*error; ++i) {
        Owned<AtspiAccessible> window(atspi_accessible_get_child_at_index(app, i, error));
        if (!window || *error || !hasState(window.get(), ATSPI_STATE_SHOWING))
            continue;
        if (Owned<AtspiCollection> collection{atspi_accessible_get_collection_iface(window.get())}) {
            Owned<AtspiStateSet> states(atspi_state_set_new(nullptr));
            atspi_state_set_add(states.get(), ATSPI_STATE_SHOWING);
            GArray* roles = g_array_new(FALSE, FALSE, sizeof(AtspiRole));
            for (AtspiRole role : {ATSPI_ROLE_MENU_ITEM, ATSPI_ROLE_CHECK_MENU_ITEM, ATSPI_ROLE_RADIO_MENU_ITEM,
                                   ATSPI_ROLE_MENU, ATSPI_ROLE_TEAROFF_MENU_ITEM})
                g_array_append_val(roles, role);
            Owned<AtspiMatchRule> rule(
                atspi_match_rule_new(states.get(), ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_NONE,
                                     roles, ATSPI_Collection_MATCH_ANY, nullptr, ATSPI_Collection_MATCH_NONE, FALSE));
            g_array_unref(roles);
            GError* collectionError = nullptr;
            GArray* matches = atspi_collection_get_matches(
                collection.get(), rule.get(), ATSPI_Collection_SORT_ORDER_CANONICAL, 0, TRUE, &collectionError);
            if (matches) {
                for (guint m = 0; m < matches->len; ++m) {
                    Owned<AtspiAccessible> match(g_array_index(matches, AtspiAccessible*, m));
                    consider(match.get());
                }
                g_array_free(matches, TRUE);
                continue;
            }
            const bool timedOut = collectionError && collectionError->domain == G_IO_ERROR &&
                                  collectionError->code == G_IO_ERROR_TIMED_OUT;
            if (timedOut) {
                *error = collectionError;
                break;
            }
            g_clear_error(&collectionError);
        }
        // Depth-first over what is showing, with a bound on the nodes visited.
        std::vector<Owned<AtspiAccessible>> stack;
        stack.push_back(std::move(window));
        for (int visited = 0; !stack.empty() && visited < 4000; ++visited) {
            Owned<AtspiAccessible> node = std::move(stack.back());
            stack.pop_back();
            GError* nodeError = nullptr;
            if (isMenuRole(atspi_accessible_get_role(node.get(), &nodeError)))
                consider(node.get());
            g_clear_error(&nodeError);
            const gint children = atspi_accessible_get_child_count(node.get(), &nodeError);
            g_clear_error(&nodeError);
            for (gint c = children - 1; c >= 0; --c) {
                Owned<AtspiAccessible> child(atspi_accessible_get_child_at_index(node.get(), c, &nodeError));
                g_clear_error(&nodeError);
                if (child && hasState(child.get(), ATSPI_STATE_SHOWING))
                    stack.push_back(std::move(child));
            }
        }
    }
    return best;
}

// The application's top-level that is the X11 window under the point: among those showing and
// holding the point, the one whose frame matches the window's. Minimised windows still claim to
// be showing, so the frame decides, not the state. The extents come first: unlike the state they
// report an application that does not answer.
Owned<AtspiAccessible> topLevelAt(AtspiAccessible* app, int x, int y, const std::optional<ScreenRect>& client,
                                  GError** error) {
    Owned<AtspiAccessible> best;
    int bestDistance = std::numeric_limits<int>::max();
    const gint windows = atspi_accessible_get_child_count(app, error);
    for (gint i = 0; i < windows && !*error; ++i) {
        Owned<AtspiAccessible> window(atspi_accessible_get_child_at_index(app, i, error));
        if (!window || *error)
            continue;
        const auto extents = extentsOf(window.get(), error);
        if (!extents || !extents->contains(x, y) || !hasState(window.get(), ATSPI_STATE_SHOWING))
            continue;
        const int distance = client ? extents->distance(*client) : 0;
        if (distance < bestDistance) {
            bestDistance = distance;
            best = std::move(window);
        }
    }
    return best;
}

} // namespace

// Runs on the worker thread: the window under the point, its process and accessibility
// application, the top-level, a popover or menu when one is open there, then hit tests until they
// stop going deeper.
static Found findElement(AtspiAccessibility::Worker& w, TopLeftPoint point) {
    using Outcome = ElementAtPoint::Outcome;
    if (!w.display)
        return failure("no X11 display");
    WindowUnderPoint window = windowAt(w, static_cast<int>(point.x), static_cast<int>(point.y));
    if (!window.pid)
        return {Outcome::noElement, nullptr, 0, {}};
    const int pid = *window.pid;
    // A GTK application scaled by a whole factor gives its positions in its own, larger pixels.
    const int scale = gtkScaleOf(pid);
    const int x = static_cast<int>(point.x) / scale, y = static_cast<int>(point.y) / scale;
    if (window.client && scale > 1)
        window.client = ScreenRect{window.client->x / scale, window.client->y / scale, window.client->width / scale,
                                   window.client->height / scale};
    const auto started = std::chrono::steady_clock::now();
    if (w.backingOff(pid))
        return failure("application not responding");
    Owned<AtspiAccessible> app = applicationOf(pid);
    if (!app)
        return failure("the application is not on the accessibility bus");

    GError* error = nullptr;
    auto timedOut = [&] {
        const bool timeout = w.noteTimeout(pid, error);
        g_clear_error(&error);
        return timeout;
    };
    Owned<AtspiAccessible> current; // where the hit tests start: a menu item, a popover or the window
    Owned<AtspiAccessible> topLevel;
    if (window.popup) {
        current = menuItemAt(app.get(), x, y, &error);
        if (timedOut())
            return failure("application not responding");
    }
    const bool menuItem = current != nullptr; // it lies inside the menu's window already
    if (!current) {
        Owned<AtspiAccessible> top = topLevelAt(app.get(), x, y, window.client, &error);
        if (timedOut())
            return failure("application not responding");
        if (!top) {
            // Some reads of a stopped application come back empty rather than failed; only the
            // time they took tells them apart from an application without windows there.
            if (std::chrono::steady_clock::now() - started >= AtspiAccessibility::callTimeout) {
                w.timedOut[pid] = std::chrono::steady_clock::now();
                return failure("application not responding");
            }
            return {Outcome::noElement, nullptr, 0, {}};
        }
        // Popovers are drawn inside their window and listed after its content: the last showing
        // child that holds the point is where the hit tests start.
        const gint children = atspi_accessible_get_child_count(top.get(), &error);
        if (timedOut())
            return failure("application not responding");
        for (gint i = children - 1; i >= 1; --i) {
            Owned<AtspiAccessible> child(atspi_accessible_get_child_at_index(top.get(), i, &error));
            if (child && !error && showingAt(child.get(), x, y, &error)) {
                current = std::move(child);
                break;
            }
            if (timedOut())
                return failure("application not responding");
        }
        topLevel = std::move(top);
    }
    // Hit tests until they stop going deeper; false when the application timed out.
    auto descend = [&](Owned<AtspiAccessible>& element, int& steps) {
        for (steps = 0; steps < 64; ++steps) {
            Owned<AtspiComponent> component(atspi_accessible_get_component_iface(element.get()));
            if (!component)
                break;
            Owned<AtspiAccessible> deeper(
                atspi_component_get_accessible_at_point(component.get(), x, y, ATSPI_COORD_TYPE_SCREEN, &error));
            if (timedOut())
                return false;
            if (!deeper || deeper.get() == element.get())
                break;
            element = std::move(deeper);
        }
        return true;
    };
    int steps = 0;
    if (current && !descend(current, steps))
        return failure("application not responding");
    // A later child that holds the point but answers no hit test is no popover: Firefox lists
    // its whole content area that way, and only the window's own hit test reaches the page.
    if (topLevel && (!current || steps == 0)) {
        current = std::move(topLevel);
        // A browser answers the first hit test that has to cross into its page process with
        // nothing and has the answer a moment later.
        for (const int wait : {0, 10, 40, 150}) {
            std::this_thread::sleep_for(std::chrono::milliseconds(wait));
            if (!descend(current, steps))
                return failure("application not responding");
            if (steps > 0)
                break;
        }
    }
    return {Outcome::found, std::move(current), pid, {}, menuItem || steps > 0};
}

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

    // The first question reads every attribute in one trip to the worker; the walk asks the same
    // element several times, and each trip costs more than the reads.
    std::optional<AttributeValue> attribute(std::string_view name) const override {
        std::lock_guard lock(mutex_);
        if (!attributes_) {
            AtspiAccessible* a = accessible_;
            AtspiAccessibility::Worker* w = owner_.worker_.get();
            const int pid = pid_;
            auto read = owner_.call([a, w, pid] { return readAttributes(*w, a, pid); });
            if (!read)
                return std::nullopt; // not cached: the worker was busy, a later question may succeed
            attributes_ = std::move(*read);
        }
        const auto it = attributes_->find(std::string(name));
        if (it == attributes_->end())
            return std::nullopt;
        return it->second;
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
        AtspiAccessibility::Worker* w = owner_.worker_.get();
        const int pid = pid_;
        const auto found = owner_.call([a, get, w, pid]() -> AtspiAccessible* {
            if (w->backingOff(pid))
                return nullptr;
            GError* error = nullptr;
            AtspiAccessible* other = get(a, &error);
            w->noteTimeout(pid, error);
            g_clear_error(&error);
            return other;
        });
        if (!found || !*found)
            return std::nullopt;
        return AccessibleElementRef(std::make_shared<AtspiElement>(owner_, *found, pid_));
    }

    using Attributes = std::map<std::string, AttributeValue>;

    // Worker thread. Absent attributes are left out: help text (AT-SPI has none), text of a
    // password field, anything that failed.
    static Attributes readAttributes(AtspiAccessibility::Worker& w, AtspiAccessible* a, int pid) {
        Attributes out;
        if (w.backingOff(pid))
            return out;
        GError* error = nullptr;
        auto keep = [&](const char* key, gchar* text) {
            if (error) {
                w.noteTimeout(pid, error);
                g_clear_error(&error);
                g_free(text);
                return false;
            }
            out.emplace(key, AttributeValue::string(takeString(text)));
            return true;
        };
        const AtspiRole role = atspi_accessible_get_role(a, &error);
        if (error) {
            w.noteTimeout(pid, error);
            g_clear_error(&error);
            return out;
        }
        const bool secret = role == ATSPI_ROLE_PASSWORD_TEXT; // password fields are never read
        if (!secret) {
            gchar* name = atspi_accessible_get_name(a, &error);
            if (!error) {
                out.emplace("AXTitle", AttributeValue::string(trimTrailing(takeString(name))));
            } else if (!keep("AXTitle", name)) {
                return out;
            }
        }
        if (!keep("AXDescription", atspi_accessible_get_description(a, &error)) ||
            !keep("AXRoleDescription", atspi_accessible_get_localized_role_name(a, &error)) ||
            !keep("AXIdentifier", atspi_accessible_get_accessible_id(a, &error)) ||
            !keep("AXRole", atspi_accessible_get_role_name(a, &error)))
            return out;
        if (secret)
            return out;
        if (Owned<AtspiText> text{atspi_accessible_get_text_iface(a)}) {
            const gint count = atspi_text_get_character_count(text.get(), &error);
            if (!error && count > 0)
                keep("AXValue", atspi_text_get_text(text.get(), 0, std::min(count, 4096), &error));
            else if (!error)
                out.emplace("AXValue", AttributeValue::string({}));
            w.noteTimeout(pid, error);
            g_clear_error(&error);
        } else if (Owned<AtspiValue> value{atspi_accessible_get_value_iface(a)}) {
            out.emplace("AXValue", AttributeValue::nonString()); // a number
        }
        return out;
    }

    const AtspiAccessibility& owner_;
    AtspiAccessible* accessible_;
    int pid_;
    mutable std::mutex mutex_;
    mutable std::optional<Attributes> attributes_;
    std::string busName_;
    std::string path_;
};

AtspiAccessibility::AtspiAccessibility(const std::string& displayName) : worker_(std::make_unique<Worker>()) {
    worker_->display = XOpenDisplay(displayName.empty() ? nullptr : displayName.c_str());
    if (worker_->display) {
        worker_->wmPid = XInternAtom(worker_->display, "_NET_WM_PID", False);
        worker_->wmState = XInternAtom(worker_->display, "WM_STATE", False);
        worker_->activeWindow = XInternAtom(worker_->display, "_NET_ACTIVE_WINDOW", False);
    }
    worker_->thread = std::thread([w = worker_.get()] {
        atspi_init();
        // The default waits 15 s for a stopped application; half a second fails it in about one.
        atspi_set_timeout(static_cast<int>(AtspiAccessibility::callTimeout.count()), 2000);
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
    auto result = call([w, point] { return findElement(*w, point); });
    if (!result)
        return {ElementAtPoint::Outcome::error, {}, "the accessibility bus did not answer in time"};
    Found found = std::move(*result);
    if (found.outcome != ElementAtPoint::Outcome::found)
        return {found.outcome, {}, found.error};
    return {found.outcome,
            AccessibleElementRef(std::make_shared<AtspiElement>(*this, found.accessible.release(), found.pid)),
            {}};
}

bool AtspiAccessibility::isRunningApplication(int processId) const {
    return processId > 0 && (::kill(processId, 0) == 0 || errno == EPERM);
}

} // namespace tavrin
