#!/usr/bin/python3
"""Tavrin in a Wayland session, end to end, on the private sway desktop.

Each row of WATCHED runs `tavrin watch --json` on a fresh data folder with one native Wayland
application in front, types keys with wtype, and checks the places watch reports (the application
in front, and for a browser the site from its window title) and the shortcut uses it books. The
last case runs the desktop application (its window through XWayland) and checks that a click in
its own window is not counted while clicks in an XWayland application are.

    TAVRIN_VIRTUAL_POINTER=... scripts/virtual-desktop --wayland tests/desktop/wayland-session.py TAVRIN ARTIFACTS
"""
import json
import os
import queue
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
import desktop  # noqa: E402
from desktop import wait_for  # noqa: E402

TAVRIN, ARTIFACTS = sys.argv[1], sys.argv[2]
POINTER = os.environ["TAVRIN_VIRTUAL_POINTER"]
os.makedirs(ARTIFACTS, exist_ok=True)

CTRL_N = ["-M", "ctrl", "-k", "n", "-m", "ctrl"]
CTRL_S = ["-M", "ctrl", "-k", "s", "-m", "ctrl"]

# name, desktop entries to add ({file id: Name}), documents to open, steps in turn (keys for wtype,
# or a page tab to click by its name; each followed by the place watch must report next, or None),
# the shortcut ids booked at the end. (GTK takes no shortcut from wtype's keyboard, but its
# accessibility bridge passes the keys on: they are booked all the same.)
WATCHED = [
    ("the application in front, and its shortcuts pressed",
     {}, [], [(None, {"app": "mousepad", "domain": ""}), (CTRL_N, None), (CTRL_S, None), (["a"], None),
              (["-k", "Escape"], None)], [100, 102]),
    # A desktop entry that names mousepad a browser: the title of its window ("Inbox - Gmail -
    # Mousepad", the document's name) then gives the site, and the other tab's another one.
    ("a browser's window title, followed as it changes",
     {"mousepad": "Firefox ESR"}, ["Issues - GitHub", "Inbox - Gmail"],
     [(None, {"app": "firefox_esr", "domain": "gmail"}),
      ("Issues - GitHub", {"app": "firefox_esr", "domain": "github"})], None),
]

results = {"passed": 0, "failed": 0}


def check(condition, what):
    results["passed" if condition else "failed"] += 1
    print(("ok: " if condition else "FAIL: ") + what, flush=True)
    return condition


def shoot(name):
    desktop.shoot(ARTIFACTS, name, "grim")


def sway_views():
    tree = json.loads(subprocess.check_output(["swaymsg", "-t", "get_tree"]))
    views = []

    def visit(node):
        if node.get("pid"):
            views.append(node)
        for child in node.get("nodes", []) + node.get("floating_nodes", []):
            visit(child)

    visit(tree)
    return views


def view(match, seconds=10):
    return wait_for(lambda: next((v for v in sway_views() if match(v)), None), seconds)


def query(data_dir, sql):
    with sqlite3.connect(os.path.join(data_dir, "tavrin", "db.sqlite")) as db:
        return db.execute(sql).fetchall()


def fresh_settings(**more):
    """Settings of their own for each editor: the last one, ended with unsaved text, would offer to
    restore it in a dialog that takes the front."""
    return dict(os.environ, XDG_CONFIG_HOME=tempfile.mkdtemp(prefix="tavrin-settings-"), **more)


def set_up(data_dir):
    subprocess.run([TAVRIN, "setup", "--yes", "--data-dir", data_dir], check=True, stdout=subprocess.DEVNULL)


class Watch:
    """`tavrin watch --json`, with its places read as they come."""

    def __init__(self, data_dir, log):
        self.process = subprocess.Popen([TAVRIN, "watch", "--json", "--data-dir", data_dir, "--verbose"],
                                        stdout=subprocess.PIPE, stderr=log, text=True)
        self.places = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            try:
                place = json.loads(line)["activeNamespace"]
            except (ValueError, KeyError):
                continue
            self.places.put({"app": place.get("app"), "domain": place.get("domain")})

    def expect(self, wanted, seconds=8):
        until = time.time() + seconds
        seen = []
        while time.time() < until:
            try:
                place = self.places.get(timeout=0.2)
            except queue.Empty:
                continue
            seen.append(place)
            if place == wanted:
                return True, seen
        return False, seen

    def stop(self):
        self.process.terminate()
        return self.process.wait(timeout=10)


def watched(name, entries, documents, steps, uses):
    print(f"case: {name}", flush=True)
    data_dir = tempfile.mkdtemp(prefix="tavrin-wayland-")
    applications = os.path.join(os.environ["XDG_DATA_HOME"], "applications")
    os.makedirs(applications, exist_ok=True)
    for file_id, shown in entries.items():
        with open(os.path.join(applications, file_id + ".desktop"), "w") as f:
            f.write(f"[Desktop Entry]\nType=Application\nName={shown}\nExec={file_id}\nStartupWMClass={file_id}\n")
    set_up(data_dir)
    log = open(os.path.join(ARTIFACTS, name.split(",")[0].replace(" ", "-") + ".log"), "w")
    paths = []
    for document in documents:
        paths.append(os.path.join(data_dir, document))
        open(paths[-1], "w").close()
    editor = subprocess.Popen(["mousepad"] + paths, env=fresh_settings(), stderr=subprocess.DEVNULL)
    try:
        check(view(lambda v: v.get("app_id") == "mousepad" and v.get("focused"), seconds=30) is not None,
              "mousepad has the focus")
        watch = Watch(data_dir, log)
        for action, place in steps:
            if isinstance(action, list):
                time.sleep(0.5)
                subprocess.run(["wtype"] + action, check=True)
            elif action:
                # A native window: sway's place for its content plus the element's place in it.
                origin = view(lambda v: v.get("pid") == editor.pid)
                point = accessible(editor.pid, action, "page tab")
                check(origin is not None and point is not None, f"{name}: the tab {action!r} is found")
                click(origin["rect"]["x"] + origin["window_rect"]["x"] + point[0],
                      origin["rect"]["y"] + origin["window_rect"]["y"] + point[1])
            if place:
                found, seen = watch.expect(place)
                check(found, f"{name}: watch reports {place} (saw {seen})")
        if uses is not None:
            booked = lambda: [r[0] for r in query(data_dir, "SELECT shortcut_id FROM shortcut_usage ORDER BY rowid")]  # noqa
            check(wait_for(lambda: booked() == uses), f"{name}: shortcut uses {booked()}, expected {uses}")
        check(watch.stop() == 0, f"{name}: watch ends cleanly")
        shoot(name.split(",")[0].replace(" ", "-"))
    finally:
        editor.terminate()
        editor.wait()
        for file_id in entries:
            os.remove(os.path.join(applications, file_id + ".desktop"))
        time.sleep(0.5)


def click(x, y):
    subprocess.run([POINTER, "move", str(x), str(y), "click"], check=True)


def accessible(pid, name, role):
    """The showing element of that name and role, by its centre on the screen: an XWayland
    application reports true screen coordinates."""
    def probe():
        node = desktop.find(desktop.application(pid), name, role)
        return desktop.centre(node) if node else None

    return wait_for(probe)


def own_and_xwayland_clicks():
    print("case: clicks in Tavrin's window and in an XWayland application", flush=True)
    data_dir = tempfile.mkdtemp(prefix="tavrin-wayland-")
    set_up(data_dir)
    log = open(os.path.join(ARTIFACTS, "desktop-application.log"), "w")
    env = dict(os.environ, QT_QPA_PLATFORM="xcb")
    tavrin = subprocess.Popen([TAVRIN, "--data-dir", data_dir], stdout=log, stderr=log, env=env)
    editor = None
    try:
        own = view(lambda v: v.get("shell") == "xwayland" and v.get("pid") == tavrin.pid, seconds=20)
        if not check(own is not None, "Tavrin's window is an XWayland window"):
            return
        check(wait_for(lambda: desktop.application(tavrin.pid), 20), "Tavrin is on the accessibility bus")
        # Its header and the middle of its list; clicks are looked at in turn, so once mousepad's
        # are stored, these have been or never will be.
        x, y, width, height = own["rect"]["x"], own["rect"]["y"], own["rect"]["width"], own["rect"]["height"]
        for px, py in [(x + 60, y + 60), (x + width // 2, y + height // 2)]:
            click(px, py)
        editor = subprocess.Popen(["mousepad"], env=fresh_settings(GDK_BACKEND="x11"), stderr=subprocess.DEVNULL)
        other = view(lambda v: v.get("shell") == "xwayland" and v.get("pid") == editor.pid, seconds=15)
        if not check(other is not None, "mousepad runs under XWayland"):
            return
        point = accessible(editor.pid, "File", "menu")
        if not check(point is not None, "mousepad's File is on the accessibility bus"):
            return
        click(*point)
        point = accessible(editor.pid, "New", "menu item")
        if not check(point is not None, "mousepad's New is on the accessibility bus"):
            return
        click(*point)
        new = (["New Window"], ["New Document"])
        rows = wait_for(lambda: (lambda r: r if r[-1:] in new else None)(
            [row[0] for row in query(data_dir, "SELECT element_clicked FROM click_events ORDER BY rowid")])) or []
        # The item the click really chose, from what mousepad did: the menu's reported place can
        # be a row off under XWayland (a finding kept in the accuracy notes), and the count must
        # follow the real click, so New Window (a second window) or New (a tab) decides.
        windows = lambda: [v for v in sway_views() if v.get("pid") == editor.pid]  # noqa: E731
        check(rows[-1:] in new and wait_for(lambda: (len(windows()) == 2) == (rows[-1] == "New Window"), 5),
              f"the click in mousepad counts as what it did: {rows}")
        check(rows[:-1] in ([], ["unknown"]), f"no click in Tavrin's own window is counted: {rows}")
        # A real pointer's click is a miss: the nudge says the keys to screen readers and outlines
        # its card at the top of the list for a few seconds.
        def nudge():
            for node, _ in desktop.walk(desktop.application(tavrin.pid)):
                if node.get_role_name() == "alert" and (node.get_name() or "").startswith(f"{rows[-1]}: Ctrl + "):
                    return node.get_name()
            return None
        check(rows[-1:] in new and wait_for(nudge, 5), f"the click in mousepad brings a nudge: {rows}")
        time.sleep(0.8)  # the card has moved to the top
        shoot("nudge")
        shoot("desktop-application")
    finally:
        if editor:
            editor.terminate()
            editor.wait()
        tavrin.terminate()
        check(tavrin.wait(timeout=10) == 0, "the desktop application quits cleanly")


def picture_of_a_wayland_window():
    print("case: the picture around a point of a native window, through the desktop portal", flush=True)
    editor = subprocess.Popen(["mousepad"], env=fresh_settings(), stderr=subprocess.DEVNULL)
    try:
        window = view(lambda v: v.get("pid") == editor.pid and v.get("shell") == "xdg_shell", seconds=30)
        if not check(window is not None, "mousepad runs as a Wayland window"):
            return
        picture = os.path.join(ARTIFACTS, "portal-picture.png")
        x, y = window["rect"]["x"] + 60, window["rect"]["y"] + 30
        taken = subprocess.run([TAVRIN, "inspect", "--picture", picture, str(x), str(y)], capture_output=True,
                               text=True, timeout=60)
        check(taken.returncode == 0 and "224 by 224" in taken.stdout, f"inspect --picture: {taken.stdout!r} {taken.stderr!r}")
        # Its menu bar and tool bar, not the one colour an unreadable screen gives.
        size = subprocess.run(["identify", "-format", "%w %h %k", picture], capture_output=True, text=True).stdout
        check(size.startswith("224 224 ") and int(size.split()[2]) > 8, f"the picture shows the window: {size!r}")
    finally:
        editor.terminate()
        editor.wait()


def main():
    for row in WATCHED:
        watched(*row)
    picture_of_a_wayland_window()
    own_and_xwayland_clicks()
    print(f"{results['passed']} passed, {results['failed']} failed", flush=True)
    return 1 if results["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
