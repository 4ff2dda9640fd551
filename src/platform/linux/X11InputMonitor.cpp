#include "platform/linux/X11InputMonitor.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/keysym.h>
#include <cctype>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

namespace tavrin {

namespace {

// The catalogue's modifier names for the physical keys: Super is "command", Alt is "option".
std::uint64_t modifierFlag(KeySym sym) {
    switch (sym) {
    case XK_Super_L:
    case XK_Super_R:
    case XK_Meta_L:
    case XK_Meta_R:
        return ModifierFlags::command;
    case XK_Control_L:
    case XK_Control_R:
        return ModifierFlags::control;
    case XK_Alt_L:
    case XK_Alt_R:
    case XK_ISO_Level3_Shift:
        return ModifierFlags::option;
    case XK_Shift_L:
    case XK_Shift_R:
        return ModifierFlags::shift;
    default:
        return 0;
    }
}

// The key's text ignoring modifiers: the level-0 symbol's character, or its name lower-cased
// for keys without one ("return", "f5", "left").
std::optional<std::string> keyText(KeySym sym) {
    if (sym == NoSymbol)
        return std::nullopt;
    if (sym >= 0x20 && sym <= 0x7e)
        return std::string(1, static_cast<char>(std::tolower(static_cast<int>(sym))));
    if (sym >= 0xa0 && sym <= 0xff) { // Latin-1 letters and signs, as UTF-8
        std::string out;
        out.push_back(static_cast<char>(0xC0 | (sym >> 6)));
        out.push_back(static_cast<char>(0x80 | (sym & 0x3F)));
        return out;
    }
    const char* name = XKeysymToString(sym);
    if (!name)
        return std::nullopt;
    std::string text(name);
    for (auto& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

} // namespace

struct X11InputMonitor::Connection {
    Display* display = nullptr;
    int xiOpcode = 0;
    int xkbEvent = 0;
    std::set<int> heldKeys;                     // keycodes down now, for telling repeats apart
    std::uint64_t flags = 0;                    // modifiers held now
    std::map<int, std::uint64_t> heldModifiers; // keycode -> flag
    ~Connection() {
        if (display)
            XCloseDisplay(display);
    }
};

X11InputMonitor::X11InputMonitor(MainQueue& mainQueue, const std::string& displayName)
    : mainQueue_(mainQueue), connection_(std::make_unique<Connection>()) {
    auto& c = *connection_;
    c.display = XOpenDisplay(displayName.empty() ? nullptr : displayName.c_str());
    if (!c.display)
        throw std::runtime_error("cannot open the X11 display");
    int event = 0, error = 0;
    if (!XQueryExtension(c.display, "XInputExtension", &c.xiOpcode, &event, &error))
        throw std::runtime_error("the X11 display has no XInput extension");
    // From 2.1 on, raw events reach the root window while another client holds a grab too: an
    // open menu grabs the pointer, and a click on its item must still count.
    int major = 2, minor = 2;
    if (XIQueryVersion(c.display, &major, &minor) != Success)
        throw std::runtime_error("the X11 display has no XInput 2");
    int xkbMajor = XkbMajorVersion, xkbMinor = XkbMinorVersion, xkbOpcode = 0, xkbError = 0;
    if (XkbQueryExtension(c.display, &xkbOpcode, &c.xkbEvent, &xkbError, &xkbMajor, &xkbMinor))
        XkbSelectEvents(c.display, XkbUseCoreKbd, XkbMapNotifyMask, XkbMapNotifyMask);

    unsigned char mask[XIMaskLen(XI_LASTEVENT)] = {};
    XISetMask(mask, XI_RawButtonPress);
    XISetMask(mask, XI_RawKeyPress);
    XISetMask(mask, XI_RawKeyRelease);
    XIEventMask eventMask{XIAllMasterDevices, sizeof mask, mask};
    XISelectEvents(c.display, DefaultRootWindow(c.display), &eventMask, 1);
    XFlush(c.display);

    if (::pipe(wakeFds_) != 0)
        throw std::runtime_error("cannot create the input thread's wake-up pipe");
    thread_ = std::thread([this] { run(); });
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
        if (event.type == c.xkbEvent) {
            // The keymap changed (another layout): Xlib refreshes its copy on this event.
            XRefreshKeyboardMapping(&event.xmapping);
            continue;
        }
        if (event.xcookie.type != GenericEvent || event.xcookie.extension != c.xiOpcode ||
            !XGetEventData(c.display, &event.xcookie))
            continue;
        const auto* raw = static_cast<const XIRawEvent*>(event.xcookie.data);
        switch (event.xcookie.evtype) {
        case XI_RawButtonPress: {
            // 1 is the left button and 3 the right; 4 to 7 are scrolling.
            if (raw->detail == 1 || raw->detail == 3) {
                Window root, child;
                int rootX = 0, rootY = 0, winX = 0, winY = 0;
                unsigned int buttons = 0;
                XQueryPointer(c.display, DefaultRootWindow(c.display), &root, &child, &rootX, &rootY, &winX, &winY,
                              &buttons);
                const int height = DisplayHeight(c.display, DefaultScreen(c.display));
                deliverMouse(raw->detail == 1 ? MouseButton::left : MouseButton::right,
                             {static_cast<double>(rootX), static_cast<double>(height - rootY)});
            }
            break;
        }
        case XI_RawKeyPress:
        case XI_RawKeyRelease: {
            const bool press = event.xcookie.evtype == XI_RawKeyPress;
            const int keycode = raw->detail;
            const KeySym sym = XkbKeycodeToKeysym(c.display, static_cast<KeyCode>(keycode), 0, 0);
            if (const auto flag = modifierFlag(sym)) {
                // Drop a release of a modifier that is not held (they come twice on some setups).
                if (press)
                    c.heldModifiers[keycode] = flag;
                else if (!c.heldModifiers.erase(keycode))
                    break;
                std::uint64_t flags = 0;
                for (const auto& [code, f] : c.heldModifiers)
                    flags |= f;
                c.flags = flags;
                deliverKey({KeyEvent::Type::flagsChanged, std::nullopt, false, flags});
                break;
            }
            KeyEvent key;
            key.characters = keyText(sym);
            key.modifierFlags = c.flags;
            if (press) {
                key.type = KeyEvent::Type::keyDown;
                key.isRepeat = !c.heldKeys.insert(keycode).second;
            } else {
                key.type = KeyEvent::Type::keyUp;
                c.heldKeys.erase(keycode);
            }
            deliverKey(key);
            break;
        }
        default:
            break;
        }
        XFreeEventData(c.display, &event.xcookie);
    }
}

void X11InputMonitor::deliverMouse(MouseButton button, Point position) {
    std::weak_ptr<bool> alive = alive_;
    mainQueue_.post([this, alive, button, position] {
        if (!alive.lock())
            return;
        for (const auto& [token, handler] : std::map(mouseHandlers_))
            handler(button, position);
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

std::optional<InputMonitor::Token>
X11InputMonitor::addMouseDownMonitor(std::function<void(MouseButton, Point)> handler) {
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
