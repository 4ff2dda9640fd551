#include <X11/Xatom.h>
#include <fstream>

#include "platform/linux/AtspiWorker.h"
#include "platform/linux/X11Windows.h"

namespace tavrin::atspi {

int gtkScaleOf(int pid) {
    std::ifstream environ("/proc/" + std::to_string(pid) + "/environ", std::ios::binary);
    std::string entry;
    while (std::getline(environ, entry, '\0')) {
        if (entry.rfind("GDK_SCALE=", 0) == 0) {
            const int scale = std::atoi(entry.c_str() + 10);
            return scale >= 1 && scale <= 8 ? scale : 1;
        }
    }
    return 1;
}

WindowUnderPoint windowAt(AtspiAccessibility::Worker& w, int x, int y) {
    WindowUnderPoint found;
    Display* display = w.display;
    const Window root = DefaultRootWindow(display);
    Window window = root, child = None;
    int cx = 0, cy = 0;
    for (int depth = 0; depth < 16 && !found.pid; ++depth) {
        if (!XTranslateCoordinates(display, root, window, x, y, &cx, &cy, &child) || child == None)
            break;
        window = child;
        XWindowAttributes attributes{};
        if (depth == 0 && XGetWindowAttributes(display, window, &attributes)) {
            found.popup = attributes.override_redirect;
            found.top = ScreenRect{attributes.x, attributes.y, attributes.width, attributes.height};
        }
        found.pid = windowPid(display, window, w.wmPid);
        if (found.pid && XGetWindowAttributes(display, window, &attributes)) {
            int rootX = 0, rootY = 0;
            Window ignored = None;
            XTranslateCoordinates(display, window, root, 0, 0, &rootX, &rootY, &ignored);
            found.client = ScreenRect{rootX, rootY, attributes.width, attributes.height};
        }
    }
    if (!found.pid && found.popup) {
        // Some toolkits leave the process off their menu windows; a menu belongs to the
        // application in front.
        Atom type = 0;
        int format = 0;
        unsigned long count = 0, after = 0;
        unsigned char* data = nullptr;
        if (XGetWindowProperty(display, root, w.activeWindow, 0, 1, False, XA_WINDOW, &type, &format, &count, &after,
                               &data) == Success &&
            data) {
            if (format == 32 && count == 1)
                found.pid = windowPid(display, static_cast<Window>(*reinterpret_cast<long*>(data)), w.wmPid);
            XFree(data);
        }
    }
    return found;
}

} // namespace tavrin::atspi
