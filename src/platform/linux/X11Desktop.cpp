#include "platform/linux/X11Desktop.h"
#include "foundation/Text.h"
#include "platform/Log.h"
#include "platform/common/Threads.h"
#include "platform/linux/X11Windows.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <gio/gio.h>
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <poll.h>
#include <signal.h>
#include <stdexcept>
#include <unistd.h>

namespace tavrin {

namespace {

// Browsers name themselves at the end of every title.
const std::vector<std::string> kKnownTitleSuffixes = {
    "Mozilla Firefox", "Firefox ESR", "Google Chrome", "Chromium", "Brave", "Vivaldi", "Opera", "Microsoft Edge"};

} // namespace

struct X11Desktop::X {
    Display* display = nullptr;      // main thread
    Display* watchDisplay = nullptr; // the activation watcher's own connection
    Atom activeWindow = 0, clientListStacking = 0, wmName = 0, utf8String = 0, wmPid = 0, workArea = 0, wmState = 0,
         wmStateHidden = 0;

    ~X() {
        if (display)
            XCloseDisplay(display);
        if (watchDisplay)
            XCloseDisplay(watchDisplay);
    }

    std::vector<unsigned char> property(Window window, Atom name, Atom type, unsigned long& count, int& format) const {
        Atom actualType = 0;
        unsigned long after = 0;
        unsigned char* data = nullptr;
        count = 0;
        format = 0;
        if (XGetWindowProperty(display, window, name, 0, 1 << 16, False, type, &actualType, &format, &count, &after,
                               &data) != Success ||
            !data)
            return {};
        const std::size_t bytes = count * (format == 32 ? sizeof(long) : static_cast<std::size_t>(format) / 8);
        std::vector<unsigned char> out(data, data + bytes);
        XFree(data);
        return out;
    }

    std::vector<Window> windows(Window window, Atom name) const {
        unsigned long count = 0;
        int format = 0;
        const auto raw = property(window, name, XA_WINDOW, count, format);
        std::vector<Window> out;
        if (format != 32)
            return out;
        const auto* values = reinterpret_cast<const long*>(raw.data());
        for (unsigned long i = 0; i < count; ++i)
            out.push_back(static_cast<Window>(values[i]));
        return out;
    }

    std::optional<long> cardinal(Window window, Atom name) const {
        unsigned long count = 0;
        int format = 0;
        const auto raw = property(window, name, XA_CARDINAL, count, format);
        if (format != 32 || count < 1)
            return std::nullopt;
        return reinterpret_cast<const long*>(raw.data())[0];
    }

    std::optional<std::string> title(Window window) const {
        unsigned long count = 0;
        int format = 0;
        auto raw = property(window, wmName, utf8String, count, format);
        if (raw.empty() || format != 8)
            raw = property(window, XA_WM_NAME, AnyPropertyType, count, format);
        if (format != 8)
            return std::nullopt;
        return std::string(raw.begin(), raw.end());
    }

    std::pair<std::string, std::string> wmClass(Window window) const {
        XClassHint hint{};
        if (!XGetClassHint(display, window, &hint))
            return {};
        std::pair<std::string, std::string> out{hint.res_name ? hint.res_name : "",
                                                hint.res_class ? hint.res_class : ""};
        if (hint.res_name)
            XFree(hint.res_name);
        if (hint.res_class)
            XFree(hint.res_class);
        return out;
    }

    bool isShown(Window window) const {
        XWindowAttributes attributes{};
        if (!XGetWindowAttributes(display, window, &attributes) || attributes.map_state != IsViewable)
            return false;
        unsigned long count = 0;
        int format = 0;
        const auto raw = property(window, wmState, XA_ATOM, count, format);
        if (format == 32) {
            const auto* atoms = reinterpret_cast<const long*>(raw.data());
            for (unsigned long i = 0; i < count; ++i)
                if (static_cast<Atom>(atoms[i]) == wmStateHidden)
                    return false; // minimised
        }
        return true;
    }
};

X11Desktop::X11Desktop(MainQueue& mainQueue, const std::string& displayName)
    : mainQueue_(mainQueue), x_(std::make_unique<X>()), entries_(DesktopEntryIndex::load(xdgApplicationFolders())),
      autostartFolder_(xdgAutostartFolder()) {
    x_->display = openDisplay(displayName);
    x_->watchDisplay = openDisplay(displayName);
    if (!x_->display || !x_->watchDisplay)
        throw std::runtime_error("cannot open the X11 display");
    auto atom = [this](const char* n) { return XInternAtom(x_->display, n, False); };
    x_->activeWindow = atom("_NET_ACTIVE_WINDOW");
    x_->clientListStacking = atom("_NET_CLIENT_LIST_STACKING");
    x_->wmName = atom("_NET_WM_NAME");
    x_->utf8String = atom("UTF8_STRING");
    x_->wmPid = atom("_NET_WM_PID");
    x_->workArea = atom("_NET_WORKAREA");
    x_->wmState = atom("_NET_WM_STATE");
    x_->wmStateHidden = atom("_NET_WM_STATE_HIDDEN");
    std::error_code ec;
    executable_ = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (::pipe(wakeFds_) != 0)
        throw std::runtime_error("cannot create the desktop watcher's wake-up pipe");
    watchActivation();
}

X11Desktop::~X11Desktop() {
    *alive_ = false;
    const char byte = 0;
    [[maybe_unused]] auto written = ::write(wakeFds_[1], &byte, 1);
    if (watcher_.joinable())
        watcher_.join();
    for (int fd : wakeFds_)
        if (fd >= 0)
            ::close(fd);
}

void X11Desktop::setAutostart(std::filesystem::path folder, std::filesystem::path executable) {
    autostartFolder_ = std::move(folder);
    executable_ = std::move(executable);
}

// A thread of its own waits for the window manager to change _NET_ACTIVE_WINDOW on the root.
void X11Desktop::watchActivation() {
    Display* display = x_->watchDisplay;
    const Atom active = XInternAtom(display, "_NET_ACTIVE_WINDOW", False);
    XSelectInput(display, DefaultRootWindow(display), PropertyChangeMask);
    XFlush(display);
    std::weak_ptr<bool> alive = alive_;
    watcher_ = startThread([this, display, active, alive] {
        pollfd fds[2] = {{ConnectionNumber(display), POLLIN, 0}, {wakeFds_[0], POLLIN, 0}};
        for (;;) {
            while (XPending(display)) {
                XEvent event;
                XNextEvent(display, &event);
                if (event.type == PropertyNotify && event.xproperty.atom == active)
                    mainQueue_.post([this, alive] {
                        if (!alive.lock())
                            return;
                        for (const auto& handler : std::vector(activationHandlers_))
                            handler();
                    });
            }
            if (::poll(fds, 2, -1) < 0)
                continue;
            if (fds[1].revents || (fds[0].revents & (POLLERR | POLLHUP)))
                return;
        }
    });
}

std::string X11Desktop::displayName(const std::string& instance, const std::string& wmClass,
                                    std::optional<int> pid) const {
    if (auto name = entries_.displayNameFor(instance, wmClass))
        return *name;
    if (pid && accessibility_)
        if (auto name = accessibility_->applicationName(*pid); name && !name->empty())
            return *name;
    return wmClass.empty() ? instance : wmClass;
}

std::string X11Desktop::stripApplicationSuffix(const std::string& title, const std::vector<std::string>& appNames) {
    for (const char* separator : {" - ", " \u2014 ", " \u2013 "}) {
        const auto at = title.rfind(separator);
        if (at == std::string::npos)
            continue;
        const auto tail = lowercased(title.substr(at + std::string(separator).size()));
        const auto matches = [&](const std::string& name) { return !name.empty() && lowercased(name) == tail; };
        if (std::any_of(appNames.begin(), appNames.end(), matches) ||
            std::any_of(kKnownTitleSuffixes.begin(), kKnownTitleSuffixes.end(), matches))
            return title.substr(0, at);
    }
    return title;
}

std::optional<std::string> X11Desktop::frontApplicationName() const {
    const auto active = x_->windows(DefaultRootWindow(x_->display), x_->activeWindow);
    // Some window managers briefly report None while focus moves.
    if (active.empty() || active.front() == None)
        return std::nullopt;
    const auto [instance, wmClass] = x_->wmClass(active.front());
    if (instance.empty() && wmClass.empty())
        return std::nullopt;
    const auto pid = x_->cardinal(active.front(), x_->wmPid);
    if (pid && static_cast<pid_t>(*pid) == ::getpid())
        return lastFront_;
    lastFront_ = displayName(instance, wmClass, pid ? std::optional<int>(static_cast<int>(*pid)) : std::nullopt);
    return lastFront_;
}

std::optional<WindowFocus::WindowId> X11Desktop::activeWindow() const {
    const auto active = x_->windows(DefaultRootWindow(x_->display), x_->activeWindow);
    if (active.empty() || active.front() == None)
        return std::nullopt;
    return static_cast<WindowId>(active.front());
}

bool X11Desktop::activateWindow(WindowId window, std::uint32_t timestamp) {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = static_cast<Window>(window);
    event.xclient.message_type = x_->activeWindow;
    event.xclient.format = 32;
    event.xclient.data.l[0] = 2; // a pager: the user asked for it
    event.xclient.data.l[1] = static_cast<long>(timestamp);
    const bool sent = XSendEvent(x_->display, DefaultRootWindow(x_->display), False,
                                 SubstructureRedirectMask | SubstructureNotifyMask, &event) != 0;
    XFlush(x_->display);
    return sent;
}

std::optional<std::vector<WindowInfo>> X11Desktop::onScreenWindows() const {
    auto stacking = x_->windows(DefaultRootWindow(x_->display), x_->clientListStacking);
    std::reverse(stacking.begin(), stacking.end()); // front first
    std::vector<WindowInfo> out;
    for (const Window window : stacking) {
        if (!x_->isShown(window))
            continue;
        const auto [instance, wmClass] = x_->wmClass(window);
        const auto pid = x_->cardinal(window, x_->wmPid);
        const auto owner =
            displayName(instance, wmClass, pid ? std::optional<int>(static_cast<int>(*pid)) : std::nullopt);
        WindowInfo info{owner, std::nullopt};
        if (const auto title = x_->title(window))
            info.name = stripApplicationSuffix(*title, {owner, wmClass, instance});
        out.push_back(std::move(info));
    }
    return out;
}

void X11Desktop::observeActivation(std::function<void()> handler) {
    activationHandlers_.push_back(std::move(handler));
}

std::vector<std::string> X11Desktop::applicationsToRestart() const {
    // Applications look for the switch when they start. Each application with a window is asked
    // for the element in the middle of the part of that window no other window covers.
    std::vector<std::string> unseen, seen;
    if (!accessibility_)
        return unseen;
    const Window root = DefaultRootWindow(x_->display);
    auto stacking = x_->windows(root, x_->clientListStacking);
    std::reverse(stacking.begin(), stacking.end()); // front first
    std::vector<TopLeftRect> covered;
    for (const Window window : stacking) {
        XWindowAttributes attributes{};
        int left = 0, top = 0;
        Window child = 0;
        if (!x_->isShown(window) || !XGetWindowAttributes(x_->display, window, &attributes) ||
            !XTranslateCoordinates(x_->display, window, root, 0, 0, &left, &top, &child))
            continue;
        const TopLeftRect frame{double(left), double(top), double(attributes.width), double(attributes.height)};
        const auto pid = x_->cardinal(window, x_->wmPid);
        std::optional<TopLeftPoint> probe;
        for (const auto& [fx, fy] : {std::pair{0.5, 0.5}, {0.25, 0.75}, {0.75, 0.75}, {0.25, 0.25}, {0.75, 0.25}}) {
            const TopLeftPoint point{frame.x + frame.width * fx, frame.y + frame.height * fy};
            const bool hidden =
                std::any_of(covered.begin(), covered.end(), [&](const TopLeftRect& r) { return r.contains(point); });
            if (!hidden) {
                probe = point;
                break;
            }
        }
        covered.push_back(frame);
        if (!pid || static_cast<pid_t>(*pid) == ::getpid() || !probe)
            continue;
        const auto [instance, wmClass] = x_->wmClass(window);
        const auto name = displayName(instance, wmClass, static_cast<int>(*pid));
        if (std::find(seen.begin(), seen.end(), name) != seen.end())
            continue;
        seen.push_back(name);
        if (!accessibility_->readsInsideWindowAt(*probe))
            unseen.push_back(name);
    }
    return unseen;
}

BottomLeftPoint X11Desktop::mouseLocation() const {
    Window root, child;
    int rootX = 0, rootY = 0, winX = 0, winY = 0;
    unsigned int buttons = 0;
    XQueryPointer(x_->display, DefaultRootWindow(x_->display), &root, &child, &rootX, &rootY, &winX, &winY, &buttons);
    const int height = DisplayHeight(x_->display, DefaultScreen(x_->display));
    return flipped(TopLeftPoint{static_cast<double>(rootX), static_cast<double>(rootY)}, height);
}

std::optional<BottomLeftRect> X11Desktop::mainScreenFrame() const {
    const int screen = DefaultScreen(x_->display);
    return BottomLeftRect{0, 0, static_cast<double>(DisplayWidth(x_->display, screen)),
                          static_cast<double>(DisplayHeight(x_->display, screen))};
}

std::optional<BottomLeftRect> X11Desktop::mainScreenVisibleFrame() const {
    const auto frame = mainScreenFrame();
    unsigned long count = 0;
    int format = 0;
    const auto raw = x_->property(DefaultRootWindow(x_->display), x_->workArea, XA_CARDINAL, count, format);
    if (format != 32 || count < 4)
        return frame;
    const auto* v = reinterpret_cast<const long*>(raw.data());
    // X11 counts from the top; the visible frame, like the pointer, counts from the bottom.
    const TopLeftRect area{static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2]),
                           static_cast<double>(v[3])};
    return flipped(area, frame->height);
}

bool X11Desktop::openUrl(const std::string& url) {
    // The desktop's handler for the URL's scheme starts detached; GLib reaps what it spawns.
    GError* error = nullptr;
    if (g_app_info_launch_default_for_uri(url.c_str(), nullptr, &error))
        return true;
    printLine("Cannot open " + url + ": " + (error && error->message ? error->message : "no application for it"));
    g_clear_error(&error);
    return false;
}

bool X11Desktop::setLoginItemEnabled(bool enabled) {
    return setAutostartEntry(autostartFolder_, executable_, enabled);
}

} // namespace tavrin
