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
            if (child)
                stack.push_back({std::move(child), path});
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
        if (Owned<AtspiStateSet> states{atspi_accessible_get_state_set(node)})
            out.editable = atspi_state_set_contains(states.get(), ATSPI_STATE_EDITABLE);
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
