#include <thread>

#include "platform/linux/AtspiWorker.h"

namespace tavrin::atspi {

Owned<AtspiAccessible> applicationOf(int pid) {
    Owned<AtspiAccessible> desktop(atspi_get_desktop(0));
    if (!desktop)
        return nullptr;
    GError* error = nullptr;
    const gint count = atspi_accessible_get_child_count(desktop.get(), &error);
    g_clear_error(&error);
    for (gint i = 0; i < count; ++i) {
        Owned<AtspiAccessible> app(atspi_accessible_get_child_at_index(desktop.get(), i, &error));
        g_clear_error(&error);
        if (!app)
            continue;
        const auto appPid = static_cast<int>(atspi_accessible_get_process_id(app.get(), &error));
        const bool ok = !error;
        g_clear_error(&error);
        if (ok && appPid == pid)
            return app;
    }
    return nullptr;
}

// The showing menu item under the point in any of the application's windows. Found with one
// Collection query per window where the toolkit has it, else depth-first over showing subtrees.
// Only an item that lies inside `popup`, the menu window mapped there, counts: Qt's closed menus
// still claim to be showing where they were.
static Owned<AtspiAccessible> menuItemAt(AtspiAccessible* app, int x, int y, const std::optional<ScreenRect>& popup,
                                         GError** error) {
    Owned<AtspiAccessible> best;
    auto consider = [&](AtspiAccessible* candidate) {
        GError* ignored = nullptr;
        // Later matches lie deeper: submenus follow their opener.
        if (hasState(candidate, ATSPI_STATE_SHOWING))
            if (const auto extents = extentsOf(candidate, &ignored);
                extents && extents->contains(x, y) && (!popup || popup->encloses(*extents)))
                best.reset(static_cast<AtspiAccessible*>(g_object_ref(candidate)));
        g_clear_error(&ignored);
    };
    const gint windows = atspi_accessible_get_child_count(app, error);
    for (gint i = 0; i < windows && !*error; ++i) {
        Owned<AtspiAccessible> window(atspi_accessible_get_child_at_index(app, i, error));
        if (!window || *error || !hasState(window.get(), ATSPI_STATE_SHOWING))
            continue;
        if (Owned<AtspiCollection> collection{atspi_accessible_get_collection_iface(window.get())}) {
            Owned<AtspiStateSet> states(atspi_state_set_new(nullptr));
            atspi_state_set_add(states.get(), ATSPI_STATE_SHOWING);
            GArray* roles = g_array_new(FALSE, FALSE, sizeof(AtspiRole));
            for (AtspiRole role : {ATSPI_ROLE_MENU_ITEM, ATSPI_ROLE_CHECK_MENU_ITEM, ATSPI_ROLE_RADIO_MENU_ITEM,
                                   ATSPI_ROLE_MENU, ATSPI_ROLE_TEAROFF_MENU_ITEM})
                g_array_append_val(roles, role);
            Owned<AtspiMatchRule> rule(
                atspi_match_rule_new(states.get(), ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_NONE,
                                     roles, ATSPI_Collection_MATCH_ANY, nullptr, ATSPI_Collection_MATCH_NONE, FALSE));
            g_array_unref(roles);
            GError* collectionError = nullptr;
            GArray* matches = atspi_collection_get_matches(
                collection.get(), rule.get(), ATSPI_Collection_SORT_ORDER_CANONICAL, 0, TRUE, &collectionError);
            if (matches) {
                for (guint m = 0; m < matches->len; ++m) {
                    Owned<AtspiAccessible> match(g_array_index(matches, AtspiAccessible*, m));
                    consider(match.get());
                }
                g_array_free(matches, TRUE);
                continue;
            }
            const bool timedOut = collectionError && collectionError->domain == G_IO_ERROR &&
                                  collectionError->code == G_IO_ERROR_TIMED_OUT;
            if (timedOut) {
                *error = collectionError;
                break;
            }
            g_clear_error(&collectionError);
        }
        // Depth-first over what is showing, with a bound on the nodes visited.
        std::vector<Owned<AtspiAccessible>> stack;
        stack.push_back(std::move(window));
        for (int visited = 0; !stack.empty() && visited < 4000; ++visited) {
            Owned<AtspiAccessible> node = std::move(stack.back());
            stack.pop_back();
            GError* nodeError = nullptr;
            if (isMenuRole(atspi_accessible_get_role(node.get(), &nodeError)))
                consider(node.get());
            g_clear_error(&nodeError);
            const gint children = atspi_accessible_get_child_count(node.get(), &nodeError);
            g_clear_error(&nodeError);
            for (gint c = children - 1; c >= 0; --c) {
                Owned<AtspiAccessible> child(atspi_accessible_get_child_at_index(node.get(), c, &nodeError));
                g_clear_error(&nodeError);
                if (child && hasState(child.get(), ATSPI_STATE_SHOWING))
                    stack.push_back(std::move(child));
            }
        }
    }
    return best;
}

// The application's top-level that is the X11 window under the point: among those showing and
// holding the point, the one whose frame matches the window's. Minimised windows still claim to
// be showing, so the frame decides, not the state. The extents come first: unlike the state they
// report an application that does not answer.
static Owned<AtspiAccessible> topLevelAt(AtspiAccessible* app, int x, int y, const std::optional<ScreenRect>& client,
                                         GError** error) {
    Owned<AtspiAccessible> best;
    int bestDistance = std::numeric_limits<int>::max();
    const gint windows = atspi_accessible_get_child_count(app, error);
    for (gint i = 0; i < windows && !*error; ++i) {
        Owned<AtspiAccessible> window(atspi_accessible_get_child_at_index(app, i, error));
        if (!window || *error)
            continue;
        const auto extents = extentsOf(window.get(), error);
        if (!extents || !extents->contains(x, y) || !hasState(window.get(), ATSPI_STATE_SHOWING))
            continue;
        const int distance = client ? extents->distance(*client) : 0;
        if (distance < bestDistance) {
            bestDistance = distance;
            best = std::move(window);
        }
    }
    return best;
}

// From a menu item (`current`), else a popover of the top-level or the top-level itself, hit tests
// until they stop going deeper. Coordinates as the application gives its extents.
static Found descendFrom(AtspiAccessibility::Worker& w, int pid, int x, int y, Owned<AtspiAccessible> current,
                         Owned<AtspiAccessible> topLevel, bool menuItem) {
    using Outcome = ElementAtPoint::Outcome;
    GError* error = nullptr;
    auto timedOut = [&] {
        const bool timeout = w.noteTimeout(pid, error);
        g_clear_error(&error);
        return timeout;
    };
    if (!current && topLevel) {
        // Popovers are drawn inside their window and listed after its content: the last showing
        // child that holds the point is where the hit tests start.
        const gint children = atspi_accessible_get_child_count(topLevel.get(), &error);
        if (timedOut())
            return failure("application not responding");
        for (gint i = children - 1; i >= 1; --i) {
            Owned<AtspiAccessible> child(atspi_accessible_get_child_at_index(topLevel.get(), i, &error));
            if (child && !error && showingAt(child.get(), x, y, &error)) {
                current = std::move(child);
                break;
            }
            if (timedOut())
                return failure("application not responding");
        }
    }
    // Hit tests until they stop going deeper; false when the application timed out.
    auto descend = [&](Owned<AtspiAccessible>& element, int& steps) {
        for (steps = 0; steps < 64; ++steps) {
            Owned<AtspiComponent> component(atspi_accessible_get_component_iface(element.get()));
            if (!component)
                break;
            Owned<AtspiAccessible> deeper(
                atspi_component_get_accessible_at_point(component.get(), x, y, ATSPI_COORD_TYPE_SCREEN, &error));
            if (timedOut())
                return false;
            if (!deeper || deeper.get() == element.get())
                break;
            element = std::move(deeper);
        }
        return true;
    };
    int steps = 0;
    if (current && !descend(current, steps))
        return failure("application not responding");
    // A later child that holds the point but answers no hit test is no popover: Firefox lists
    // its whole content area that way, and only the window's own hit test reaches the page.
    if (topLevel && (!current || steps == 0)) {
        current = std::move(topLevel);
        // A browser answers the first hit test that has to cross into its page process with
        // nothing and has the answer a moment later.
        for (const int wait : {0, 10, 40, 150}) {
            std::this_thread::sleep_for(std::chrono::milliseconds(wait));
            if (!descend(current, steps))
                return failure("application not responding");
            if (steps > 0)
                break;
        }
    }
    return {Outcome::found, std::move(current), pid, {}, menuItem || steps > 0};
}

// Runs on the worker thread: the window under the point, its process and accessibility
// application, the top-level, a popover or menu when one is open there, then hit tests until they
// stop going deeper.
Found findElement(AtspiAccessibility::Worker& w, TopLeftPoint point) {
    using Outcome = ElementAtPoint::Outcome;
    if (!w.display)
        return failure("no X11 display");
    if (w.menuSelection)
        w.menuSelection->awaitClose();
    WindowUnderPoint window = windowAt(w, static_cast<int>(point.x), static_cast<int>(point.y));
    if (!window.pid)
        return {Outcome::noElement, nullptr, 0, {}};
    const int pid = *window.pid;
    // A GTK application scaled by a whole factor gives its positions in its own, larger pixels.
    const int scale = gtkScaleOf(pid);
    const int x = static_cast<int>(point.x) / scale, y = static_cast<int>(point.y) / scale;
    if (window.client && scale > 1)
        window.client = ScreenRect{window.client->x / scale, window.client->y / scale, window.client->width / scale,
                                   window.client->height / scale};
    const auto started = std::chrono::steady_clock::now();
    // A menu that closed on a quick click leaves no menu at the point: the item that was selected
    // when it closed is what was clicked.
    if (!window.popup && w.menuSelection)
        if (Owned<AtspiAccessible> chosen{w.menuSelection->chosenAt(x, y, started)})
            return {Outcome::found,
                    std::move(chosen),
                    w.menuSelection->last()->pid,
                    {},
                    true,
                    ElementFinding::menuSelection};
    if (w.backingOff(pid))
        return failure("application not responding");
    Owned<AtspiAccessible> app = applicationOf(pid);
    if (!app)
        return failure("the application is not on the accessibility bus");

    GError* error = nullptr;
    auto timedOut = [&] {
        const bool timeout = w.noteTimeout(pid, error);
        g_clear_error(&error);
        return timeout;
    };
    Owned<AtspiAccessible> current; // where the hit tests start: a menu item, a popover or the window
    Owned<AtspiAccessible> topLevel;
    if (window.popup) {
        std::optional<ScreenRect> popup = window.top;
        if (popup && scale > 1)
            popup = ScreenRect{popup->x / scale, popup->y / scale, popup->width / scale, popup->height / scale};
        current = menuItemAt(app.get(), x, y, popup, &error);
        if (timedOut())
            return failure("application not responding");
        // The menu is closing under a quick click: its window still shows, its items no longer.
        if (!current && w.menuSelection)
            if (Owned<AtspiAccessible> chosen{w.menuSelection->chosenAt(x, y, started)})
                return {Outcome::found,
                        std::move(chosen),
                        w.menuSelection->last()->pid,
                        {},
                        true,
                        ElementFinding::menuSelection};
    }
    const bool menuItem = current != nullptr; // it lies inside the menu's window already
    if (!current) {
        Owned<AtspiAccessible> top = topLevelAt(app.get(), x, y, window.client, &error);
        if (timedOut())
            return failure("application not responding");
        if (!top) {
            // Some reads of a stopped application come back empty rather than failed; only the
            // time they took tells them apart from an application without windows there.
            if (std::chrono::steady_clock::now() - started >= AtspiAccessibility::callTimeout) {
                w.timedOut[pid] = std::chrono::steady_clock::now();
                return failure("application not responding");
            }
            return {Outcome::noElement, nullptr, 0, {}};
        }
        topLevel = std::move(top);
    }
    return descendFrom(w, pid, x, y, std::move(current), std::move(topLevel), menuItem);
}

// The application's frame that a desktop helper named: the active one, else the one with the
// helper's title, else the only one showing. Wayland clients report every frame at (0, 0).
static Owned<AtspiAccessible> frameOf(AtspiAccessible* app, const std::string& title, GError** error) {
    Owned<AtspiAccessible> named, showing;
    int showingCount = 0;
    const gint windows = atspi_accessible_get_child_count(app, error);
    for (gint i = 0; i < windows && !*error; ++i) {
        Owned<AtspiAccessible> window(atspi_accessible_get_child_at_index(app, i, error));
        if (!window || *error)
            continue;
        if (hasState(window.get(), ATSPI_STATE_ACTIVE))
            return window;
        if (!hasState(window.get(), ATSPI_STATE_SHOWING))
            continue;
        GError* nameError = nullptr;
        if (!named && !title.empty() && takeString(atspi_accessible_get_name(window.get(), &nameError)) == title)
            named.reset(static_cast<AtspiAccessible*>(g_object_ref(window.get())));
        g_clear_error(&nameError);
        ++showingCount;
        showing = std::move(window);
    }
    return named ? std::move(named) : showingCount == 1 ? std::move(showing) : nullptr;
}

Found findElementInFrame(AtspiAccessibility::Worker& w, int pid, const std::string& title, TopLeftPoint local) {
    using Outcome = ElementAtPoint::Outcome;
    if (w.backingOff(pid))
        return failure("application not responding");
    Owned<AtspiAccessible> app = applicationOf(pid);
    if (!app)
        return failure("the application is not on the accessibility bus");
    const int x = static_cast<int>(local.x), y = static_cast<int>(local.y);
    GError* error = nullptr;
    // An open menu lies over the window (its own surface, placed in the window's coordinates).
    Owned<AtspiAccessible> current = menuItemAt(app.get(), x, y, std::nullopt, &error);
    Owned<AtspiAccessible> frame;
    if (!current && !error)
        frame = frameOf(app.get(), title, &error);
    if (error) {
        const bool timeout = w.noteTimeout(pid, error);
        g_clear_error(&error);
        if (timeout)
            return failure("application not responding");
    }
    if (!current && !frame)
        return {Outcome::noElement, nullptr, 0, {}};
    const bool menuItem = current != nullptr;
    return descendFrom(w, pid, x, y, std::move(current), std::move(frame), menuItem);
}

} // namespace tavrin::atspi
