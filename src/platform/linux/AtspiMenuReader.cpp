#include "platform/linux/AtspiMenuReader.h"

#include <atspi/atspi.h>
#include <gio/gio.h>
#include <memory>

#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/AtspiWorker.h"

namespace tavrin {

namespace {

using atspi::Owned;
constexpr auto take = atspi::takeString;

std::string trimTrailing(std::string text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.pop_back();
    return text;
}

bool timedOut(GError* error) {
    return error && ((error->domain == G_IO_ERROR && error->code == G_IO_ERROR_TIMED_OUT) ||
                     (error->message && std::string(error->message).find("imeout") != std::string::npos));
}

bool holdsMenu(AtspiRole role) {
    return role == ATSPI_ROLE_MENU || role == ATSPI_ROLE_MENU_ITEM;
}

bool isItem(AtspiRole role) {
    return role == ATSPI_ROLE_MENU_ITEM || role == ATSPI_ROLE_CHECK_MENU_ITEM || role == ATSPI_ROLE_RADIO_MENU_ITEM ||
           role == ATSPI_ROLE_PUSH_BUTTON || role == ATSPI_ROLE_TOGGLE_BUTTON;
}

// The walk's state between slices; touched only on the worker thread.
struct Walk {
    struct Pending {
        Owned<AtspiAccessible> node;
        std::vector<std::string> menuPath;
        std::vector<int> place;
    };
    std::vector<Pending> stack;
    MenuWalk result;
    bool failed = false;

    // Reads up to `count` nodes; false when the walk is over.
    bool step(int count, int maxNodes) {
        for (int i = 0; i < count; ++i) {
            if (stack.empty() || failed || result.nodesSeen >= maxNodes)
                return false;
            Pending pending = std::move(stack.back());
            stack.pop_back();
            visit(pending);
        }
        return !stack.empty() && !failed && result.nodesSeen < maxNodes;
    }

    void visit(Pending& pending) {
        AtspiAccessible* node = pending.node.get();
        ++result.nodesSeen;
        GError* error = nullptr;
        const AtspiRole role = atspi_accessible_get_role(node, &error);
        if (error) {
            failed = timedOut(error);
            g_clear_error(&error);
            return;
        }
        const std::string roleName = take(atspi_role_get_name(role));
        if (role == ATSPI_ROLE_PASSWORD_TEXT || isContentRole(roleName))
            return; // nothing of documents, text or lists is read
        std::string name = trimTrailing(take(atspi_accessible_get_name(node, &error)));
        g_clear_error(&error);
        if (holdsMenu(role) && isPrivateMenu(name))
            return;
        if (isItem(role)) {
            ++result.itemsSeen;
            result.items.push_back(read(node, roleName, std::move(name), pending.menuPath));
            result.items.back().place = pending.place;
            name = result.items.back().name;
        }
        const gint children = atspi_accessible_get_child_count(node, &error);
        if (error) {
            failed = timedOut(error);
            g_clear_error(&error);
            return;
        }
        std::vector<std::string> path = pending.menuPath;
        if (holdsMenu(role) && !name.empty() && (path.empty() || path.back() != name))
            path.push_back(name);
        // Pushed last to first, so that the walk reads them in order.
        for (gint c = children - 1; c >= 0; --c) {
            Owned<AtspiAccessible> child(atspi_accessible_get_child_at_index(node, c, &error));
            if (error) {
                failed = timedOut(error);
                g_clear_error(&error);
                if (failed)
                    return;
                continue;
            }
            if (child) {
                auto place = pending.place;
                place.push_back(c);
                stack.push_back({std::move(child), path, std::move(place)});
            }
        }
    }

    static MenuNode read(AtspiAccessible* node, const std::string& role, std::string name,
                         const std::vector<std::string>& menuPath) {
        MenuNode out;
        out.role = role;
        out.name = std::move(name);
        out.menuPath = menuPath;
        GError* error = nullptr;
        out.description = take(atspi_accessible_get_description(node, &error));
        g_clear_error(&error);
        if (Owned<AtspiStateSet> states{atspi_accessible_get_state_set(node)}) {
            out.editable = atspi_state_set_contains(states.get(), ATSPI_STATE_EDITABLE);
            out.enabled = atspi_state_set_contains(states.get(), ATSPI_STATE_SENSITIVE) ||
                          atspi_state_set_contains(states.get(), ATSPI_STATE_ENABLED);
        }
        // GTK 3 leaves the Action interface off items that are insensitive: their shortcut shows
        // once they are enabled.
        if (Owned<AtspiAction> action{atspi_accessible_get_action_iface(node)}) {
            if (atspi_action_get_n_actions(action.get(), &error) > 0 && !error)
                out.keyBinding = take(atspi_action_get_key_binding(action.get(), 0, &error));
            g_clear_error(&error);
        }
        if (GHashTable* attributes = atspi_accessible_get_attributes(node, &error)) {
            if (const auto* shortcuts = static_cast<const char*>(g_hash_table_lookup(attributes, "keyshortcuts")))
                out.keyShortcuts = shortcuts;
            g_hash_table_unref(attributes);
        }
        g_clear_error(&error);
        return out;
    }
};

// The node at `item.place` below the application `app`, read as the walk reads it, when it is
// still a node of the item's role and name, and no node on the way is content or a menu of the
// user's own things. Worker thread.
std::optional<MenuNode> readAgain(AtspiAccessible* app, const MenuNode& item) {
    Owned<AtspiAccessible> node(static_cast<AtspiAccessible*>(g_object_ref(app)));
    std::vector<std::string> menuPath;
    GError* error = nullptr;
    for (const int index : item.place) {
        const AtspiRole role = atspi_accessible_get_role(node.get(), &error);
        if (error) {
            g_clear_error(&error);
            return std::nullopt;
        }
        const std::string roleName = take(atspi_role_get_name(role));
        if (role == ATSPI_ROLE_PASSWORD_TEXT || isContentRole(roleName))
            return std::nullopt;
        if (holdsMenu(role)) {
            const std::string name = trimTrailing(take(atspi_accessible_get_name(node.get(), &error)));
            g_clear_error(&error);
            if (isPrivateMenu(name))
                return std::nullopt;
            if (!name.empty() && (menuPath.empty() || menuPath.back() != name))
                menuPath.push_back(name);
        }
        Owned<AtspiAccessible> child(atspi_accessible_get_child_at_index(node.get(), index, &error));
        if (error || !child) {
            g_clear_error(&error);
            return std::nullopt;
        }
        node = std::move(child);
    }
    const AtspiRole role = atspi_accessible_get_role(node.get(), &error);
    if (error || !isItem(role)) {
        g_clear_error(&error);
        return std::nullopt;
    }
    std::string name = trimTrailing(take(atspi_accessible_get_name(node.get(), &error)));
    g_clear_error(&error);
    const std::string roleName = take(atspi_role_get_name(role));
    if (roleName != item.role || name != item.name || menuPath != item.menuPath)
        return std::nullopt;
    MenuNode out = Walk::read(node.get(), roleName, std::move(name), menuPath);
    out.place = item.place;
    return out;
}

// "gtk 3.24.38": the toolkit's name and version, as the application reports them.
std::string toolkitText(AtspiAccessible* app) {
    GError* error = nullptr;
    const std::string toolkit = take(atspi_accessible_get_toolkit_name(app, &error));
    g_clear_error(&error);
    const std::string version = take(atspi_accessible_get_toolkit_version(app, &error));
    g_clear_error(&error);
    return toolkit + (version.empty() ? "" : " " + version);
}

} // namespace

std::optional<std::string> readApplicationToolkit(const AtspiAccessibility& accessibility, int pid) {
    const auto found = accessibility.call([pid]() -> std::optional<std::string> {
        const Owned<AtspiAccessible> app = atspi::applicationOf(pid);
        if (!app)
            return std::nullopt;
        return toolkitText(app.get());
    });
    return found ? *found : std::nullopt;
}

std::vector<std::optional<MenuNode>> readApplicationMenuItems(const AtspiAccessibility& accessibility, int pid,
                                                              const std::vector<MenuNode>& items) {
    std::vector<std::optional<MenuNode>> found(items.size());
    auto app = std::make_shared<Owned<AtspiAccessible>>();
    const auto onBus = accessibility.call([app, pid] {
        *app = atspi::applicationOf(pid);
        return *app != nullptr;
    });
    if (!onBus || !*onBus)
        return found;
    // One item a call, so that a click's lookup waits behind one item at most.
    for (std::size_t i = 0; i < items.size(); ++i) {
        const auto read = accessibility.call([app, item = items[i]] { return readAgain(app->get(), item); });
        if (!read)
            break; // the application does not answer
        found[i] = *read;
    }
    // Released on the worker, where it was taken, without waiting for it.
    accessibility.call(
        [app] {
            app->reset();
            return true;
        },
        std::chrono::milliseconds(0));
    return found;
}

std::optional<MenuWalk> readApplicationMenus(const AtspiAccessibility& accessibility, int pid,
                                             const MenuWalkLimits& limits) {
    const auto started = std::chrono::steady_clock::now();
    auto walk = std::make_shared<Walk>();
    // The first slice finds the application and lays out its windows.
    const auto found = accessibility.call([walk, pid]() -> bool {
        Owned<AtspiAccessible> app = atspi::applicationOf(pid);
        if (!app)
            return false;
        GError* error = nullptr;
        walk->result.applicationName = take(atspi_accessible_get_name(app.get(), &error));
        g_clear_error(&error);
        walk->result.toolkit = toolkitText(app.get());
        walk->stack.push_back({std::move(app), {}});
        return true;
    });
    if (!found || !*found)
        return std::nullopt;
    bool more = true;
    while (more) {
        if (std::chrono::steady_clock::now() - started > limits.maxTime)
            break;
        const auto slice = accessibility.call(
            [walk, limits] { return walk->step(limits.nodesPerSlice, limits.maxNodes); }, std::chrono::seconds(5));
        if (!slice)
            break; // the worker is stuck on an application that does not answer
        more = *slice;
    }
    // What is left of the walk is released on the worker, where its references were taken.
    const auto last = accessibility.call([walk] {
        MenuWalk result = std::move(walk->result);
        result.complete = walk->stack.empty() && !walk->failed;
        walk->stack.clear();
        return result;
    });
    if (!last)
        return std::nullopt;
    MenuWalk result = *last;
    result.took = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);
    return result;
}

} // namespace tavrin
