#include "platform/linux/X11InputMonitor.h"
#include "platform/linux/X11Windows.h"

#include "platform/common/Threads.h"
#include "platform/linux/X11Keys.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/keysym.h>
#include <poll.h>
#include <stdexcept>
#include <string_view>
#include <unistd.h>

namespace tavrin {

namespace {

// Which X modifier bits the catalogue's modifiers sit on in the current keymap. Meta usually
// shares Alt's bit, which then stays "option".
ModifierMasks readModifierMasks(Display* display) {
    const auto bits = [display](std::initializer_list<KeySym> syms) {
        unsigned mask = 0;
        for (const KeySym sym : syms)
            mask |= XkbKeysymToModifiers(display, sym);
        return mask;
    };
    ModifierMasks masks;
    masks.shift = bits({XK_Shift_L, XK_Shift_R});
    masks.control = bits({XK_Control_L, XK_Control_R});
    masks.option = bits({XK_Alt_L, XK_Alt_R, XK_ISO_Level3_Shift});
    masks.command = bits({XK_Super_L, XK_Super_R}) | (bits({XK_Meta_L, XK_Meta_R}) & ~masks.option);
    return masks;
}

} // namespace

struct X11InputMonitor::Connection {
    Display* display = nullptr;
    int xiOpcode = 0;
    bool hasXkb = false;
    int xkbEvent = 0;
    ModifierMasks masks;
    KeyEventTranslator keys;
    Atom wmPid = None;
    int ownPid = ::getpid();
    // The X server's test devices, through which programs click for the user (XTEST).
    std::set<int> testDevices;
    ~Connection() {
        if (display)
            XCloseDisplay(display);
    }
};

X11InputMonitor::X11InputMonitor(MainQueue& mainQueue, const std::string& displayName)
    : mainQueue_(mainQueue), connection_(std::make_unique<Connection>()) {
    auto& c = *connection_;
    c.display = openDisplay(displayName);
    if (!c.display)
        throw std::runtime_error("cannot open the X11 display");
    c.wmPid = XInternAtom(c.display, "_NET_WM_PID", False);
    int event = 0, error = 0;
    if (!XQueryExtension(c.display, "XInputExtension", &c.xiOpcode, &event, &error))
        throw std::runtime_error("the X11 display has no XInput extension");
    // From 2.1 on, raw events reach the root window while another client holds a grab too: an
    // open menu grabs the pointer, and a click on its item must still count.
    int major = 2, minor = 2;
    if (XIQueryVersion(c.display, &major, &minor) != Success)
        throw std::runtime_error("the X11 display has no XInput 2");
    int xkbMajor = XkbMajorVersion, xkbMinor = XkbMinorVersion, xkbOpcode = 0, xkbError = 0;
    c.hasXkb = XkbQueryExtension(c.display, &xkbOpcode, &c.xkbEvent, &xkbError, &xkbMajor, &xkbMinor);
    if (c.hasXkb) {
        // Keymap changes, and every change of the held or latched modifiers: these state events
        // come in order with the raw key events, so each key meets the modifiers of its moment.
        XkbSelectEvents(c.display, XkbUseCoreKbd, XkbMapNotifyMask, XkbMapNotifyMask);
        constexpr unsigned long held = XkbModifierBaseMask | XkbModifierLatchMask;
        XkbSelectEventDetails(c.display, XkbUseCoreKbd, XkbStateNotify, held, held);
        c.masks = readModifierMasks(c.display);
    }

    int devices = 0;
    if (XIDeviceInfo* info = XIQueryDevice(c.display, XIAllDevices, &devices)) {
        for (int i = 0; i < devices; ++i)
            if (info[i].name && std::string_view(info[i].name).find("XTEST") != std::string_view::npos)
                c.testDevices.insert(info[i].deviceid);
        XIFreeDeviceInfo(info);
    }

    unsigned char mask[XIMaskLen(XI_LASTEVENT)] = {};
    XISetMask(mask, XI_RawButtonPress);
    XISetMask(mask, XI_RawKeyPress);
    XISetMask(mask, XI_RawKeyRelease);
    XIEventMask eventMask{XIAllMasterDevices, sizeof mask, mask};
    XISelectEvents(c.display, DefaultRootWindow(c.display), &eventMask, 1);
    XFlush(c.display);

    if (::pipe(wakeFds_) != 0)
        throw std::runtime_error("cannot create the input thread's wake-up pipe");
    thread_ = startThread([this] { run(); });
}

X11InputMonitor::~X11InputMonitor() {
    *alive_ = false;
    stopping_ = true;
    if (wakeFds_[1] >= 0) {
        const char byte = 0;
        [[maybe_unused]] auto written = ::write(wakeFds_[1], &byte, 1);
    }
    if (thread_.joinable())
        thread_.join();
    for (int fd : wakeFds_)
        if (fd >= 0)
            ::close(fd);
}

void X11InputMonitor::run() {
    auto& c = *connection_;
    if (c.hasXkb) {
        // Modifiers held before the start count from the first key on.
        XkbStateRec state{};
        if (XkbGetState(c.display, XkbUseCoreKbd, &state) == Success)
            for (const auto& key :
                 c.keys.keyboardModifiers(modifierFlags(state.base_mods | state.latched_mods, c.masks)))
                deliverKey(key);
    }
    pollfd fds[2] = {{ConnectionNumber(c.display), POLLIN, 0}, {wakeFds_[0], POLLIN, 0}};
    while (!stopping_) {
        if (!XPending(c.display)) {
            if (::poll(fds, 2, -1) < 0)
                continue;
            if (fds[1].revents)
                break;
            if (fds[0].revents & (POLLERR | POLLHUP))
                break; // the display went away
            if (!XPending(c.display))
                continue;
        }
        XEvent event;
        XNextEvent(c.display, &event);
        if (c.hasXkb && event.type == c.xkbEvent) {
            const auto& xkb = reinterpret_cast<const XkbEvent&>(event);
            if (xkb.any.xkb_type == XkbStateNotify) {
                const auto& state = xkb.state;
                for (const auto& key : c.keys.keyboardModifiers(
                         modifierFlags(static_cast<unsigned>(state.base_mods | state.latched_mods), c.masks)))
                    deliverKey(key);
            } else if (xkb.any.xkb_type == XkbMapNotify) {
                // Another layout: Xlib refreshes its copy of the keymap on this event, and the
                // modifiers may sit on other bits now.
                XRefreshKeyboardMapping(&event.xmapping);
                c.masks = readModifierMasks(c.display);
            }
            continue;
        }
        if (event.xcookie.type != GenericEvent || event.xcookie.extension != c.xiOpcode ||
            !XGetEventData(c.display, &event.xcookie))
            continue;
        const auto* raw = static_cast<const XIRawEvent*>(event.xcookie.data);
        switch (event.xcookie.evtype) {
        case XI_RawButtonPress: {
            // 1 is the left button and 3 the right; 4 to 7 are scrolling; 2 is the middle one, 8
            // and up the side buttons.
            if (raw->detail < 4 || raw->detail > 7) {
                Window root, child;
                int rootX = 0, rootY = 0, winX = 0, winY = 0;
                unsigned int buttons = 0;
                XQueryPointer(c.display, DefaultRootWindow(c.display), &root, &child, &rootX, &rootY, &winX, &winY,
                              &buttons);
                // Clicks in this program's own windows are not other applications' clicks.
                if (processAtPoint(c.display, rootX, rootY, c.wmPid) == c.ownPid)
                    break;
                const int height = DisplayHeight(c.display, DefaultScreen(c.display));
                const MouseButton button = raw->detail == 1   ? MouseButton::left
                                           : raw->detail == 3 ? MouseButton::right
                                                              : MouseButton::other;
                deliverMouse({button,
                              flipped(TopLeftPoint{static_cast<double>(rootX), static_cast<double>(rootY)}, height),
                              c.testDevices.count(raw->sourceid) > 0});
            }
            break;
        }
        case XI_RawKeyPress:
        case XI_RawKeyRelease: {
            const bool press = event.xcookie.evtype == XI_RawKeyPress;
            const int keycode = raw->detail;
            const KeySym sym = XkbKeycodeToKeysym(c.display, static_cast<KeyCode>(keycode), 0, 0);
            for (const auto& key : c.keys.key(press, keycode, sym))
                deliverKey(key);
            break;
        }
        default:
            break;
        }
        XFreeEventData(c.display, &event.xcookie);
    }
}

void X11InputMonitor::deliverMouse(const MouseDown& down) {
    std::weak_ptr<bool> alive = alive_;
    mainQueue_.post([this, alive, down] {
        if (!alive.lock())
            return;
        for (const auto& [token, handler] : std::map(mouseHandlers_))
            handler(down);
    });
}

void X11InputMonitor::deliverKey(const KeyEvent& event) {
    std::weak_ptr<bool> alive = alive_;
    mainQueue_.post([this, alive, event] {
        if (!alive.lock())
            return;
        for (const auto& [token, handler] : std::map(keyHandlers_))
            handler(event);
    });
}

std::optional<InputMonitor::Token> X11InputMonitor::addMouseDownMonitor(std::function<void(const MouseDown&)> handler) {
    mouseHandlers_[nextToken_] = std::move(handler);
    return nextToken_++;
}

std::optional<InputMonitor::Token> X11InputMonitor::addKeyMonitor(std::function<void(const KeyEvent&)> handler) {
    keyHandlers_[nextToken_] = std::move(handler);
    return nextToken_++;
}

void X11InputMonitor::removeMonitor(Token token) {
    mouseHandlers_.erase(token);
    keyHandlers_.erase(token);
}

} // namespace tavrin
