#!/usr/bin/python3
"""The first run on a private desktop, end to end.

Starts `tavrin` on a clean data folder, walks the five first-run steps, answers the questions as
a person does (the role and the applications chosen with the pointer and with the keyboard), presses
the other buttons through the accessibility bus, practises with real Ctrl+R presses sent to another
window, and checks that the cheat sheet takes the window's place and that the stored first-run
state is what the flow persists. A screenshot of every step goes to the artifacts folder.

    scripts/virtual-desktop tests/desktop/ftue-walk.py TAVRIN ARTIFACTS
"""
import json
import os
import subprocess
import sys
import tempfile
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

TAVRIN, ARTIFACTS = sys.argv[1], sys.argv[2]
os.makedirs(ARTIFACTS, exist_ok=True)


def fail(message, app=None):
    print("FAIL:", message, flush=True)
    if app is not None:
        dump(app)
    shoot("ftue-failure")
    sys.exit(1)


def shoot(name):
    subprocess.run(["import", "-window", "root", os.path.join(ARTIFACTS, name + ".png")], check=False)


def walk(node, depth=0):
    yield node, depth
    for i in range(node.get_child_count()):
        child = node.get_child_at_index(i)
        if child is not None:
            yield from walk(child, depth + 1)


def dump(app):
    for node, depth in walk(app):
        print("  " * depth + f"[{node.get_role_name()}] {node.get_name()!r}")


def showing(node):
    return node.get_state_set().contains(Atspi.StateType.SHOWING)


def application(pid):
    desktop = Atspi.get_desktop(0)
    for i in range(desktop.get_child_count()):
        app = desktop.get_child_at_index(i)
        if app is not None and app.get_process_id() == pid:
            return app
    return None


def find(app, name, role=None):
    for node, _ in walk(app):
        if node.get_name() == name and showing(node) and (role is None or node.get_role_name() == role):
            return node
    return None


def wait_for(what, probe, seconds=10, app=None):
    until = time.time() + seconds
    while time.time() < until:
        value = probe()
        if value:
            return value
        time.sleep(0.1)
    fail("timed out waiting for " + what, app)


def press(app, name, role=None):
    node = wait_for(f"{name!r}", lambda: find(app, name, role), app=app)
    node.get_action_iface().do_action(0)
    time.sleep(0.3)


def checked(app, name, role):
    node = find(app, name, role)
    return node is not None and node.get_state_set().contains(Atspi.StateType.CHECKED)


def click(app, name, role):
    """A real click in the middle of the control, where the screen shows it."""
    node = wait_for(f"{name!r}", lambda: find(app, name, role), app=app)
    r = node.get_component_iface().get_extents(Atspi.CoordType.SCREEN)
    subprocess.run(["xdotool", "mousemove", "--sync", str(r.x + r.width // 2), str(r.y + r.height // 2),
                    "click", "1"], check=True)
    time.sleep(0.3)


def keys(*names):
    """Real key presses, to whichever window has the keyboard."""
    subprocess.run(["xdotool", "key", "--delay", "120", *names], check=True)
    time.sleep(0.3)


def stored_ftue_state(data_dir):
    with open(os.path.join(data_dir, "tavrin", "defaults.json")) as f:
        defaults = json.load(f)
    return defaults["FTUEState"]


def main():
    Atspi.set_timeout(1000, 1000)
    data_dir = tempfile.mkdtemp(prefix="tavrin-ftue-")
    errors = open(os.path.join(ARTIFACTS, "tavrin-stderr.txt"), "w+")
    tavrin = subprocess.Popen([TAVRIN, "--data-dir", data_dir], stderr=errors)
    try:
        app = wait_for("the application on the accessibility bus", lambda: application(tavrin.pid), 20)

        # 1. Welcome.
        wait_for("the welcome screen", lambda: find(app, "Unlock 8 extra days in your year"), app=app)
        time.sleep(0.5)
        shoot("ftue-e2e-1-welcome")
        press(app, "Next", "push button")

        # 2. Personalisation: one role, two applications, with the pointer and with the keyboard.
        wait_for("the questions", lambda: find(app, "Let's get to know you"), app=app)
        click(app, "UX/UI Designer", "radio button")
        wait_for("the role clicked", lambda: checked(app, "UX/UI Designer", "radio button"), app=app)
        keys("Down")  # the next role, as in any group of radio buttons
        wait_for("the role chosen by key", lambda: checked(app, "Software Engineer", "radio button"), app=app)
        click(app, "Email Client", "check box")
        wait_for("the box ticked by the pointer", lambda: checked(app, "Email Client", "check box"), app=app)
        keys("Tab", "Tab", "Tab", "space")  # on past Spreadsheet App and Word Processor
        wait_for("the box ticked by key", lambda: checked(app, "Web Browser", "check box"), app=app)
        shoot("ftue-e2e-2-personalization")
        press(app, "Next", "push button")

        # 3. The estimate for two applications.
        wait_for("the estimate screen", lambda: find(app, "Your Productivity Potential"), app=app)
        if find(app, "10 minutes per day"):
            fail("the estimate shows before it is calculated", app)
        press(app, "Calculate My Savings", "push button")
        wait_for("the estimate", lambda: find(app, "10 minutes per day"), app=app)
        shoot("ftue-e2e-3-estimate")
        press(app, "Next", "push button")

        # 4. The practice: nothing to press until the shortcut is used, in another window.
        wait_for("the practice", lambda: find(app, "How Tavrin Works"), app=app)
        if find(app, "Next", "push button") or find(app, "Skip", "push button"):
            fail("the practice offers a way on before the first press", app)
        editor = subprocess.Popen(["mousepad", "--disable-server"], stderr=subprocess.DEVNULL)
        window = wait_for("the other window", lambda: subprocess.run(
            ["xdotool", "search", "--onlyvisible", "--pid", str(editor.pid)],
            capture_output=True, text=True).stdout.split(), 20, app)[0]
        subprocess.run(["xdotool", "windowactivate", "--sync", window], check=False)
        time.sleep(0.5)
        subprocess.run(["xdotool", "key", "ctrl+r"], check=True)
        wait_for("Skip after the first press", lambda: find(app, "Skip", "push button"), app=app)
        subprocess.run(["xdotool", "key", "ctrl+r"], check=True)
        wait_for("the count", lambda: find(app, "Great! 2 more to go!"), app=app)
        time.sleep(0.5)
        shoot("ftue-e2e-4-practice")
        for _ in range(2):
            subprocess.run(["xdotool", "key", "ctrl+r"], check=True)
            time.sleep(0.3)
        wait_for("the end of the practice", lambda: find(app, "Great job!"), app=app)
        shoot("ftue-e2e-4-practice-done")
        editor.terminate()
        press(app, "Let's Do This!", "push button")

        # 5. Permissions and the agreement: no way on until accessibility is granted.
        wait_for("the privacy screen", lambda: find(app, "Your Privacy Matters"), app=app)
        if find(app, "Next", "push button"):
            fail("the privacy step can be left without the accessibility permission", app)
        press(app, "Grant Accessibility Permission", "push button")
        press(app, "Grant Screen Recording Permission", "push button")
        wait_for("the granted item", lambda: find(app, "Accessibility, granted"), app=app)
        press(app, "I agree to share anonymous usage data to help improve Tavrin")
        time.sleep(1.2)
        shoot("ftue-e2e-5-privacy")
        press(app, "Next", "push button")

        # The cheat sheet takes the window, without a restart.
        wait_for("the first-run flow to go", lambda: not find(app, "Your Privacy Matters"), app=app)
        time.sleep(1)
        shoot("ftue-e2e-6-cheatsheet")
        state = wait_for("the stored state", lambda: os.path.exists(os.path.join(data_dir, "tavrin", "defaults.json"))
                         and stored_ftue_state(data_dir).get("ftueCompleted") and stored_ftue_state(data_dir), 5, app)
        expected = {
            "currentStep": 4,
            "userRole": "Software Engineer",
            "frequentlyUsedApps": ["Email Client", "Web Browser"],
            "potentialTimeSavings": {"minutesPerDay": 10, "hoursPerMonth": 5, "daysPerYear": 2},
            "accessibilityPermissionGranted": True,
            "screenRecordingPermissionGranted": True,
            "ftueCompleted": True,
            "hasStartedFirstChallenge": False,
            "dataShareAgreement": False,
        }
        for key, value in expected.items():
            got = state.get(key)
            if isinstance(value, list):
                got = sorted(got or [])
            if got != value:
                fail(f"stored {key} is {got!r}, expected {value!r}")
        if tavrin.poll() is not None:
            fail("tavrin ended")
        errors.seek(0)
        warnings = [line for line in errors if ".qml:" in line]
        if warnings:
            fail("the screens' QML warned:\n" + "".join(warnings))
        print("first run walked to the cheat sheet", flush=True)
    finally:
        tavrin.terminate()
        try:
            tavrin.wait(10)
        except subprocess.TimeoutExpired:
            tavrin.kill()


main()
