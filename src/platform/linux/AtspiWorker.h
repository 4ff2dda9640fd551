#pragma once

// What the parts of the AT-SPI accessibility share: the worker thread's state, references to
// accessibility objects, and the steps of an element lookup. Only the files of AtspiAccessibility
// include this.

#include <X11/Xlib.h>
#include <atspi/atspi.h>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <functional>
#include <gio/gio.h>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/AtspiMenuSelection.h"

namespace tavrin {

struct AtspiAccessibility::Worker {
    std::thread thread;
    mutable std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::function<void()>> tasks;
    bool stopping = false;
    Display* display = nullptr; // worker thread only
    Atom wmPid = 0, wmState = 0, activeWindow = 0;
    std::map<int, std::chrono::steady_clock::time_point> timedOut; // worker thread only
    // Of the one instance in the process that turns GLib's default context between tasks too (the
    // others turn it only before a task, as two threads waiting in it would take each other's
    // answers); null for the others. Worker thread only.
    std::unique_ptr<atspi::AtspiMenuSelection> menuSelection;

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

namespace atspi {

inline std::string takeString(gchar* text) {
    if (!text)
        return {};
    std::string out(text);
    g_free(text);
    return out;
}

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
    // Whether `inner` lies inside, give or take a border's width.
    bool encloses(const ScreenRect& inner) const {
        constexpr int slack = 4;
        return inner.x >= x - slack && inner.y >= y - slack && inner.x + inner.width <= x + width + slack &&
               inner.y + inner.height <= y + height + slack;
    }
    int distance(const ScreenRect& other) const {
        return std::abs(x - other.x) + std::abs(y - other.y) + std::abs(width - other.width) +
               std::abs(height - other.height);
    }
};

inline bool hasState(AtspiAccessible* a, AtspiStateType state) {
    Owned<AtspiStateSet> states(atspi_accessible_get_state_set(a));
    return states && atspi_state_set_contains(states.get(), state);
}

inline std::optional<ScreenRect> extentsOf(AtspiAccessible* a, GError** error) {
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

inline bool showingAt(AtspiAccessible* a, int x, int y, GError** error) {
    if (!hasState(a, ATSPI_STATE_SHOWING))
        return false;
    const auto extents = extentsOf(a, error);
    return extents && extents->contains(x, y);
}

inline bool isMenuRole(AtspiRole role) {
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
    ElementFinding foundBy = ElementFinding::hitTest;
};

inline Found failure(std::string error) {
    return {ElementAtPoint::Outcome::error, nullptr, 0, std::move(error)};
}

struct WindowUnderPoint {
    bool popup = false; // an override-redirect window: a menu, a tooltip, a combo box list
    std::optional<int> pid;
    std::optional<ScreenRect> client;
    std::optional<ScreenRect> top; // the top-level window under the point (for a popup, the popup)
};

// The X11 side of a lookup: the client window under the point and what it says about itself
// (AtspiWindowAtPoint.cpp). Worker thread.
WindowUnderPoint windowAt(AtspiAccessibility::Worker& w, int x, int y);
// GDK_SCALE from the process's environment, 1 when unset or unreadable.
int gtkScaleOf(int pid);

// The accessibility application of a process, if it is on the bus (AtspiSearch.cpp). Worker thread.
Owned<AtspiAccessible> applicationOf(int pid);
// The element under the point (AtspiSearch.cpp). Worker thread.
Found findElement(AtspiAccessibility::Worker& w, TopLeftPoint point);
// The element at `local`, in the coordinates of the frame of process `pid` that is in front (its
// `title` tells it apart from the process's other frames), level by level: for Wayland, where a
// desktop helper knows the window and the point in it (AtspiSearch.cpp). Worker thread.
Found findElementInFrame(AtspiAccessibility::Worker& w, int pid, const std::string& title, TopLeftPoint local);

// An element of another application's tree that keeps `accessible` (a reference it takes over) and
// asks through `owner`'s worker thread (AtspiElement.cpp).
AccessibleElementRef makeElement(const AtspiAccessibility& owner, AtspiAccessible* accessible, int pid);

} // namespace atspi
} // namespace tavrin
