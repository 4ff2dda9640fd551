#include "platform/linux/HelperLink.h"

#include <condition_variable>
#include <cstdio>
#include <future>
#include <map>
#include <mutex>
#include <thread>

#include <gio/gio.h>

#include "platform/Log.h"
#include "platform/common/Threads.h"

namespace tavrin {

namespace {

const Logger logger("tavrin.tavrin.app", "DesktopHelper");

// The interface Tavrin serves for the KWin script. Numbers come as 32-bit integers (KWin's script
// engine sends whole numbers so), rectangles as "x,y,width,height".
const char* const kKWinInterfaceXml = R"(<node><interface name="app.tavrin.HelperClient1">
  <method name="NextQuestion"><arg type="i" direction="out" name="serial"/></method>
  <method name="FocusChanged">
    <arg type="s" name="app_id"/><arg type="s" name="title"/><arg type="i" name="pid"/><arg type="s" name="frame"/>
  </method>
  <method name="Pointer">
    <arg type="i" name="serial"/><arg type="b" name="inside"/><arg type="i" name="x"/><arg type="i" name="y"/>
    <arg type="s" name="app_id"/><arg type="s" name="title"/><arg type="i" name="pid"/>
    <arg type="s" name="frame"/><arg type="s" name="surface"/>
  </method>
</interface></node>)";

// How long the KWin script's question waits unanswered: below the bus's 25 s time-out, after which
// the script would fall silent.
constexpr guint kQuestionRefreshSeconds = 20;

TopLeftRect rectFromText(const char* text) {
    double x = 0, y = 0, w = 0, h = 0;
    if (text && std::sscanf(text, "%lf,%lf,%lf,%lf", &x, &y, &w, &h) == 4)
        return {x, y, w, h};
    return {};
}

TopLeftRect rectFromVariant(GVariant* value) {
    gint32 x = 0, y = 0, w = 0, h = 0;
    g_variant_get(value, "(iiii)", &x, &y, &w, &h);
    return {static_cast<double>(x), static_cast<double>(y), static_cast<double>(w), static_cast<double>(h)};
}

// The GNOME Shell extension's pointer answer (biissi(iiii)(iiii)), from the child at `first` on.
HelperPointer gnomePointer(GVariant* tuple, gsize first) {
    HelperPointer p;
    GVariant* c[8];
    for (gsize i = 0; i < 8; ++i)
        c[i] = g_variant_get_child_value(tuple, first + i);
    p.inside = g_variant_get_boolean(c[0]);
    p.local = {static_cast<double>(g_variant_get_int32(c[1])), static_cast<double>(g_variant_get_int32(c[2]))};
    p.window = {g_variant_get_string(c[3], nullptr), g_variant_get_string(c[4], nullptr), g_variant_get_int32(c[5]),
                rectFromVariant(c[6])};
    p.surface = rectFromVariant(c[7]);
    for (auto* v : c)
        g_variant_unref(v);
    return p;
}

} // namespace

struct HelperLink::State {
    HelperDesktop desktop = HelperDesktop::none;
    GMainContext* context = g_main_context_new();
    GMainLoop* loop = g_main_loop_new(context, FALSE);
    GDBusConnection* bus = nullptr;
    std::thread thread;

    std::mutex mutex;
    std::condition_variable answered;
    std::string desktopOwner;                  // the compositor's unique name on the bus
    GDBusMethodInvocation* question = nullptr; // the KWin script's waiting question
    gint32 serial = 0;
    std::map<gint32, HelperPointer> answers;
    bool heard = false;
    std::function<void(const HelperWindow&)> focusHandler;
    std::function<void(int, const HelperPointer&)> pressHandler;

    ~State() {
        g_main_loop_unref(loop);
        g_main_context_unref(context);
    }

    bool fromDesktop(const gchar* sender) {
        std::lock_guard lock(mutex);
        return sender && desktopOwner == sender;
    }

    void focus(const HelperWindow& window) {
        std::function<void(const HelperWindow&)> handler;
        {
            std::lock_guard lock(mutex);
            heard = true;
            handler = focusHandler;
        }
        if (handler)
            handler(window);
    }
};

namespace {

using State = HelperLink::State;

void kwinCall(GDBusConnection*, const gchar* sender, const gchar*, const gchar*, const gchar* method,
              GVariant* parameters, GDBusMethodInvocation* invocation, gpointer data) {
    auto* s = static_cast<State*>(data);
    if (!s->fromDesktop(sender)) {
        g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.AccessDenied",
                                                   "Only KWin talks to this object");
        return;
    }
    const std::string_view name(method);
    if (name == "NextQuestion") {
        std::lock_guard lock(s->mutex);
        s->heard = true;
        if (s->question) // a second script asking: the newer one takes over
            g_dbus_method_invocation_return_value(s->question, g_variant_new("(i)", 0));
        s->question = invocation;
        return;
    }
    if (name == "FocusChanged") {
        const gchar *app = nullptr, *title = nullptr, *frame = nullptr;
        gint32 pid = 0;
        g_variant_get(parameters, "(&s&si&s)", &app, &title, &pid, &frame);
        g_dbus_method_invocation_return_value(invocation, nullptr);
        s->focus({app, title, pid, rectFromText(frame)});
        return;
    }
    // Pointer: the answer to a question.
    gint32 serial = 0, x = 0, y = 0, pid = 0;
    gboolean inside = FALSE;
    const gchar *app = nullptr, *title = nullptr, *frame = nullptr, *surface = nullptr;
    g_variant_get(parameters, "(ibii&s&si&s&s)", &serial, &inside, &x, &y, &app, &title, &pid, &frame, &surface);
    g_dbus_method_invocation_return_value(invocation, nullptr);
    HelperPointer p{static_cast<bool>(inside),
                    {static_cast<double>(x), static_cast<double>(y)},
                    rectFromText(surface),
                    {app, title, pid, rectFromText(frame)}};
    std::lock_guard lock(s->mutex);
    s->heard = true;
    if (serial == s->serial)
        s->answers[serial] = std::move(p);
    s->answered.notify_all();
}

const GDBusInterfaceVTable kKWinVTable{kwinCall, nullptr, nullptr, {}};

void gnomeSignal(GDBusConnection*, const gchar* sender, const gchar*, const gchar*, const gchar* signal,
                 GVariant* parameters, gpointer data) {
    auto* s = static_cast<State*>(data);
    if (!s->fromDesktop(sender))
        return;
    if (std::string_view(signal) == "FocusChanged" && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ssi(iiii))"))) {
        const gchar *app = nullptr, *title = nullptr;
        gint32 pid = 0, x = 0, y = 0, w = 0, h = 0;
        g_variant_get(parameters, "(&s&si(iiii))", &app, &title, &pid, &x, &y, &w, &h);
        s->focus({app, title, pid, {double(x), double(y), double(w), double(h)}});
    } else if (std::string_view(signal) == "ButtonPressed" &&
               g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ubiissi(iiii)(iiii))"))) {
        GVariant* button = g_variant_get_child_value(parameters, 0);
        const int number = static_cast<int>(g_variant_get_uint32(button));
        g_variant_unref(button);
        const HelperPointer p = gnomePointer(parameters, 1);
        std::function<void(int, const HelperPointer&)> handler;
        {
            std::lock_guard lock(s->mutex);
            s->heard = true;
            handler = s->pressHandler;
        }
        if (handler)
            handler(number, p);
    }
}

void ownerAppeared(GDBusConnection*, const gchar*, const gchar* owner, gpointer data) {
    auto* s = static_cast<State*>(data);
    std::lock_guard lock(s->mutex);
    s->desktopOwner = owner;
}

void ownerVanished(GDBusConnection*, const gchar*, gpointer data) {
    auto* s = static_cast<State*>(data);
    std::lock_guard lock(s->mutex);
    s->desktopOwner.clear();
}

gboolean refreshQuestion(gpointer data) {
    auto* s = static_cast<State*>(data);
    std::lock_guard lock(s->mutex);
    if (s->question)
        g_dbus_method_invocation_return_value(std::exchange(s->question, nullptr), g_variant_new("(i)", 0));
    return G_SOURCE_CONTINUE;
}

// Calls KWin's scripting object; errors are left to the caller's silence.
void callKWin(GDBusConnection* bus, const char* method, GVariant* parameters) {
    GVariant* reply =
        g_dbus_connection_call_sync(bus, "org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting", method, parameters,
                                    nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, 1000, nullptr, nullptr);
    if (reply)
        g_variant_unref(reply);
}

} // namespace

std::unique_ptr<HelperLink> HelperLink::start(HelperDesktop desktop, std::string& problem,
                                              const std::filesystem::path& kwinScript) {
    auto s = std::make_shared<State>();
    s->desktop = desktop;
    GError* error = nullptr;
    gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (address)
        s->bus = g_dbus_connection_new_for_address_sync(
            address,
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &error);
    g_free(address);
    if (!s->bus) {
        problem = std::string("No session bus for the desktop helper: ") + (error ? error->message : "unknown error");
        g_clear_error(&error);
        return nullptr;
    }
    g_dbus_connection_set_exit_on_close(s->bus, FALSE);
    // Tavrin's name, which the helpers answer alone. Asked for synchronously: its owner is known
    // to the helpers before the first question.
    GVariant* reply = g_dbus_connection_call_sync(
        s->bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", kTavrinBusName, 4u /* DBUS_NAME_FLAG_DO_NOT_QUEUE */), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, 1000, nullptr, &error);
    guint32 result = 0;
    if (reply) {
        g_variant_get(reply, "(u)", &result);
        g_variant_unref(reply);
    }
    g_clear_error(&error);
    if (result != 1 /* DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER */) {
        problem = std::string("Another process holds ") + kTavrinBusName + " on the session bus";
        g_object_unref(s->bus);
        return nullptr;
    }
    // The compositor's process on the bus: the one whose calls and signals count.
    if (GVariant* owner = g_dbus_connection_call_sync(
            s->bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner",
            g_variant_new("(s)", desktop == HelperDesktop::gnomeShell ? "org.gnome.Shell" : "org.kde.KWin"),
            G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, 1000, nullptr, nullptr)) {
        const gchar* name = nullptr;
        g_variant_get(owner, "(&s)", &name);
        s->desktopOwner = name;
        g_variant_unref(owner);
    }
    std::promise<void> ready;
    auto started = ready.get_future();
    s->thread = startThread([s = s.get(), &ready] {
        g_main_context_push_thread_default(s->context);
        const bool gnome = s->desktop == HelperDesktop::gnomeShell;
        const guint watch =
            g_bus_watch_name_on_connection(s->bus, gnome ? "org.gnome.Shell" : "org.kde.KWin",
                                           G_BUS_NAME_WATCHER_FLAGS_NONE, ownerAppeared, ownerVanished, s, nullptr);
        guint subscription = 0, registration = 0, refresh = 0;
        GDBusNodeInfo* node = nullptr;
        if (gnome) {
            subscription =
                g_dbus_connection_signal_subscribe(s->bus, nullptr, kGnomeHelperInterface, nullptr, kHelperObjectPath,
                                                   nullptr, G_DBUS_SIGNAL_FLAGS_NONE, gnomeSignal, s, nullptr);
        } else {
            node = g_dbus_node_info_new_for_xml(kKWinInterfaceXml, nullptr);
            registration = g_dbus_connection_register_object(s->bus, kHelperObjectPath, node->interfaces[0],
                                                             &kKWinVTable, s, nullptr, nullptr);
            GSource* timer = g_timeout_source_new_seconds(kQuestionRefreshSeconds);
            g_source_set_callback(timer, refreshQuestion, s, nullptr);
            refresh = g_source_attach(timer, s->context);
            g_source_unref(timer);
        }
        ready.set_value();
        g_main_loop_run(s->loop);
        if (refresh)
            g_source_destroy(g_main_context_find_source_by_id(s->context, refresh));
        if (registration)
            g_dbus_connection_unregister_object(s->bus, registration);
        if (subscription)
            g_dbus_connection_signal_unsubscribe(s->bus, subscription);
        if (node)
            g_dbus_node_info_unref(node);
        g_bus_unwatch_name(watch);
        while (g_main_context_iteration(s->context, FALSE)) {
        }
        g_main_context_pop_thread_default(s->context);
    });
    started.wait();
    if (desktop == HelperDesktop::kwin && !kwinScript.empty())
        reloadKWinScript(kwinScript);
    logger.info("Listening to the desktop helper");
    return std::unique_ptr<HelperLink>(new HelperLink(std::move(s)));
}

HelperLink::HelperLink(std::shared_ptr<State> state) : state_(std::move(state)) {}

HelperLink::~HelperLink() {
    if (state_->desktop == HelperDesktop::kwin) // it speaks only while Tavrin runs
        callKWin(state_->bus, "unloadScript", g_variant_new("(s)", kKWinScriptId));
    g_main_loop_quit(state_->loop);
    state_->thread.join();
    {
        std::lock_guard lock(state_->mutex);
        if (state_->question)
            g_dbus_method_invocation_return_value(std::exchange(state_->question, nullptr), g_variant_new("(i)", 0));
    }
    g_dbus_connection_close_sync(state_->bus, nullptr, nullptr);
    g_object_unref(state_->bus);
}

std::optional<HelperPointer> HelperLink::pointer(std::chrono::milliseconds timeout) {
    State& s = *state_;
    if (s.desktop == HelperDesktop::gnomeShell) {
        GVariant* reply = g_dbus_connection_call_sync(
            s.bus, "org.gnome.Shell", kHelperObjectPath, kGnomeHelperInterface, "Pointer", nullptr,
            G_VARIANT_TYPE("(biissi(iiii)(iiii))"), G_DBUS_CALL_FLAGS_NO_AUTO_START, static_cast<int>(timeout.count()),
            nullptr, nullptr);
        if (!reply)
            return std::nullopt;
        HelperPointer p = gnomePointer(reply, 0);
        g_variant_unref(reply);
        std::lock_guard lock(s.mutex);
        s.heard = true;
        return p;
    }
    std::unique_lock lock(s.mutex);
    if (!s.question)
        return std::nullopt;
    const gint32 serial = ++s.serial;
    g_dbus_method_invocation_return_value(std::exchange(s.question, nullptr), g_variant_new("(i)", serial));
    if (!s.answered.wait_for(lock, timeout, [&] { return s.answers.count(serial) > 0; }))
        return std::nullopt;
    HelperPointer p = std::move(s.answers[serial]);
    s.answers.clear();
    return p;
}

bool HelperLink::heard() const {
    std::lock_guard lock(state_->mutex);
    return state_->heard;
}

bool HelperLink::reportsPresses() const {
    return state_->desktop == HelperDesktop::gnomeShell;
}

void HelperLink::onFocusChanged(std::function<void(const HelperWindow&)> handler) {
    std::lock_guard lock(state_->mutex);
    state_->focusHandler = std::move(handler);
}

void HelperLink::onButtonPressed(std::function<void(int, const HelperPointer&)> handler) {
    std::lock_guard lock(state_->mutex);
    state_->pressHandler = std::move(handler);
}

} // namespace tavrin
