"""The private desktop of scripts/virtual-desktop as the end-to-end scripts drive it: waits that
poll for their state with a limit, an application's controls on the accessibility bus (found by
name and role, pressed as a screen reader does, placed by their centre on the screen), and
screenshots into the artifacts folder."""
import os
import subprocess
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402


def wait_for(probe, seconds=10):
    """The first true value of `probe`, or None once `seconds` have passed."""
    until = time.time() + seconds
    while time.time() < until:
        value = probe()
        if value:
            return value
        time.sleep(0.1)
    return None


def shoot(folder, name, tool="import"):
    command = ["import", "-window", "root"] if tool == "import" else [tool]
    subprocess.run(command + [os.path.join(folder, name + ".png")], check=False)


def application(pid):
    """The application with this process id on the accessibility bus, or None."""
    desktop = Atspi.get_desktop(0)
    for i in range(desktop.get_child_count()):
        app = desktop.get_child_at_index(i)
        if app is not None and app.get_process_id() == pid:
            return app
    return None


def walk(node, depth=0):
    if node is None or depth > 30:
        return
    yield node, depth
    for i in range(node.get_child_count()):
        yield from walk(node.get_child_at_index(i), depth + 1)


def dump(app):
    for node, depth in walk(app):
        print("  " * depth + f"[{node.get_role_name()}] {node.get_name()!r}")


def showing(node):
    return node.get_state_set().contains(Atspi.StateType.SHOWING)


def checked(node):
    return node.get_state_set().contains(Atspi.StateType.CHECKED)


def find(app, name, role=None):
    """The first showing node of that name (GTK pads menu items with blanks) and role."""
    for node, _ in walk(app):
        if (node.get_name() or "").strip() == name and showing(node) and role in (None, node.get_role_name()):
            return node
    return None


def centre(node):
    e = node.get_extents(Atspi.CoordType.SCREEN)
    return e.x + e.width // 2, e.y + e.height // 2


def press(node):
    """Presses the node by its "Press" action (a menu item may list "SetFocus" first)."""
    action = node.get_action_iface()
    names = [action.get_action_name(i) for i in range(action.get_n_actions())]
    action.do_action(names.index("Press") if "Press" in names else 0)
