#include "platform/wayland/ForeignToplevels.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <poll.h>
#include <thread>
#include <unistd.h>

#include <wayland-client.h>

#include "platform/Log.h"
#include "wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"

namespace tavrin {

namespace {

const Logger& log() {
    static const Logger logger(std::string(kLogSubsystem), "Wayland");
    return logger;
}

} // namespace

struct ForeignToplevels::Connection {
    struct Handle {
        zwlr_foreign_toplevel_handle_v1* proxy = nullptr;
        Toplevel pending, shown;
        unsigned long activatedAt = 0; // order of activation; 0 never
    };

    std::function<void()> changed;
    wl_display* display = nullptr;
    wl_registry* registry = nullptr;
    zwlr_foreign_toplevel_manager_v1* manager = nullptr;
    wl_output* output = nullptr;
    std::thread thread;
    int wake[2] = {-1, -1};
    std::atomic<bool> alive{true};

    mutable std::mutex mutex; // guards what follows
    std::vector<std::unique_ptr<Handle>> handles;
    unsigned long activations = 0;
    std::optional<std::pair<int, int>> size;

    ~Connection() {
        for (auto& handle : handles)
            zwlr_foreign_toplevel_handle_v1_destroy(handle->proxy);
        if (manager)
            zwlr_foreign_toplevel_manager_v1_destroy(manager);
        if (output)
            wl_output_destroy(output);
        if (registry)
            wl_registry_destroy(registry);
        if (display)
            wl_display_disconnect(display);
        for (const int fd : wake)
            if (fd >= 0)
                ::close(fd);
    }

    Handle* find(zwlr_foreign_toplevel_handle_v1* proxy) {
        for (auto& handle : handles)
            if (handle->proxy == proxy)
                return handle.get();
        return nullptr;
    }

    // Handle events: properties gather in `pending` and hold from `done`.
    static void title(void* data, zwlr_foreign_toplevel_handle_v1* proxy, const char* text) {
        auto* self = static_cast<Connection*>(data);
        std::lock_guard lock(self->mutex);
        if (Handle* handle = self->find(proxy))
            handle->pending.title = text ? text : "";
    }
    static void appId(void* data, zwlr_foreign_toplevel_handle_v1* proxy, const char* id) {
        auto* self = static_cast<Connection*>(data);
        std::lock_guard lock(self->mutex);
        if (Handle* handle = self->find(proxy))
            handle->pending.appId = id ? id : "";
    }
    static void outputEvent(void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {}
    static void state(void* data, zwlr_foreign_toplevel_handle_v1* proxy, wl_array* states) {
        auto* self = static_cast<Connection*>(data);
        std::lock_guard lock(self->mutex);
        Handle* handle = self->find(proxy);
        if (!handle)
            return;
        handle->pending.activated = false;
        const auto* values = static_cast<const std::uint32_t*>(states->data);
        for (std::size_t i = 0; i < states->size / sizeof(std::uint32_t); ++i)
            if (values[i] == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED)
                handle->pending.activated = true;
    }
    static void done(void* data, zwlr_foreign_toplevel_handle_v1* proxy) {
        auto* self = static_cast<Connection*>(data);
        {
            std::lock_guard lock(self->mutex);
            Handle* handle = self->find(proxy);
            if (!handle || handle->pending == handle->shown)
                return; // sway sends many batches that change nothing
            if (handle->pending.activated && !handle->shown.activated)
                handle->activatedAt = ++self->activations;
            handle->shown = handle->pending;
        }
        self->changed();
    }
    static void closed(void* data, zwlr_foreign_toplevel_handle_v1* proxy) {
        auto* self = static_cast<Connection*>(data);
        {
            std::lock_guard lock(self->mutex);
            const auto it = std::find_if(self->handles.begin(), self->handles.end(),
                                         [proxy](const auto& handle) { return handle->proxy == proxy; });
            if (it == self->handles.end())
                return;
            self->handles.erase(it);
        }
        zwlr_foreign_toplevel_handle_v1_destroy(proxy);
        self->changed();
    }
    static void parent(void*, zwlr_foreign_toplevel_handle_v1*, zwlr_foreign_toplevel_handle_v1*) {}

    static constexpr zwlr_foreign_toplevel_handle_v1_listener handleListener{title, appId, outputEvent, outputEvent,
                                                                             state, done,  closed,      parent};

    static void toplevel(void* data, zwlr_foreign_toplevel_manager_v1*, zwlr_foreign_toplevel_handle_v1* proxy) {
        auto* self = static_cast<Connection*>(data);
        auto handle = std::make_unique<Handle>();
        handle->proxy = proxy;
        {
            std::lock_guard lock(self->mutex);
            self->handles.push_back(std::move(handle));
        }
        zwlr_foreign_toplevel_handle_v1_add_listener(proxy, &handleListener, self);
    }
    static void finished(void* data, zwlr_foreign_toplevel_manager_v1*) {
        static_cast<Connection*>(data)->alive = false;
    }
    static constexpr zwlr_foreign_toplevel_manager_v1_listener managerListener{toplevel, finished};

    static void outputGeometry(void*, wl_output*, std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t,
                               const char*, const char*, std::int32_t) {}
    static void outputMode(void* data, wl_output*, std::uint32_t flags, std::int32_t width, std::int32_t height,
                           std::int32_t) {
        auto* self = static_cast<Connection*>(data);
        std::lock_guard lock(self->mutex);
        if (flags & WL_OUTPUT_MODE_CURRENT)
            self->size = std::pair{width, height};
    }
    static void outputDone(void*, wl_output*) {}
    static void outputScale(void*, wl_output*, std::int32_t) {}
    static void outputText(void*, wl_output*, const char*) {}
    static constexpr wl_output_listener outputListener{outputGeometry, outputMode, outputDone,
                                                       outputScale,    outputText, outputText};

    static void global(void* data, wl_registry* registry, std::uint32_t name, const char* interface,
                       std::uint32_t version) {
        auto* self = static_cast<Connection*>(data);
        if (std::strcmp(interface, zwlr_foreign_toplevel_manager_v1_interface.name) == 0 && !self->manager) {
            self->manager = static_cast<zwlr_foreign_toplevel_manager_v1*>(wl_registry_bind(
                registry, name, &zwlr_foreign_toplevel_manager_v1_interface, std::min<std::uint32_t>(version, 3)));
            zwlr_foreign_toplevel_manager_v1_add_listener(self->manager, &managerListener, self);
        } else if (std::strcmp(interface, wl_output_interface.name) == 0 && !self->output) {
            self->output = static_cast<wl_output*>(wl_registry_bind(registry, name, &wl_output_interface, 2));
            wl_output_add_listener(self->output, &outputListener, self);
        }
    }
    static void globalRemove(void*, wl_registry*, std::uint32_t) {}
    static constexpr wl_registry_listener registryListener{global, globalRemove};

    // Reads the compositor until it goes away or the owner wakes the thread to stop.
    void run() {
        pollfd fds[2] = {{wl_display_get_fd(display), POLLIN, 0}, {wake[0], POLLIN, 0}};
        for (;;) {
            while (wl_display_prepare_read(display) != 0)
                wl_display_dispatch_pending(display);
            wl_display_flush(display);
            if (::poll(fds, 2, -1) < 0) {
                wl_display_cancel_read(display);
                continue;
            }
            if (fds[1].revents) {
                wl_display_cancel_read(display);
                return;
            }
            if (fds[0].revents & POLLIN) {
                if (wl_display_read_events(display) < 0 || wl_display_dispatch_pending(display) < 0)
                    break;
            } else {
                wl_display_cancel_read(display);
                if (fds[0].revents & (POLLERR | POLLHUP))
                    break;
            }
        }
        alive = false;
        log().error("The Wayland compositor went away: the window list is no longer read.");
        {
            std::lock_guard lock(mutex);
            for (auto& handle : handles)
                handle->shown = {};
        }
        changed();
    }
};

std::unique_ptr<ForeignToplevels> ForeignToplevels::connect(std::function<void()> changed, std::string& problem) {
    auto connection = std::make_unique<Connection>();
    connection->changed = std::move(changed);
    connection->display = wl_display_connect(nullptr);
    if (!connection->display) {
        problem = "no Wayland compositor answers (WAYLAND_DISPLAY)";
        return nullptr;
    }
    connection->registry = wl_display_get_registry(connection->display);
    wl_registry_add_listener(connection->registry, &Connection::registryListener, connection.get());
    // The globals, then the windows and the output's mode.
    if (wl_display_roundtrip(connection->display) < 0 || wl_display_roundtrip(connection->display) < 0) {
        problem = "the Wayland compositor closed the connection";
        return nullptr;
    }
    if (!connection->manager) {
        problem = "the compositor offers no window list (the wlroots foreign-toplevel protocol)";
        return nullptr;
    }
    if (::pipe(connection->wake) != 0) {
        problem = "cannot make a pipe";
        return nullptr;
    }
    Connection* c = connection.get();
    c->thread = std::thread([c] { c->run(); });
    return std::unique_ptr<ForeignToplevels>(new ForeignToplevels(std::move(connection)));
}

ForeignToplevels::ForeignToplevels(std::unique_ptr<Connection> connection) : connection_(std::move(connection)) {}

ForeignToplevels::~ForeignToplevels() {
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(connection_->wake[1], &byte, 1);
    if (connection_->thread.joinable())
        connection_->thread.join();
}

std::vector<ForeignToplevels::Toplevel> ForeignToplevels::toplevels() const {
    std::lock_guard lock(connection_->mutex);
    std::vector<const Connection::Handle*> shown;
    for (const auto& handle : connection_->handles)
        if (!handle->shown.appId.empty() || !handle->shown.title.empty())
            shown.push_back(handle.get());
    std::stable_sort(shown.begin(), shown.end(),
                     [](const auto* a, const auto* b) { return a->activatedAt > b->activatedAt; });
    std::vector<Toplevel> out;
    for (const auto* handle : shown)
        out.push_back(handle->shown);
    return out;
}

std::optional<std::pair<int, int>> ForeignToplevels::outputSize() const {
    std::lock_guard lock(connection_->mutex);
    return connection_->size;
}

bool ForeignToplevels::connected() const {
    return connection_->alive;
}

} // namespace tavrin
