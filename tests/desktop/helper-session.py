#!/usr/bin/python3
"""Tavrin with its desktop helper on the private GNOME Shell or KWin desktop, end to end.

The helper is installed and switched on as a user would (`tavrin helper install`, before the
desktop starts on GNOME, where the Shell loads extensions at login). Each row of CASES clicks an
element of a native Wayland GTK application with the desktop's injected pointer, where the
helper's window geometry and the element's place in its window say, and checks what Tavrin makes
of it: the element `tavrin inspect` finds at that point through the helper, and on GNOME that
`tavrin watch` is told of the press by the helper and finds the element (KWin scripts are told of
no press).

    scripts/desktops/gnome --before "TAVRIN helper install" tests/desktop/helper-session.py gnome TAVRIN ARTIFACTS
    TAVRIN_FAKE_INPUT=... scripts/desktops/kde tests/desktop/helper-session.py kde TAVRIN ARTIFACTS
"""
import os
import re
import subprocess
import sys
import tempfile
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from desktop import wait_for  # noqa: E402

DESKTOP, TAVRIN, ARTIFACTS = sys.argv[1], sys.argv[2], sys.argv[3]
INPUT = os.environ["TAVRIN_DESKTOP_INPUT"]
os.makedirs(ARTIFACTS, exist_ok=True)

# Mousepad with its tool bar: the elements (name, role) clicked, and the action `watch` then counts
# (None: none): tool bar buttons, which take no focus and send no event, and a menu title.
CASES = [
    ("Undo", "push button", "Undo"),
    ("New", "push button", "New Document"),
    ("File", "menu", None),
]

results = {"passed": 0, "failed": 0}


def check(condition, what):
    results["passed" if condition else "failed"] += 1
    print(("ok: " if condition else "FAIL: ") + what, flush=True)
    return condition


def tavrin(*args, **kwargs):
    return subprocess.run([TAVRIN, *args], capture_output=True, text=True, timeout=60, **kwargs)


def front_surface():
    """The window in front as the helper tells it: its process and its surface's origin."""
    out = tavrin("helper").stdout
    found = re.search(r'\(process (\d+)\).*in its surface at (-?\d+),(-?\d+)', out, re.S)
    return (int(found.group(1)), int(found.group(2)), int(found.group(3))) if found else None


def element_centre(pid, name, role):
    """The showing element's centre in its window (Wayland clients place it so)."""
    def walk(node, depth=0):
        if node is None or depth > 30:
            return None
        if depth > 1 and not node.get_state_set().contains(Atspi.StateType.SHOWING):
            return None
        if (node.get_name() or "").strip() == name and node.get_role_name() == role:
            return node
        for i in range(node.get_child_count()):
            found = walk(node.get_child_at_index(i), depth + 1)
            if found:
                return found
        return None

    def probe():
        desktop = Atspi.get_desktop(0)
        for i in range(desktop.get_child_count()):
            app = desktop.get_child_at_index(i)
            if app is not None and app.get_process_id() == pid:
                node = walk(app)
                if node:
                    e = node.get_extents(Atspi.CoordType.WINDOW)
                    return e.x + e.width // 2, e.y + e.height // 2
        return None

    return wait_for(probe)


def main():
    state = tavrin("helper").stdout
    check("running" in state, f"the helper runs on {DESKTOP}: {state.strip()}")
    data_dir = tempfile.mkdtemp(prefix="tavrin-helper-")
    tavrin("setup", "--yes", "--data-dir", data_dir)
    subprocess.run(["gsettings", "set", "org.xfce.mousepad.preferences.window", "toolbar-visible", "true"],
                   check=False)
    editor = subprocess.Popen(["mousepad"], stderr=subprocess.DEVNULL)
    watch = None
    try:
        front = wait_for(lambda: (lambda f: f if f and f[0] == editor.pid else None)(front_surface()), 15)
        if not check(front is not None, "the helper names mousepad in front"):
            return
        points = {}
        for name, role, _ in CASES:
            centre = element_centre(editor.pid, name, role)
            if check(centre is not None, f"{name} ({role}) is on the accessibility bus"):
                points[name] = (front[1] + centre[0], front[2] + centre[1])
        # The element at each point, as the helper and the accessibility bus find it.
        for name, (x, y) in points.items():
            found = tavrin("inspect", str(x), str(y))
            check(f'"{name}"' in found.stdout, f"inspect at {name} finds it: {found.stdout[:200]!r} {found.stderr!r}")
        if DESKTOP != "gnome":
            return
        log = open(os.path.join(ARTIFACTS, f"watch-{DESKTOP}.log"), "w")
        watch = subprocess.Popen([TAVRIN, "watch", "--data-dir", data_dir, "--verbose"], stdout=log, stderr=log)
        time.sleep(2.0)
        counted = {action: 0 for _, _, action in CASES if action}

        def latest_list():
            with open(log.name) as f:
                return f.read().split("Application: ")[-1]

        for name, _, action in CASES:
            x, y = points[name]
            subprocess.run([INPUT, "move", str(x), str(y), "down", "sleep", "120", "up"], check=True)
            time.sleep(1.5)
            with open(log.name) as f:
                after = f.read().split(f"Press 1 at {x},{y} in mousepad")
            check(len(after) > 1 and "in its window: found" in after[-1],
                  f"watch is told of the press on {name} and finds the element there")
            if action:
                counted[action] += 1
            # The last list printed: every action clicked so far, with its count (a click on no
            # action prints none).
            for done, times in ((a, n) for a, n in counted.items() if n):
                pattern = rf"\s{re.escape(done)}\s.*count {times}\s"
                check(wait_for(lambda: re.search(pattern, latest_list()), 3) is not None,
                      f"after {name}, watch counts {done} {times} time(s)")
            subprocess.run([INPUT, "key", "Escape"], check=False)  # closes a menu the click opened
            time.sleep(0.5)
    finally:
        if watch:
            watch.terminate()
            check(watch.wait(timeout=10) == 0, "watch ends cleanly")
        editor.terminate()
        editor.wait()
    print(f"{results['passed']} passed, {results['failed']} failed", flush=True)


if __name__ == "__main__":
    main()
    sys.exit(1 if results["failed"] else 0)
