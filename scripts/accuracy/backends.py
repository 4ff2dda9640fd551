"""The seam between the measurement and the desktop it runs on: where a control lies on the
screen, how to press it, and the windows of the applications. The measurement itself (measure.py)
and the tree search (tree.py) are the same on every desktop.

A backend offers:
  windows()                    the application windows on screen, as opaque ids
  window_pid(window)           the process that shows a window
  place(window, x, y, w, h)    moves and sizes a window (best effort)
  activate(window)             brings a window to the front with the keyboard focus
  locate(node)                 the screen point at the centre of an accessible node, or None
  click(x, y, hold)            presses the left button at a point for `hold` seconds
  key(combo), type(text)       keyboard input to the window in front ("ctrl+a", "Escape")

X11Backend reads AT-SPI's screen extents and drives xdotool. A Wayland backend takes the window's
place from the compositor (swaymsg -t get_tree) and adds the node's window-local extents
(Atspi.CoordType.WINDOW), since native Wayland clients report every frame at (0, 0); it presses
through a virtual-pointer client and types with wtype.
"""
import re
import subprocess
import time

from tree import Atspi, safe


def run(*command, check=False, timeout=20):
    return subprocess.run(command, capture_output=True, text=True, timeout=timeout, check=check).stdout


class X11Backend:
    name = "x11"

    def windows(self):
        out = run("xprop", "-root", "_NET_CLIENT_LIST")
        return re.findall(r"0x[0-9a-f]+", out)

    def window_pid(self, window):
        match = re.search(r"= (\d+)", run("xprop", "-id", window, "_NET_WM_PID"))
        return int(match.group(1)) if match else None

    def place(self, window, x, y, width, height):
        run("xdotool", "windowsize", "--sync", window, str(width), str(height))
        run("xdotool", "windowmove", "--sync", window, str(x), str(y))

    def activate(self, window):
        run("xdotool", "windowactivate", "--sync", window)
        time.sleep(0.2)

    def front_window(self):
        match = re.search(r"0x[0-9a-f]+", run("xprop", "-root", "_NET_ACTIVE_WINDOW"))
        return match.group(0) if match else None

    def locate(self, node):
        box = safe(lambda: node.get_extents(Atspi.CoordType.SCREEN))
        if box is None or box.width <= 0 or box.height <= 0:
            return None
        return box.x + box.width // 2, box.y + box.height // 2

    def click(self, x, y, hold):
        run("xdotool", "mousemove", "--sync", str(x), str(y), "mousedown", "1", "sleep", f"{hold:.3f}",
            "mouseup", "1")

    def move_away(self):
        """Leaves the pointer where it hovers nothing (the desktop's bottom right corner)."""
        run("xdotool", "mousemove", "--sync", "1279", "799")

    def key(self, combo):
        run("xdotool", "key", "--delay", "60", *combo.split())

    def type(self, text):
        run("xdotool", "type", "--delay", "25", text)


BACKENDS = {"x11": X11Backend}
