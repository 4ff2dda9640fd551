#include "platform/wayland/AccessibilityBusEvents.h"

#include <atomic>
#include <gio/gio.h>
#include <map>
#include <thread>
#include <vector>

#include "platform/Log.h"

namespace tavrin {

namespace {

constexpr const char* kRegistry = "org.a11y.atspi.Registry";
constexpr const char* kListenerPath = "/app/tavrin/KeyListener";
constexpr int kCallTimeoutMs = 500;
constexpr guint kRetrySeconds = 3;

const Logger& log() {
    static const Logger logger(std::string(kLogSubsystem), "Wayland");
    return logger;
}

// What the accessibility bus's events carry as their fourth argument: the window's name for
// window events, the new value for a property change.
std::string anyDataText(GVariant* parameters) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE_TUPLE) || g_variant_n_children(parameters) < 4)
        return {};
    GVariant* boxed = g_variant_get_child_value(parameters, 3);
    GVariant* value = g_variant_is_of_type(boxed, G_VARIANT_TYPE_VARIANT) ? g_variant_get_variant(boxed) : nullptr;
    std::string text;
    if (value && g_variant_is_of_type(value, G_VARIANT_TYPE_STRING))
        text = g_variant_get_string(value, nullptr);
    if (value)
        g_variant_unref(value);
    g_variant_unref(boxed);
    return text;
}

std::string firstString(GVariant* parameters) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE_TUPLE) || g_variant_n_children(parameters) < 1)
        return {};
    GVariant* first = g_variant_get_child_value(parameters, 0);
    std::string text = g_variant_is_of_type(first, G_VARIANT_TYPE_STRING) ? g_variant_get_string(first, nullptr) : "";
    g_variant_unref(first);
    return text;
}

} // namespace

struct AccessibilityBusEvents::Bus {
    Handlers handlers;
    GMainContext* context = g_main_context_new();
    GMainLoop* loop = g_main_loop_new(context, FALSE);
    std::thread thread;
    std::atomic<bool> isConnected{false};
    // The thread's alone from here on.
    GDBusConnection* connection = nullptr;
    std::vector<guint> subscriptions;
    guint listenerObject = 0;
    bool lossReported = false;
    struct Application {
        std::optional<int> pid;
        std::string name;
    };
    std::map<std::string, Application> applications; // by connection

    ~Bus() {
        g_main_loop_unref(loop);
        g_main_context_unref(context);
    }

    // The registry is started by the bus when it is not running yet (a bus that came back);
    // applications never are.
    GVariant* call(const char* destination, const char* path, const char* interface, const char* method,
                   GVariant* parameters, const char* replyType) {
        GError* error = nullptr;
        const auto flags =
            g_strcmp0(destination, kRegistry) == 0 ? G_DBUS_CALL_FLAGS_NONE : G_DBUS_CALL_FLAGS_NO_AUTO_START;
        GVariant* reply = g_dbus_connection_call_sync(connection, destination, path, interface, method, parameters,
                                                      replyType ? G_VARIANT_TYPE(replyType) : nullptr, flags,
                                                      kCallTimeoutMs, nullptr, &error);
        g_clear_error(&error);
        return reply;
    }

    // The process and accessible name of an application, asked once per connection. An
    // application that does not answer in time keeps no name.
    const Application& application(const std::string& bus) {
        if (const auto it = applications.find(bus); it != applications.end())
            return it->second;
        Application found;
        if (GVariant* reply = call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                   "GetConnectionUnixProcessID", g_variant_new("(s)", bus.c_str()), "(u)")) {
            guint32 pid = 0;
            g_variant_get(reply, "(u)", &pid);
            found.pid = static_cast<int>(pid);
            g_variant_unref(reply);
        }
        if (GVariant* reply = call(bus.c_str(), "/org/a11y/atspi/accessible/root", "org.freedesktop.DBus.Properties",
                                   "Get", g_variant_new("(ss)", "org.a11y.atspi.Accessible", "Name"), "(v)")) {
            GVariant* value = nullptr;
            g_variant_get(reply, "(v)", &value);
            if (value && g_variant_is_of_type(value, G_VARIANT_TYPE_STRING))
                found.name = g_variant_get_string(value, nullptr);
            if (value)
                g_variant_unref(value);
            g_variant_unref(reply);
        }
        return applications.emplace(bus, std::move(found)).first->second;
    }

    static void onWindowSignal(GDBusConnection*, const gchar* sender, const gchar* path, const gchar*,
                               const gchar* member, GVariant* parameters, gpointer data) {
        auto* self = static_cast<Bus*>(data);
        if (!self->handlers.window || !sender || !path)
            return;
        WindowEvent event;
        const std::string name = member ? member : "";
        if (name == "Activate")
            event.kind = WindowEvent::Kind::activate;
        else if (name == "Deactivate")
            event.kind = WindowEvent::Kind::deactivate;
        else if (name == "Destroy")
            event.kind = WindowEvent::Kind::destroy;
        else
            return;
        event.bus = sender;
        event.path = path;
        event.name = anyDataText(parameters);
        if (event.kind == WindowEvent::Kind::activate) {
            const Application& application = self->application(sender);
            event.pid = application.pid;
            event.application = application.name;
        }
        self->handlers.window(event);
    }

    static void onPropertyChange(GDBusConnection*, const gchar* sender, const gchar* path, const gchar*, const gchar*,
                                 GVariant* parameters, gpointer data) {
        auto* self = static_cast<Bus*>(data);
        if (!self->handlers.window || !sender || !path || firstString(parameters) != "accessible-name")
            return;
        self->handlers.window(WindowEvent{WindowEvent::Kind::nameChanged, sender, path, anyDataText(parameters)});
    }

    static void onNameOwnerChanged(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                                   GVariant* parameters, gpointer data) {
        // A connection that went away takes its cached name with it; a new one may reuse nothing.
        auto* self = static_cast<Bus*>(data);
        const gchar *name = nullptr, *oldOwner = nullptr, *newOwner = nullptr;
        g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
        if (name && newOwner && !*newOwner)
            self->applications.erase(name);
    }

    static void onMethodCall(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* method,
                             GVariant* parameters, GDBusMethodInvocation* invocation, gpointer data) {
        auto* self = static_cast<Bus*>(data);
        if (g_strcmp0(method, "NotifyEvent") != 0 || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("((uiuuisb))"))) {
            g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.UnknownMethod",
                                                       "unknown method");
            return;
        }
        guint32 type = 0, hardwareCode = 0, modifiers = 0;
        gint32 keysym = 0, timestamp = 0;
        const gchar* text = nullptr;
        gboolean isText = FALSE;
        g_variant_get(parameters, "((uiuui&sb))", &type, &keysym, &hardwareCode, &modifiers, &timestamp, &text,
                      &isText);
        // Never consume: the application gets its key whatever happens here.
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(b)", FALSE));
        // 0 and 1 are the press and release of the accessibility bus's event types.
        if (self->handlers.key && type <= 1)
            self->handlers.key(ForwardedKey{type == 0, static_cast<std::uint32_t>(keysym), modifiers});
    }

    static void onClosed(GDBusConnection*, gboolean, GError* error, gpointer data) {
        auto* self = static_cast<Bus*>(data);
        self->isConnected = false;
        log().error(std::string("The accessibility bus went away (") + (error ? error->message : "closed") +
                    "): the application in front and the keys of Wayland applications are not followed until it "
                    "answers again.");
        self->lossReported = true;
        self->disconnect();
        self->retryLater();
    }

    void retryLater() {
        GSource* source = g_timeout_source_new_seconds(kRetrySeconds);
        g_source_set_callback(
            source,
            [](gpointer data) -> gboolean {
                auto* self = static_cast<Bus*>(data);
                if (!self->connect())
                    return G_SOURCE_CONTINUE;
                return G_SOURCE_REMOVE;
            },
            this, nullptr);
        g_source_attach(source, context);
        g_source_unref(source);
    }

    bool connect() {
        GError* error = nullptr;
        GDBusConnection* session = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
        g_clear_error(&error);
        if (!session)
            return false;
        GVariant* reply =
            g_dbus_connection_call_sync(session, "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", nullptr,
                                        G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, 1000, nullptr, &error);
        g_clear_error(&error);
        g_object_unref(session);
        if (!reply)
            return false;
        const gchar* address = nullptr;
        g_variant_get(reply, "(&s)", &address);
        connection = g_dbus_connection_new_for_address_sync(
            address,
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &error);
        g_variant_unref(reply);
        g_clear_error(&error);
        if (!connection)
            return false;
        g_dbus_connection_set_exit_on_close(connection, FALSE);
        g_signal_connect(connection, "closed", G_CALLBACK(onClosed), this);
        subscriptions.push_back(g_dbus_connection_signal_subscribe(connection, nullptr, "org.a11y.atspi.Event.Window",
                                                                   nullptr, nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                                                   onWindowSignal, this, nullptr));
        subscriptions.push_back(g_dbus_connection_signal_subscribe(
            connection, nullptr, "org.a11y.atspi.Event.Object", "PropertyChange", nullptr, "accessible-name",
            G_DBUS_SIGNAL_FLAGS_NONE, onPropertyChange, this, nullptr));
        subscriptions.push_back(g_dbus_connection_signal_subscribe(
            connection, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged", "/org/freedesktop/DBus",
            nullptr, G_DBUS_SIGNAL_FLAGS_NONE, onNameOwnerChanged, this, nullptr));
        // Applications send only the events someone asked the registry for.
        for (const char* type :
             {"window:activate", "window:deactivate", "window:destroy", "object:property-change:accessible-name"})
            if (GVariant* answer = call(kRegistry, "/org/a11y/atspi/registry", "org.a11y.atspi.Registry",
                                        "RegisterEvent", g_variant_new("(s)", type), nullptr))
                g_variant_unref(answer);
        if (handlers.key && !registerKeyListener()) {
            // Its registry is not up yet (a bus that has just come back): once more later.
            disconnect();
            return false;
        }
        isConnected = true;
        if (lossReported) {
            log().info("The accessibility bus answers again.");
            lossReported = false;
        }
        return true;
    }

    bool registerKeyListener() {
        static const GDBusInterfaceVTable vtable{onMethodCall, nullptr, nullptr, {}};
        static GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(
            "<node><interface name='org.a11y.atspi.DeviceEventListener'><method name='NotifyEvent'>"
            "<arg direction='in' type='(uiuuisb)'/><arg direction='out' type='b'/></method></interface></node>",
            nullptr);
        GError* error = nullptr;
        listenerObject = g_dbus_connection_register_object(connection, kListenerPath, node->interfaces[0], &vtable,
                                                           this, nullptr, &error);
        g_clear_error(&error);
        if (!listenerObject)
            return false;
        // The registry matches a listener's modifier mask exactly, so one registration per mask of
        // the eight X modifiers: every key arrives once, whatever is held.
        bool registered = false;
        for (guint mask = 0; mask < 256; ++mask) {
            GVariantBuilder keys;
            g_variant_builder_init(&keys, G_VARIANT_TYPE("a(iisi)"));
            // The registry takes the event types as a mask (its introspection says an array):
            // press and release.
            GVariant* answer =
                call(kRegistry, "/org/a11y/atspi/registry/deviceeventcontroller",
                     "org.a11y.atspi.DeviceEventController", "RegisterKeystrokeListener",
                     g_variant_new("(oa(iisi)uu(bbb))", kListenerPath, &keys, mask, 3u, FALSE, FALSE, FALSE), "(b)");
            if (!answer)
                return registered;
            registered = true;
            g_variant_unref(answer);
        }
        return registered;
    }

    void disconnect() {
        if (!connection)
            return;
        for (const guint id : subscriptions)
            g_dbus_connection_signal_unsubscribe(connection, id);
        subscriptions.clear();
        if (listenerObject)
            g_dbus_connection_unregister_object(connection, listenerObject);
        listenerObject = 0;
        g_signal_handlers_disconnect_by_data(connection, this);
        g_object_unref(connection);
        connection = nullptr;
        applications.clear();
    }
};

AccessibilityBusEvents::AccessibilityBusEvents(Handlers handlers) : bus_(std::make_unique<Bus>()) {
    bus_->handlers = std::move(handlers);
    Bus* bus = bus_.get();
    bus->thread = std::thread([bus] {
        g_main_context_push_thread_default(bus->context);
        if (!bus->connect()) {
            log().error("The accessibility bus does not answer: the application in front and the keys of Wayland "
                        "applications are not followed until it does.");
            bus->lossReported = true;
            bus->retryLater();
        }
        g_main_loop_run(bus->loop);
        bus->disconnect();
        g_main_context_pop_thread_default(bus->context);
    });
}

AccessibilityBusEvents::~AccessibilityBusEvents() {
    // Quits from inside the loop, so that a quit before the loop runs is not lost.
    g_main_context_invoke(
        bus_->context,
        [](gpointer data) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(data));
            return G_SOURCE_REMOVE;
        },
        bus_->loop);
    if (bus_->thread.joinable())
        bus_->thread.join();
}

bool AccessibilityBusEvents::connected() const {
    return bus_->isConnected;
}

} // namespace tavrin
