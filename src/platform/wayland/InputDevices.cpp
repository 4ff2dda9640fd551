#include "platform/wayland/InputDevices.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>

#include <libevdev/libevdev.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include "platform/Log.h"

namespace tavrin {

namespace {

const Logger& log() {
    static const Logger logger(std::string(kLogSubsystem), "Wayland");
    return logger;
}

std::vector<std::filesystem::path> eventDevices(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> out;
    std::error_code ec;
    for (std::filesystem::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        if (it->path().filename().string().rfind("event", 0) == 0)
            out.push_back(it->path());
    return out;
}

// The keymap's text from the first keyboard the compositor's seat offers.
struct KeymapQuery {
    wl_seat* seat = nullptr;
    wl_keyboard* keyboard = nullptr;
    std::optional<std::string> keymap;

    static void global(void* data, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t) {
        auto* self = static_cast<KeymapQuery*>(data);
        if (!self->seat && std::strcmp(interface, wl_seat_interface.name) == 0)
            self->seat = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
    }
    static void globalRemove(void*, wl_registry*, std::uint32_t) {}
    static void capabilities(void* data, wl_seat* seat, std::uint32_t caps) {
        auto* self = static_cast<KeymapQuery*>(data);
        if (!self->keyboard && (caps & WL_SEAT_CAPABILITY_KEYBOARD)) {
            self->keyboard = wl_seat_get_keyboard(seat);
            wl_keyboard_add_listener(self->keyboard, &keyboardListener, self);
        }
    }
    static void seatName(void*, wl_seat*, const char*) {}
    static void keymapEvent(void* data, wl_keyboard*, std::uint32_t format, int fd, std::uint32_t size) {
        auto* self = static_cast<KeymapQuery*>(data);
        if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 && size > 0) {
            void* map = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
            if (map != MAP_FAILED) {
                // The text ends with its NUL, counted in the size.
                self->keymap = std::string(static_cast<const char*>(map), strnlen(static_cast<const char*>(map), size));
                ::munmap(map, size);
            }
        }
        ::close(fd);
    }
    static void enter(void*, wl_keyboard*, std::uint32_t, wl_surface*, wl_array*) {}
    static void leave(void*, wl_keyboard*, std::uint32_t, wl_surface*) {}
    static void key(void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {}
    static void modifiers(void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                          std::uint32_t) {}
    static constexpr wl_registry_listener registryListener{global, globalRemove};
    static constexpr wl_seat_listener seatListener{capabilities, seatName};
    static constexpr wl_keyboard_listener keyboardListener{keymapEvent, enter, leave, key, modifiers, nullptr};
};

unsigned maskOf(xkb_keymap* keymap, const char* name) {
    const auto index = xkb_keymap_mod_get_index(keymap, name);
    return index == XKB_MOD_INVALID || index >= 32 ? 0u : 1u << index;
}

} // namespace

InputCapabilities::Devices probeInputDevices(const std::filesystem::path& folder) {
    const auto devices = eventDevices(folder);
    if (devices.empty())
        return InputCapabilities::Devices::absent;
    for (const auto& device : devices)
        if (::access(device.c_str(), R_OK) == 0)
            return InputCapabilities::Devices::read;
    return InputCapabilities::Devices::unreadable;
}

std::optional<std::string> compositorKeymap(std::string& problem) {
    wl_display* display = wl_display_connect(nullptr);
    if (!display) {
        problem = "no Wayland compositor answers (WAYLAND_DISPLAY)";
        return std::nullopt;
    }
    KeymapQuery query;
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &KeymapQuery::registryListener, &query);
    // The globals; the seat's capabilities; the keyboard's keymap.
    for (int i = 0; i < 3 && !query.keymap; ++i) {
        if (wl_display_roundtrip(display) < 0)
            break;
        if (i == 0 && query.seat)
            wl_seat_add_listener(query.seat, &KeymapQuery::seatListener, &query);
    }
    if (query.keyboard)
        wl_keyboard_destroy(query.keyboard);
    if (query.seat)
        wl_seat_destroy(query.seat);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    if (!query.keymap)
        problem = query.keyboard ? "the compositor sent no keymap" : "the compositor's seat has no keyboard";
    return query.keymap;
}

DeviceKeyTranslator::DeviceKeyTranslator(xkb_context* context, xkb_keymap* keymap)
    : context_(context), keymap_(keymap),
      state_(xkb_state_new(keymap)), masks_{.command = maskOf(keymap, XKB_MOD_NAME_LOGO),
                                            .control = maskOf(keymap, XKB_MOD_NAME_CTRL),
                                            .option = maskOf(keymap, XKB_MOD_NAME_ALT),
                                            .shift = maskOf(keymap, XKB_MOD_NAME_SHIFT)} {}

DeviceKeyTranslator::~DeviceKeyTranslator() {
    xkb_state_unref(state_);
    xkb_keymap_unref(keymap_);
    xkb_context_unref(context_);
}

std::unique_ptr<DeviceKeyTranslator> DeviceKeyTranslator::fromKeymap(const std::string& text) {
    xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (!context)
        return nullptr;
    xkb_keymap* keymap =
        xkb_keymap_new_from_string(context, text.c_str(), XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap) {
        xkb_context_unref(context);
        return nullptr;
    }
    return std::unique_ptr<DeviceKeyTranslator>(new DeviceKeyTranslator(context, keymap));
}

std::unique_ptr<DeviceKeyTranslator> DeviceKeyTranslator::fromLayout(const std::string& layout) {
    xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (!context)
        return nullptr;
    const xkb_rule_names names{nullptr, nullptr, layout.empty() ? nullptr : layout.c_str(), nullptr, nullptr};
    xkb_keymap* keymap = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap) {
        xkb_context_unref(context);
        return nullptr;
    }
    return std::unique_ptr<DeviceKeyTranslator>(new DeviceKeyTranslator(context, keymap));
}

std::vector<KeyEvent> DeviceKeyTranslator::translate(unsigned code, int value) {
    const xkb_keycode_t keycode = code + 8; // evdev to xkb
    const bool press = value != 0;
    if (value != 2) // a repeat changes no state
        xkb_state_update_key(state_, keycode, press ? XKB_KEY_DOWN : XKB_KEY_UP);
    const auto mods = xkb_state_serialize_mods(state_, XKB_STATE_MODS_EFFECTIVE);
    auto events = translator_.keyboardModifiers(modifierFlags(mods, masks_));
    const xkb_keysym_t* syms = nullptr;
    const auto layout = xkb_state_key_get_layout(state_, keycode);
    const int count = xkb_keymap_key_get_syms_by_level(keymap_, keycode, layout, 0, &syms);
    const auto sym = count > 0 ? static_cast<KeySym>(syms[0]) : static_cast<KeySym>(XKB_KEY_NoSymbol);
    const auto keyEvents = translator_.key(press, static_cast<int>(keycode), sym);
    events.insert(events.end(), keyEvents.begin(), keyEvents.end());
    return events;
}

struct InputDevices::Reader {
    struct Device {
        std::string path;
        int fd = -1;
        libevdev* evdev = nullptr;
    };
    KeyHandler key;
    std::vector<Device> devices;
    std::thread thread;
    int wake[2] = {-1, -1};

    ~Reader() {
        for (auto& device : devices)
            close(device);
        for (const int fd : wake)
            if (fd >= 0)
                ::close(fd);
    }

    static void close(Device& device) {
        if (device.evdev)
            libevdev_free(device.evdev);
        if (device.fd >= 0)
            ::close(device.fd);
        device = {};
    }

    void event(const input_event& e) {
        if (e.type == EV_KEY && e.code < BTN_MISC)
            key(e.code, e.value);
    }

    // Everything the device has for us now; false once it is gone.
    bool drain(Device& device) {
        input_event e;
        for (;;) {
            int rc = libevdev_next_event(device.evdev, LIBEVDEV_READ_FLAG_NORMAL, &e);
            // Events were dropped: the device's state as it is now, then on as before.
            while (rc == LIBEVDEV_READ_STATUS_SYNC) {
                event(e);
                rc = libevdev_next_event(device.evdev, LIBEVDEV_READ_FLAG_SYNC, &e);
            }
            if (rc == LIBEVDEV_READ_STATUS_SUCCESS)
                event(e);
            else if (rc == -EAGAIN)
                return true;
            else if (rc != LIBEVDEV_READ_STATUS_SYNC)
                return false;
        }
    }

    void run() {
        for (;;) {
            std::vector<pollfd> fds{{wake[0], POLLIN, 0}};
            std::vector<Device*> polled;
            for (auto& device : devices)
                if (device.fd >= 0) {
                    fds.push_back({device.fd, POLLIN, 0});
                    polled.push_back(&device);
                }
            if (::poll(fds.data(), fds.size(), -1) < 0) {
                if (errno == EINTR)
                    continue;
                return;
            }
            if (fds[0].revents)
                return;
            for (std::size_t i = 0; i < polled.size(); ++i)
                if (fds[i + 1].revents && !drain(*polled[i])) {
                    log().error("The input device " + polled[i]->path +
                                " went away or cannot be read any more; the others are still read.");
                    close(*polled[i]);
                }
        }
    }
};

std::unique_ptr<InputDevices> InputDevices::open(KeyHandler key, const std::filesystem::path& folder) {
    auto reader = std::make_unique<Reader>();
    reader->key = std::move(key);
    for (const auto& path : eventDevices(folder)) {
        Reader::Device device{path.string(), ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC), nullptr};
        if (device.fd < 0)
            continue;
        // Only keyboards: devices with letter keys.
        if (libevdev_new_from_fd(device.fd, &device.evdev) == 0 && libevdev_has_event_code(device.evdev, EV_KEY, KEY_A))
            reader->devices.push_back(device);
        else
            Reader::close(device);
    }
    if (reader->devices.empty() || ::pipe2(reader->wake, O_CLOEXEC) != 0)
        return nullptr;
    Reader* r = reader.get();
    r->thread = std::thread([r] { r->run(); });
    return std::unique_ptr<InputDevices>(new InputDevices(std::move(reader)));
}

InputDevices::InputDevices(std::unique_ptr<Reader> reader) : reader_(std::move(reader)) {}

InputDevices::~InputDevices() {
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(reader_->wake[1], &byte, 1);
    if (reader_->thread.joinable())
        reader_->thread.join();
}

} // namespace tavrin
