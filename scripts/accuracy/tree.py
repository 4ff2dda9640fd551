"""The accessibility tree of the applications under measurement, read over the AT-SPI bus.

Finding a control by what a person sees (its role, its name, the bar or menu it sits in) is the
same on every desktop; only where it lies on the screen differs, and that is the backend's part
(backends.py). Needs python3-gi and gir1.2-atspi-2.0.
"""
import time
import warnings

warnings.simplefilter("ignore")
import gi  # noqa: E402

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

# Roles whose children are content, not controls: the search does not enter them unless asked.
CONTENT = {"document web", "document text", "document frame", "text", "terminal", "table", "tree table",
           "canvas", "list", "tree", "layered pane", "paragraph"}


def safe(call, default=None):
    try:
        return call()
    except Exception:
        return default


def role(node):
    return safe(node.get_role_name, "") or ""


def name(node):
    return (safe(node.get_name, "") or "").strip()


def states(node):
    return safe(node.get_state_set)


def has(node, state):
    s = states(node)
    return s is not None and s.contains(state)


def showing(node):
    return has(node, Atspi.StateType.SHOWING)


def children(node, limit=2000):
    for i in range(min(safe(node.get_child_count, 0) or 0, limit)):
        child = safe(lambda: node.get_child_at_index(i))
        if child is not None:
            yield child


def application(pid, seconds=20):
    """The accessible application of a process, once it is on the bus."""
    until = time.time() + seconds
    while time.time() < until:
        desktop = Atspi.get_desktop(0)
        for app in children(desktop):
            if safe(app.get_process_id) == pid:
                return app
        time.sleep(0.3)
    return None


def applications():
    desktop = Atspi.get_desktop(0)
    return [(safe(app.get_process_id), name(app), app) for app in children(desktop)]


def walk(node, visit, depth=0, enter_content=False, only_showing=True):
    """Depth-first; `visit` returns True to stop. Returns the node it stopped at."""
    if node is None or depth > 60:
        return None
    if visit(node):
        return node
    if not enter_content and role(node) in CONTENT and depth > 0:
        return None
    for child in children(node):
        if only_showing and depth > 0 and not showing(child):
            continue
        found = walk(child, visit, depth + 1, enter_content, only_showing)
        if found is not None:
            return found
    return None


def matches(node, query):
    """Whether a node is what a control's query names: role (one or a list), name (exact) or
    name_starts, and a state it must have."""
    roles = query.get("role")
    if roles is not None:
        roles = [roles] if isinstance(roles, str) else roles
        if role(node) not in roles:
            return False
    if "name" in query and name(node) != query["name"]:
        return False
    if "name_starts" in query and not name(node).startswith(query["name_starts"]):
        return False
    if "description" in query and (safe(node.get_description, "") or "").strip() != query["description"]:
        return False
    return True


def find(root, query, *, within=None, enter_content=False):
    """The first showing node under `root` that matches `query`; with `within` (a query), only under
    a node matching that one (a tool bar, a menu bar, a header bar, a page tab list)."""
    if within:
        found = []

        def container(node):
            if matches(node, within) and showing(node):
                hit = find(node, query, enter_content=enter_content)
                if hit is not None:
                    found.append(hit)
                    return True
            return False
        walk(root, container)
        return found[0] if found else None
    index = query.get("index", 0)
    seen = []

    def visit(node):
        if matches(node, query) and showing(node):
            seen.append(node)
            return len(seen) > index
        return False
    walk(root, visit, enter_content=enter_content)
    return seen[index] if len(seen) > index else None


def describe(node, depth=0, out=None, max_depth=25, enter_content=False):
    """Lines of the showing tree: role, name, description and the first action's key binding,
    for writing the controls of a new application."""
    out = [] if out is None else out
    if node is None or depth > max_depth:
        return out
    binding = ""
    action = safe(node.get_action_iface)
    if action is not None and (safe(action.get_n_actions, 0) or 0) > 0:
        binding = safe(lambda: action.get_key_binding(0), "") or ""
    description = (safe(node.get_description, "") or "").strip()
    box = safe(lambda: node.get_extents(Atspi.CoordType.SCREEN))
    where = f" @{box.x},{box.y} {box.width}x{box.height}" if box else ""
    out.append(f"{'  ' * depth}{role(node)} {name(node)!r}"
               + (f" desc={description!r}" if description else "")
               + (f" keys={binding!r}" if binding else "") + where)
    if role(node) in CONTENT and not enter_content and depth > 0:
        return out
    for child in children(node):
        if showing(child) or depth == 0:
            describe(child, depth + 1, out, max_depth, enter_content)
    return out
