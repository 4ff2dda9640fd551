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

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
import desktop  # noqa: E402
from desktop import Atspi, application, find  # noqa: E402

TAVRIN, ARTIFACTS = sys.argv[1], sys.argv[2]
os.makedirs(ARTIFACTS, exist_ok=True)


def fail(message, app=None):
    print("FAIL:", message, flush=True)
    if app is not None:
        desktop.dump(app)
    shoot("ftue-failure")
    sys.exit(1)


def shoot(name):
    desktop.shoot(ARTIFACTS, name)


def wait_for(what, probe, seconds=10, app=None):
    return desktop.wait_for(probe, seconds) or fail("timed out waiting for " + what, app)


def press(app, name, role=None, then=None):
    """Presses the control, then waits for what it does: `then`, or for a box, that it is ticked."""
    node = wait_for(f"{name!r}", lambda: find(app, name, role), app=app)
    desktop.press(node)
    if then is None and role in ("radio button", "check box"):
        then = lambda: desktop.checked(node)  # noqa: E731
    if then is not None:
        wait_for(f"what {name!r} does", then, app=app)


def ctrl_r(shows, app):
    subprocess.run(["xdotool", "key", "ctrl+r"], check=True)
    wait_for(repr(shows), lambda: find(app, shows), app=app)


def checked(app, name, role):
    node = find(app, name, role)
    return node is not None and desktop.checked(node)


def click(app, name, role):
    """A real click in the middle of the control, where the screen shows it."""
    x, y = desktop.centre(wait_for(f"{name!r}", lambda: find(app, name, role), app=app))
    subprocess.run(["xdotool", "mousemove", "--sync", str(x), str(y), "click", "1"], check=True)


def keys(*names):
    """Real key presses, to whichever window has the keyboard."""
    subprocess.run(["xdotool", "key", "--delay", "120", *names], check=True)


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
        shoot("ftue-e2e-1-welcome")
        press(app, "Next", "push button", lambda: find(app, "Let's get to know you"))

        # 2. Personalisation: one role, two applications, with the pointer and with the keyboard.
        click(app, "UX/UI Designer", "radio button")
        wait_for("the role clicked", lambda: checked(app, "UX/UI Designer", "radio button"), app=app)
        keys("Down")  # the next role, as in any group of radio buttons
        wait_for("the role chosen by key", lambda: checked(app, "Software Engineer", "radio button"), app=app)
        click(app, "Email Client", "check box")
        wait_for("the box ticked by the pointer", lambda: checked(app, "Email Client", "check box"), app=app)
        keys("Tab", "Tab", "Tab", "space")  # on past Spreadsheet App and Word Processor
        wait_for("the box ticked by key", lambda: checked(app, "Web Browser", "check box"), app=app)
        shoot("ftue-e2e-2-personalization")
        press(app, "Next", "push button", lambda: find(app, "Your Productivity Potential"))

        # 3. The estimate for two applications.
        if find(app, "10 minutes per day"):
            fail("the estimate shows before it is calculated", app)
        press(app, "Calculate My Savings", "push button", lambda: find(app, "10 minutes per day"))
        shoot("ftue-e2e-3-estimate")
        press(app, "Next", "push button", lambda: find(app, "How Tavrin Works"))

        # 4. The practice: nothing to press until the shortcut is used, in another window.
        if find(app, "Next", "push button") or find(app, "Skip", "push button"):
            fail("the practice offers a way on before the first press", app)
        editor = subprocess.Popen(["mousepad", "--disable-server"], stderr=subprocess.DEVNULL)
        window = wait_for("the other window", lambda: subprocess.run(
            ["xdotool", "search", "--onlyvisible", "--pid", str(editor.pid)],
            capture_output=True, text=True).stdout.split(), 20, app)[0]
        subprocess.run(["xdotool", "windowactivate", "--sync", window], check=False)
        wait_for("the other window in front", lambda: subprocess.run(
            ["xdotool", "getactivewindow"], capture_output=True, text=True).stdout.strip() == window, app=app)
        subprocess.run(["xdotool", "key", "ctrl+r"], check=True)
        wait_for("Skip after the first press", lambda: find(app, "Skip", "push button"), app=app)
        ctrl_r("Great! 2 more to go!", app)
        shoot("ftue-e2e-4-practice")
        ctrl_r("Great! 1 more to go!", app)
        ctrl_r("Great job!", app)
        shoot("ftue-e2e-4-practice-done")
        editor.terminate()
        press(app, "Let's Do This!", "push button", lambda: find(app, "Your Privacy Matters"))

        # 5. Permissions and the agreement: no way on until accessibility is granted.
        if find(app, "Next", "push button"):
            fail("the privacy step can be left without the accessibility permission", app)
        press(app, "Grant Accessibility Permission", "push button", lambda: find(app, "Accessibility, granted"))
        press(app, "Grant Screen Recording Permission", "push button")
        press(app, "I agree to share anonymous usage data to help improve Tavrin")
        shoot("ftue-e2e-5-privacy")
        press(app, "Next", "push button", lambda: not find(app, "Your Privacy Matters"))

        # The cheat sheet takes the window, without a restart.
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
