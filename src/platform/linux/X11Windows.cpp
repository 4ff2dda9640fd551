#include "platform/linux/X11Windows.h"

#include <X11/Xatom.h>
#include <mutex>
#include <vector>

namespace tavrin {

Display* openDisplay(const std::string& name) {
    static std::once_flag tolerant;
    std::call_once(tolerant, [] { XSetErrorHandler([](Display*, XErrorEvent*) { return 0; }); });
    return XOpenDisplay(name.empty() ? nullptr : name.c_str());
}

std::optional<int> windowPid(Display* display, Window window, Atom wmPid) {
    Atom type = 0;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    std::optional<int> pid;
    if (XGetWindowProperty(display, window, wmPid, 0, 1, False, XA_CARDINAL, &type, &format, &count, &after, &data) ==
            Success &&
        data) {
        if (format == 32 && count == 1)
            pid = static_cast<int>(*reinterpret_cast<long*>(data));
        XFree(data);
    }
    return pid;
}

namespace {

// The client window inside a window manager's frame: the first window of the subtree, breadth
// first, that carries WM_STATE.
Window clientOf(Display* display, Window frame, Atom wmState) {
    std::vector<Window> level{frame};
    for (int depth = 0; depth < 4 && !level.empty(); ++depth) {
        std::vector<Window> next;
        for (const Window window : level) {
            Atom type = None;
            int format = 0;
            unsigned long count = 0, after = 0;
            unsigned char* data = nullptr;
            if (XGetWindowProperty(display, window, wmState, 0, 0, False, AnyPropertyType, &type, &format, &count,
                                   &after, &data) == Success) {
                if (data)
                    XFree(data);
                if (type != None)
                    return window;
            }
            Window root = None, parent = None, *children = nullptr;
            unsigned int childCount = 0;
            if (XQueryTree(display, window, &root, &parent, &children, &childCount)) {
                next.insert(next.end(), children, children + childCount);
                if (children)
                    XFree(children);
            }
        }
        level = std::move(next);
    }
    return None;
}

} // namespace

std::optional<int> processAtPoint(Display* display, int x, int y, Atom wmPid) {
    const Window root = DefaultRootWindow(display);
    Window topLevel = None;
    int cx = 0, cy = 0;
    if (!XTranslateCoordinates(display, root, root, x, y, &cx, &cy, &topLevel) || topLevel == None)
        return std::nullopt;
    if (const auto pid = windowPid(display, topLevel, wmPid))
        return pid;
    // A frame: its client says, wherever in the frame the point is (the title bar too).
    if (const Window client = clientOf(display, topLevel, XInternAtom(display, "WM_STATE", False)); client != None)
        return windowPid(display, client, wmPid);
    return std::nullopt;
}

} // namespace tavrin
