#!/usr/bin/python3
"""Measures how Tavrin counts the clicks a person makes, application by application.

Run by scripts/check-accuracy inside a private desktop, with `tavrin watch` counting. For each
application of the list (applications.json) it starts the application, brings it to the front,
prepares it as a person would (types, selects), then clicks each control of its list twice: once
with a human hold (about 100 ms) and once as a quick tap (2 ms). Every click is one measurement:
what Tavrin stored for it (the click_events row it wrote, if any) against what the control is
(an action name, or none for a click that is no action: a menu title, a text area, a scroll bar, a
tab's close button). Shortcut presses are measured by the usage rows they book.

  measure.py --tavrin PATH --data DIR [--apps FILE] [--only LABEL ...] [--backend x11]
             [--out TABLE] [--details JSON] [--dump LABEL]

--dump LABEL starts one application and prints its showing tree (roles, names, shortcuts,
extents), for writing its controls.
"""
import argparse
import json
import os
import shutil
import signal
import sqlite3
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import tree  # noqa: E402
from backends import BACKENDS  # noqa: E402

HOLDS = {"hold": 0.1, "tap": 0.002}
MENU_TITLE_ROLES = ["menu", "menu item"]


class Tavrin:
    """The counting side: `tavrin watch` on a data folder, and what it stored there."""

    def __init__(self, binary, data):
        self.binary, self.data = binary, data
        subprocess.run([binary, "setup", "--yes", "--data-dir", data], capture_output=True, check=True)
        self.out = open(os.path.join(data, "watch.jsonl"), "w+")
        self.err = open(os.path.join(data, "watch.log"), "w+")
        self.process = subprocess.Popen([binary, "watch", "--json", "--verbose", "--data-dir", data],
                                        stdout=self.out, stderr=self.err)
        self.db_path = None
        until = time.time() + 20
        while time.time() < until and not self.db_path:
            for root, _, files in os.walk(data):
                if "db.sqlite" in files:
                    self.db_path = os.path.join(root, "db.sqlite")
            time.sleep(0.2)
        if not self.db_path:
            raise SystemExit("check-accuracy: tavrin made no database")

    def stop(self):
        self.process.send_signal(signal.SIGINT)
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()

    def query(self, sql, *args):
        for _ in range(20):
            try:
                with sqlite3.connect(f"file:{self.db_path}?mode=ro", uri=True, timeout=2) as db:
                    return db.execute(sql, args).fetchall()
            except sqlite3.OperationalError:
                time.sleep(0.1)
        return []

    def last_click(self):
        rows = self.query("SELECT MAX(event_id) FROM click_events")
        return rows[0][0] or 0 if rows else 0

    def clicks_after(self, event_id):
        return self.query("SELECT event_id, namespace_id, element_clicked FROM click_events WHERE event_id > ? "
                          "ORDER BY event_id", event_id)

    def uses(self):
        return self.query("SELECT u.rowid, a.name FROM shortcut_usage u JOIN shortcuts s ON s.shortcut_id = "
                          "u.shortcut_id JOIN actions a ON a.action_id = s.action_id ORDER BY u.rowid")

    def front(self):
        """The application namespace Tavrin last reported in front."""
        self.out.flush()
        with open(self.out.name) as f:
            lines = [line for line in f if line.startswith("{")]
        if not lines:
            return None
        place = json.loads(lines[-1]).get("activeNamespace", {})
        return place.get("appNamespaceId")

    def log_since(self, offset):
        self.err.flush()
        with open(self.err.name) as f:
            f.seek(offset)
            return f.read()

    def log_offset(self):
        self.err.flush()
        return os.path.getsize(self.err.name)


def outcome(expected, got):
    """right, unknown or wrong for one click: `got` is the stored element or None (no row)."""
    if expected is None:
        return "right" if got in (None, "unknown") else "wrong"
    accepted = expected if isinstance(expected, list) else [expected]
    if got in accepted:
        return "right"
    return "unknown" if got in (None, "unknown") else "wrong"


class Measurement:
    def __init__(self, backend, tavrin, app_entry, home):
        self.backend, self.tavrin, self.entry, self.home = backend, tavrin, app_entry, home
        self.results = []
        self.keys = []
        self.process = None
        self.window = None
        self.root = None

    # Steps: "type TEXT", "key COMBO", "sleep SECONDS", "click CONTROL-LABEL" (without measuring).
    def steps(self, steps):
        for step in steps or []:
            verb, _, rest = step.partition(" ")
            if verb == "type":
                self.backend.type(rest)
            elif verb == "key":
                self.backend.key(rest)
            elif verb == "sleep":
                time.sleep(float(rest))
            elif verb == "activate":
                self.backend.activate(self.window)
            else:
                raise SystemExit(f"check-accuracy: unknown step {step!r} in {self.entry['label']}")
            time.sleep(0.15)

    def start(self):
        entry = self.entry
        for name, text in entry.get("files", {}).items():
            path = os.path.join(self.home, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w") as f:
                f.write(text)
        command = [part.replace("$HOME", self.home) for part in entry["command"]]
        env = dict(os.environ, **entry.get("env", {}))
        for setting in entry.get("gsettings", []):
            subprocess.run(["gsettings", "set", *setting.split(" ", 2)], env=env, capture_output=True)
        before = set(self.backend.windows())
        self.process = subprocess.Popen(command, env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                        start_new_session=True)
        until = time.time() + entry.get("start_timeout", 40)
        while time.time() < until:
            new = [w for w in self.backend.windows() if w not in before]
            if new:
                self.window = new[-1]
                break
            time.sleep(0.2)
        if not self.window:
            return "no window after starting"
        time.sleep(entry.get("settle", 2))
        new = [w for w in self.backend.windows() if w not in before]
        self.window = new[-1] if new else self.window
        self.pid = self.backend.window_pid(self.window) or self.process.pid
        self.backend.place(self.window, 0, 0, 1100, 760)
        self.backend.activate(self.window)
        self.root = tree.application(self.pid)
        if self.root is None:
            return "not on the accessibility bus"
        until = time.time() + 15
        while time.time() < until and self.tavrin.front() != entry["namespace"]:
            time.sleep(0.2)
        if self.tavrin.front() != entry["namespace"]:
            if self.tavrin.process.poll() is not None:
                raise SystemExit("check-accuracy: tavrin watch ended: " + self.tavrin.log_since(0)[-2000:])
            return f"Tavrin saw {self.tavrin.front()!r} in front, not {entry['namespace']!r}"
        # The menu walk of an application the catalogue lacks runs when it first comes to the front.
        time.sleep(entry.get("learn_wait", 1))
        return None

    def stop(self):
        pids = {self.process.pid} if self.process else set()
        for window in self.backend.windows():
            pid = self.backend.window_pid(window)
            if pid:
                pids.add(pid)
        for pid in pids:
            try:
                os.killpg(pid, signal.SIGTERM)
            except OSError:
                pass
            try:
                os.kill(pid, signal.SIGTERM)
            except OSError:
                pass
        until = time.time() + 10
        while time.time() < until and self.backend.windows():
            time.sleep(0.2)
        for pid in pids:
            try:
                os.kill(pid, signal.SIGKILL)
            except OSError:
                pass

    def node(self, control, root=None):
        query = dict(control["find"])
        return tree.find(root or self.root, query, within=control.get("within"),
                         enter_content=control.get("enter_content", False))

    def measure_click(self, label, kind, expected, point, hold_name):
        before = self.tavrin.last_click()
        offset = self.tavrin.log_offset()
        self.backend.click(point[0], point[1], HOLDS[hold_name])
        rows = []
        until = time.time() + 2.5
        while time.time() < until:
            rows = self.tavrin.clicks_after(before)
            if rows:
                break
            time.sleep(0.05)
        got = rows[0][2] if rows else None
        result = {
            "app": self.entry["label"], "control": label, "kind": kind, "hold": hold_name,
            "expected": expected, "got": got, "namespace": rows[0][1] if rows else None,
            "outcome": outcome(expected, got), "log": self.tavrin.log_since(offset).strip()[-400:],
        }
        self.results.append(result)
        return result

    def menu_title(self, title):
        return tree.find(self.root, {"role": MENU_TITLE_ROLES, "name": title}, within={"role": "menu bar"})

    def open_menu(self, title, hold_name):
        node = self.menu_title(title)
        point = node is not None and self.backend.locate(node)
        if not point:
            self.results.append({"app": self.entry["label"], "control": f"menu {title}", "kind": "menu title",
                                 "hold": hold_name, "expected": None, "got": None, "outcome": "missing",
                                 "log": "the menu title was not found on screen"})
            return None
        self.measure_click(f"menu title {title}", "menu title", None, point, hold_name)
        time.sleep(0.6)
        return node

    def control(self, control, hold_name):
        label = control.get("label") or control["find"].get("name") or control["find"].get("role")
        kind = control.get("kind", "button")
        expected = control.get("expect")
        self.steps(control.get("before"))
        root = None
        for title in control.get("menu", []):
            root = self.open_menu(title, hold_name)
            if root is None:
                self.backend.key("Escape")
                return
        if kind == "menu title":
            self.steps(control.get("after", ["key Escape"]))
            return
        node = self.node(control, root)
        point = node is not None and self.backend.locate(node)
        if not point:
            self.results.append({"app": self.entry["label"], "control": label, "kind": kind, "hold": hold_name,
                                 "expected": expected, "got": None, "outcome": "missing",
                                 "log": "not found on screen"})
            if control.get("menu"):
                self.backend.key("Escape")
            return
        if "offset" in control:  # a point inside the control other than its centre (a text area's blank)
            point = (point[0] + control["offset"][0], point[1] + control["offset"][1])
        self.measure_click(label, kind, expected, point, hold_name)
        self.backend.move_away()
        self.steps(control.get("after"))

    def press(self, key, round_name):
        self.steps(key.get("before"))
        before = self.tavrin.uses()
        self.backend.key(key["keys"])
        booked = None
        until = time.time() + 2
        while time.time() < until:
            now = self.tavrin.uses()
            if len(now) > len(before):
                booked = now[len(before)][1]
                break
            time.sleep(0.05)
        expected = key.get("expect")
        self.keys.append({"app": self.entry["label"], "keys": key["keys"], "round": round_name, "expected": expected,
                          "booked": booked, "right": booked is not None and (expected is None or booked == expected)})
        self.steps(key.get("after"))

    def run(self):
        for hold_name in HOLDS:
            self.backend.activate(self.window)
            self.steps(self.entry.get("prepare"))
            for control in self.entry.get("controls", []):
                if hold_name in control.get("skip", []):
                    continue
                self.control(control, hold_name)
            for key in self.entry.get("keys", []):
                self.press(key, hold_name)


def summarise(label, results, keys, note=None):
    row = {"app": label, "note": note}
    for hold_name in HOLDS:
        actions = [r for r in results if r["hold"] == hold_name and r["expected"] is not None]
        row[hold_name] = {o: sum(1 for r in actions if r["outcome"] == o) for o in ("right", "unknown", "wrong",
                                                                                   "missing")}
    row["not_reached"] = sum(1 for r in results if r["outcome"] == "missing")
    others = [r for r in results if r["expected"] is None and r["outcome"] != "missing"]
    row["non_actions"] = {"clicks": len(others), "wrong": sum(1 for r in others if r["outcome"] == "wrong")}
    row["keys"] = {"pressed": len(keys), "booked": sum(1 for k in keys if k["right"])}
    return row


def percent(part, whole):
    return f"{100 * part / whole:5.1f} %" if whole else "    -  "


def table(rows, excluded):
    """Per application: action clicks right of those reached, unknown, wrong, for each way of
    clicking; clicks on no action and how many counted as one; shortcut presses booked. Controls
    the measurement could not reach on screen are left out of the figures and counted apart."""
    lines = []
    header = (f"{'application':<18} {'hold: right  unknown wrong':>27} {'tap: right  unknown wrong':>26} "
              f"{'no-action: clicks wrong':>24} {'keys booked':>12} {'not reached':>12}")
    lines.append(header)
    lines.append("-" * len(header))
    total = {h: {"right": 0, "unknown": 0, "wrong": 0} for h in HOLDS}
    total_non = {"clicks": 0, "wrong": 0}
    total_keys = {"pressed": 0, "booked": 0}
    for row in rows:
        if "hold" not in row:
            lines.append(f"{row['app']:<18} {row['note']}")
            continue
        cells = []
        for h in HOLDS:
            c = row[h]
            n = c["right"] + c["unknown"] + c["wrong"]
            cells.append(f"{c['right']:>3}/{n:<3} {c['unknown']:>7} {c['wrong']:>5}")
        line = (f"{row['app']:<18} {cells[0]:>27} {cells[1]:>26} "
                f"{row['non_actions']['clicks']:>17} {row['non_actions']['wrong']:>6} "
                f"{row['keys']['booked']:>7}/{row['keys']['pressed']:<4} {row.get('not_reached', 0):>12}")
        if row["app"] in excluded:
            line += "\n" + " " * 19 + "left out of the total: " + excluded[row["app"]]
        else:
            for h in HOLDS:
                for k in total[h]:
                    total[h][k] += row[h][k]
            for k in total_non:
                total_non[k] += row["non_actions"][k]
            for k in total_keys:
                total_keys[k] += row["keys"][k]
        lines.append(line)
    lines.append("-" * len(header))
    summary = []
    for h, words in (("hold", "held about 100 ms"), ("tap", "tapped for 2 ms")):
        c = total[h]
        n = c["right"] + c["unknown"] + c["wrong"]
        summary.append(f"Action clicks {words}: {c['right']}/{n} right ({percent(c['right'], n).strip()}), "
                       f"{c['unknown']} unknown, {c['wrong']} wrong")
    lines += summary
    lines.append(f"Clicks on no action: {total_non['clicks']}, counted as an action: {total_non['wrong']}")
    lines.append(f"Shortcut presses booked: {total_keys['booked']}/{total_keys['pressed']} "
                 f"({percent(total_keys['booked'], total_keys['pressed']).strip()})")
    return "\n".join(lines)


def report(details_path, apps):
    """The table again from a details file of an earlier run."""
    with open(details_path) as f:
        details = json.load(f)
    rows, excluded = [], {}
    for entry in apps:
        results = [r for r in details["clicks"] if r["app"] == entry["label"]]
        keys = [k for k in details["keys"] if k["app"] == entry["label"]]
        if not results and not keys:
            continue
        rows.append(summarise(entry["label"], results, keys))
        if entry.get("excluded"):
            excluded[entry["label"]] = entry["excluded"]
    return table(rows, excluded)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser()
    parser.add_argument("--tavrin", required=True)
    parser.add_argument("--data", required=True)
    parser.add_argument("--apps", default=os.path.join(here, "applications.json"))
    parser.add_argument("--only", nargs="*", default=[])
    parser.add_argument("--backend", default="x11", choices=sorted(BACKENDS))
    parser.add_argument("--out")
    parser.add_argument("--details")
    parser.add_argument("--dump", nargs="*")
    parser.add_argument("--report", help="print the table of an earlier run's details file and end")
    args = parser.parse_args()

    with open(args.apps) as f:
        apps = json.load(f)["applications"]
    if args.report:
        print(report(args.report, apps))
        return 0
    backend = BACKENDS[args.backend]()
    home = os.environ.get("HOME", "/tmp")
    if args.dump is not None:
        tavrin = Tavrin(args.tavrin, args.data)
        for label in args.dump or args.only:
            entry = next(a for a in apps if a["label"] == label)
            m = Measurement(backend, tavrin, entry, home)
            print(f"== {label}: {m.start() or 'started'}", flush=True)
            if m.root is not None:
                m.steps(entry.get("prepare"))
                for title in entry.get("dump_menus", []):
                    node = m.menu_title(title)
                    point = node is not None and backend.locate(node)
                    if point:
                        backend.click(point[0], point[1], 0.1)
                        time.sleep(0.8)
                        print(f"-- menu {title} open", flush=True)
                        print("\n".join(tree.describe(m.root)), flush=True)
                        backend.key("Escape")
                        time.sleep(0.3)
                print("-- at rest", flush=True)
                print("\n".join(tree.describe(m.root)), flush=True)
            m.stop()
        tavrin.stop()
        return 0

    tavrin = Tavrin(args.tavrin, args.data)
    rows, details, keys, excluded = [], [], [], {}
    try:
        for entry in apps:
            if args.only and entry["label"] not in args.only:
                continue
            program = entry["command"][0]
            if not shutil.which(program):
                rows.append({"app": entry["label"], "note": f"not installed ({program})"})
                continue
            m = Measurement(backend, tavrin, entry, home)
            print(f"{entry['label']}: starting", flush=True)
            problem = m.start()
            if problem:
                rows.append({"app": entry["label"], "note": problem})
                print(f"{entry['label']}: {problem}", flush=True)
                m.stop()
                continue
            try:
                m.run()
            finally:
                m.stop()
            if entry.get("excluded"):
                excluded[entry["label"]] = entry["excluded"]
            row = summarise(entry["label"], m.results, m.keys)
            rows.append(row)
            details += m.results
            keys += m.keys
            for r in m.results:
                if r["outcome"] != "right":
                    print(f"  {r['outcome']:<8} {r['hold']:<4} {r['control']:<32} expected {r['expected']!r}, "
                          f"got {r['got']!r}", flush=True)
            for k in m.keys:
                if not k["right"]:
                    print(f"  key      {k['round']:<4} {k['keys']:<32} expected {k['expected']!r}, booked "
                          f"{k['booked']!r}", flush=True)
    finally:
        tavrin.stop()
    text = table(rows, excluded)
    print(text)
    if args.out:
        with open(args.out, "w") as f:
            f.write(text + "\n")
    if args.details:
        with open(args.details, "w") as f:
            json.dump({"clicks": details, "keys": keys}, f, indent=1)
    wrong = sum(1 for r in details if r["outcome"] == "wrong" and r["app"] not in excluded)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
