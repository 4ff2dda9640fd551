#include "platform/linux/X11GlobalShortcut.h"

#include <poll.h>
#include <stdexcept>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon.h>

namespace tavrin {

namespace {

// Replies and errors of xcb are malloc'd.
template <class T> std::unique_ptr<T, decltype(&std::free)> owned(T* pointer) {
    return {pointer, &std::free};
}

constexpr std::uint8_t kBadAccess = 10;

// The modifier bit (Mod1 to Mod5) that holds a key producing one of `keysyms`; 0 when none does.
std::uint16_t modifierOf(xcb_connection_t* connection, const std::vector<xcb_keysym_t>& keysyms) {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const auto mapping = owned(xcb_get_keyboard_mapping_reply(
        connection,
        xcb_get_keyboard_mapping(connection, setup->min_keycode,
                                 static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1)),
        nullptr));
    const auto modifiers =
        owned(xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr));
    if (!mapping || !modifiers)
        return 0;
    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(mapping.get());
    const int perKeycode = mapping->keysyms_per_keycode;
    const xcb_keycode_t* keycodes = xcb_get_modifier_mapping_keycodes(modifiers.get());
    const int perModifier = modifiers->keycodes_per_modifier;
    for (int modifier = 3; modifier < 8; ++modifier) // Mod1 to Mod5
        for (int i = 0; i < perModifier; ++i) {
            const xcb_keycode_t keycode = keycodes[modifier * perModifier + i];
            if (keycode < setup->min_keycode)
                continue;
            for (int level = 0; level < perKeycode; ++level) {
                const xcb_keysym_t symbol = symbols[(keycode - setup->min_keycode) * perKeycode + level];
                for (const xcb_keysym_t wanted : keysyms)
                    if (symbol == wanted)
                        return static_cast<std::uint16_t>(1u << modifier);
            }
        }
    return 0;
}

// The first keycode that types `keysym` at the first two levels; 0 when none does.
std::uint8_t keycodeOf(xcb_connection_t* connection, xcb_keysym_t keysym) {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const auto mapping = owned(xcb_get_keyboard_mapping_reply(
        connection,
        xcb_get_keyboard_mapping(connection, setup->min_keycode,
                                 static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1)),
        nullptr));
    if (!mapping)
        return 0;
    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(mapping.get());
    const int perKeycode = mapping->keysyms_per_keycode;
    const int count = setup->max_keycode - setup->min_keycode + 1;
    for (int level = 0; level < std::min(perKeycode, 2); ++level)
        for (int k = 0; k < count; ++k)
            if (symbols[k * perKeycode + level] == keysym)
                return static_cast<std::uint8_t>(setup->min_keycode + k);
    return 0;
}

} // namespace

X11GlobalShortcut::X11GlobalShortcut(MainQueue& mainQueue, const std::string& displayName) : mainQueue_(mainQueue) {
    int screenNumber = 0;
    connection_ = xcb_connect(displayName.empty() ? nullptr : displayName.c_str(), &screenNumber);
    if (xcb_connection_has_error(connection_)) {
        xcb_disconnect(connection_);
        throw std::runtime_error("cannot open the X11 display");
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
    for (int i = 0; i < screenNumber && screens.rem; ++i)
        xcb_screen_next(&screens);
    root_ = screens.data->root;
    if (::pipe(wakeFds_) != 0) {
        xcb_disconnect(connection_);
        throw std::runtime_error("cannot create the shortcut reader's wake-up pipe");
    }
    thread_ = std::thread([this] { run(); });
}

X11GlobalShortcut::~X11GlobalShortcut() {
    *alive_ = false;
    ungrab();
    const char byte = 0;
    [[maybe_unused]] auto written = ::write(wakeFds_[1], &byte, 1);
    if (thread_.joinable())
        thread_.join();
    for (int fd : wakeFds_)
        ::close(fd);
    xcb_disconnect(connection_);
}

std::optional<X11GlobalShortcut::Grab> X11GlobalShortcut::grab(const KeyCombination& combination,
                                                               std::string& problem) {
    const std::string text = keyCombinationText(combination);
    const xkb_keysym_t keysym = xkb_keysym_from_name(combination.key.c_str(), XKB_KEYSYM_CASE_INSENSITIVE);
    if (keysym == XKB_KEY_NoSymbol) {
        problem = text + " names no key of an X11 keyboard";
        return std::nullopt;
    }
    Grab grab;
    grab.keycode = keycodeOf(connection_, keysym);
    if (!grab.keycode) {
        problem = text + ": the keyboard layout has no key for " + combination.key;
        return std::nullopt;
    }
    // Alt and Super sit on whichever Mod bit the keymap gives them; Mod1 and Mod4 as usual.
    const auto orUsual = [](std::uint16_t found, std::uint16_t usual) { return found ? found : usual; };
    const std::uint16_t alt =
        orUsual(modifierOf(connection_, {XKB_KEY_Alt_L, XKB_KEY_Alt_R, XKB_KEY_Meta_L}), XCB_MOD_MASK_1);
    const std::uint16_t super = orUsual(modifierOf(connection_, {XKB_KEY_Super_L, XKB_KEY_Super_R}), XCB_MOD_MASK_4);
    const std::uint16_t numLock = orUsual(modifierOf(connection_, {XKB_KEY_Num_Lock}), XCB_MOD_MASK_2);
    grab.relevant = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | alt | super;
    grab.modifiers = static_cast<std::uint16_t>((combination.shift ? XCB_MOD_MASK_SHIFT : 0) |
                                                (combination.control ? XCB_MOD_MASK_CONTROL : 0) |
                                                (combination.alt ? alt : 0) | (combination.super ? super : 0));
    // The same press with Caps Lock or Num Lock on is the same shortcut to the user.
    lockVariants_ = {0, XCB_MOD_MASK_LOCK, numLock, static_cast<std::uint16_t>(XCB_MOD_MASK_LOCK | numLock)};
    std::vector<xcb_void_cookie_t> cookies;
    for (const std::uint16_t lock : lockVariants_)
        cookies.push_back(xcb_grab_key_checked(connection_, 1, root_, static_cast<std::uint16_t>(grab.modifiers | lock),
                                               grab.keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    bool taken = false, failed = false;
    for (const auto cookie : cookies)
        if (const auto error = owned(xcb_request_check(connection_, cookie))) {
            (error->error_code == kBadAccess ? taken : failed) = true;
        }
    if (taken || failed) {
        for (const std::uint16_t lock : lockVariants_)
            xcb_ungrab_key(connection_, grab.keycode, root_, static_cast<std::uint16_t>(grab.modifiers | lock));
        xcb_flush(connection_);
        problem = taken ? text + " is taken by another application" : text + " cannot be grabbed on this display";
        return std::nullopt;
    }
    return grab;
}

void X11GlobalShortcut::ungrab() {
    std::lock_guard lock(mutex_);
    if (!grab_)
        return;
    for (const std::uint16_t variant : lockVariants_)
        xcb_ungrab_key(connection_, grab_->keycode, root_, static_cast<std::uint16_t>(grab_->modifiers | variant));
    xcb_flush(connection_);
    grab_.reset();
}

void X11GlobalShortcut::bind(const KeyCombination& combination, std::function<void(const Binding&)> done,
                             std::function<void(const Activation&)> activated) {
    ungrab();
    combination_ = combination;
    done_ = std::move(done);
    activated_ = std::move(activated);
    std::string problem;
    auto made = grab(combination, problem);
    {
        std::lock_guard lock(mutex_);
        grab_ = made;
    }
    const Binding binding{made.has_value(), made ? keyCombinationText(combination) : std::string(), problem};
    std::weak_ptr<bool> alive = alive_;
    // Answered on a later turn, as a desktop portal answers.
    mainQueue_.post([this, alive, binding, done = done_] {
        if (alive.lock() && done)
            done(binding);
    });
}

void X11GlobalShortcut::unbind() {
    ungrab();
    combination_.reset();
    done_ = nullptr;
    activated_ = nullptr;
}

void X11GlobalShortcut::run() {
    pollfd fds[2] = {{xcb_get_file_descriptor(connection_), POLLIN, 0}, {wakeFds_[0], POLLIN, 0}};
    std::weak_ptr<bool> alive = alive_;
    for (;;) {
        while (const auto event = owned(xcb_poll_for_event(connection_))) {
            const std::uint8_t type = event->response_type & 0x7f;
            if (type == XCB_KEY_PRESS) {
                const auto* press = reinterpret_cast<const xcb_key_press_event_t*>(event.get());
                std::lock_guard lock(mutex_);
                if (!grab_ || press->detail != grab_->keycode || (press->state & grab_->relevant) != grab_->modifiers)
                    continue;
                const std::uint32_t time = press->time;
                mainQueue_.post([this, alive, time] {
                    if (alive.lock() && activated_)
                        activated_({time, {}});
                });
            } else if (type == XCB_MAPPING_NOTIFY) {
                // Another layout: the combination may sit on other keys now.
                mainQueue_.post([this, alive] {
                    if (alive.lock() && combination_)
                        bind(*combination_, done_, activated_);
                });
            }
        }
        if (xcb_connection_has_error(connection_))
            return;
        if (::poll(fds, 2, -1) < 0)
            continue;
        if (fds[1].revents)
            return;
    }
}

} // namespace tavrin
