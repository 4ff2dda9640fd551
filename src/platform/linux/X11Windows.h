#pragma once

#include <X11/Xlib.h>
#include <optional>
#include <string>

namespace tavrin {

// Opens a connection to the X server (`name` empty: $DISPLAY); null when it cannot. The first call
// replaces Xlib's error handler, which ends the process, by one that ignores the error: a window
// can vanish between the moment it is found and the moment it is read (an application quitting),
// and every read here checks its own result.
Display* openDisplay(const std::string& name);

// The process that owns a window, from its _NET_WM_PID (`wmPid` is that atom); no value when the
// window does not say.
std::optional<int> windowPid(Display* display, Window window, Atom wmPid);

// The process of the top-level window at a root point: its own _NET_WM_PID, else that of the
// client inside it when it is a window manager's frame (so its title bar belongs to the client).
// No value over the bare root or windows that name no process.
std::optional<int> processAtPoint(Display* display, int x, int y, Atom wmPid);

} // namespace tavrin
