#!/usr/bin/python3
"""Checks the catalogue's mappings of one running application, as a click would read them.

  scripts/check-mappings.py --pid PID --namespace 'app|mousepad' --catalogue DIR --tavrin PATH [--open-menus]

Finds every showing button and menu item whose name is a mapping value of the namespace (with
--open-menus also those of each menu of the menu bar, opened by its accessibility action and
closed with Escape), asks `tavrin inspect X Y` what a click at the element's centre reads, and
looks that value up in the namespace's mappings. Prints one summary line, then each mismatch and
each value that was not found on screen. Exit status 0 when no element read a wrong action.
Run by scripts/harvest-catalogue --check, on a private desktop. Needs python3-gi.
"""
import argparse
import csv
import re
import subprocess
import sys
import time
import warnings

warnings.simplefilter("ignore")
import gi  # noqa: E402

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

CLICKABLE = {"push button", "toggle button", "menu item", "check menu item", "radio menu item"}


def safe(call, default=None):
    try:
        return call()
    except Exception:
        return default


def application(pid, seconds=10):
    until = time.time() + seconds
    while time.time() < until:
        desktop = Atspi.get_desktop(0)
        for i in range(desktop.get_child_count()):
            app = safe(lambda: desktop.get_child_at_index(i))
            if app is not None and safe(app.get_process_id) == pid:
                return app
        time.sleep(0.2)
    return None


def walk(node, visit, depth=0):
    if depth > 40 or node is None:
        return
    visit(node)
    role = safe(node.get_role_name, "")
    if role in ("document web", "document text", "text", "terminal", "table", "tree table", "canvas"):
        return
    for i in range(min(safe(node.get_child_count, 0) or 0, 2000)):
        walk(safe(lambda: node.get_child_at_index(i)), visit, depth + 1)


def showing(node):
    states = safe(node.get_state_set)
    return states is not None and states.contains(Atspi.StateType.SHOWING)


def centre(node):
    box = safe(lambda: node.get_component_iface().get_extents(Atspi.CoordType.SCREEN))
    if box is None or box.width <= 0 or box.height <= 0:
        return None
    return box.x + box.width // 2, box.y + box.height // 2


def read_value(tavrin, point):
    out = subprocess.run([tavrin, "inspect", str(point[0]), str(point[1])], capture_output=True, text=True,
                         timeout=20).stdout
    match = re.search(r'^Proper value: .*?(\S+) = "(.*)"$', out, re.M)
    return (match.group(1), match.group(2)) if match else None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--pid", type=int, required=True)
    parser.add_argument("--namespace", required=True)
    parser.add_argument("--catalogue", required=True)
    parser.add_argument("--tavrin", required=True)
    parser.add_argument("--open-menus", action="store_true")
    args = parser.parse_args()

    mappings = {}  # value -> action
    with open(f"{args.catalogue}/accessibility_tree_mapping_export.csv", newline="") as f:
        for row in csv.DictReader(f):
            if row["namespace_id"] == args.namespace:
                mappings.setdefault(row["predicted_best_value"], row["action_name"])
    app = application(args.pid)
    if app is None:
        print(f"{args.namespace}: process {args.pid} is not on the accessibility bus")
        return 1

    checked, wrong = {}, []

    def check_showing():
        found = []
        walk(app, lambda n: found.append(n) if safe(n.get_role_name) in CLICKABLE and showing(n) and
             (safe(n.get_name, "") or "").rstrip() in mappings else None)
        for node in found:
            name = (safe(node.get_name, "") or "").rstrip()
            point = centre(node)
            if name in checked or point is None:
                continue
            read = read_value(args.tavrin, point)
            action = mappings.get(read[1]) if read else None
            checked[name] = action == mappings[name]
            if not checked[name]:
                wrong.append(f'  "{name}" ({mappings[name]}) read {read}, which is {action or "no action"}')

    check_showing()
    if args.open_menus:
        menus = []
        walk(app, lambda n: menus.append(n) if safe(n.get_role_name) == "menu bar" else None)
        titles = []
        for bar in menus:
            for i in range(safe(bar.get_child_count, 0) or 0):
                titles.append(safe(lambda: bar.get_child_at_index(i)))
        for title in titles:
            if title is None or not showing(title) or not safe(lambda: title.get_action_iface().get_n_actions(), 0):
                continue
            safe(lambda: title.get_action_iface().do_action(0))
            time.sleep(0.5)
            check_showing()
            subprocess.run(["xdotool", "key", "Escape"])
            time.sleep(0.3)
    missing = sorted(set(mappings) - set(checked))
    print(f"{args.namespace}: {len(mappings)} mapped values, {len(checked)} found on screen, "
          f"{sum(checked.values())} read as their action, {len(wrong)} wrong, {len(missing)} not reached")
    for line in wrong:
        print(line)
    if missing:
        print("  not reached: " + ", ".join(f'"{m}"' for m in missing))
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
