#include <algorithm>

#include "foundation/Text.h"
#include "platform/linux/AtspiWorker.h"

namespace tavrin {

using namespace atspi;

// An element of another application's tree. It keeps its own reference; every call goes through
// the worker thread.
class AtspiElement final : public AccessibleElement, public std::enable_shared_from_this<AtspiElement> {
public:
    AtspiElement(const AtspiAccessibility& owner, AtspiAccessible* accessible, int pid)
        : owner_(owner), accessible_(accessible), pid_(pid) {
        busName_ = accessible->parent.app ? accessible->parent.app->bus_name : "";
        path_ = accessible->parent.path ? accessible->parent.path : "";
    }
    ~AtspiElement() override { owner_.release(accessible_); }

    // The first question reads every attribute in one trip to the worker; the walk asks the same
    // element several times, and each trip costs more than the reads.
    std::optional<AttributeValue> attribute(std::string_view name) const override {
        std::lock_guard lock(mutex_);
        if (!attributes_) {
            AtspiAccessible* a = accessible_;
            AtspiAccessibility::Worker* w = owner_.worker_.get();
            const int pid = pid_;
            auto read = owner_.call([a, w, pid] { return readAttributes(*w, a, pid); });
            if (!read)
                return std::nullopt; // not cached: the worker was busy, a later question may succeed
            attributes_ = std::move(*read);
        }
        const auto it = attributes_->find(std::string(name));
        if (it == attributes_->end())
            return std::nullopt;
        return it->second;
    }

    std::optional<AccessibleElementRef> firstChild() const override {
        return related([](AtspiAccessible* a, GError** error) {
            return atspi_accessible_get_child_count(a, error) > 0 ? atspi_accessible_get_child_at_index(a, 0, error)
                                                                  : nullptr;
        });
    }
    std::optional<AccessibleElementRef> parent() const override {
        return related([](AtspiAccessible* a, GError** error) { return atspi_accessible_get_parent(a, error); });
    }
    std::optional<int> processId() const override { return pid_; }
    bool equals(const AccessibleElement& other) const override {
        const auto* that = dynamic_cast<const AtspiElement*>(&other);
        return that && that->busName_ == busName_ && that->path_ == path_;
    }

private:
    template <class Get> std::optional<AccessibleElementRef> related(Get get) const {
        AtspiAccessible* a = accessible_;
        AtspiAccessibility::Worker* w = owner_.worker_.get();
        const int pid = pid_;
        const auto found = owner_.call([a, get, w, pid]() -> AtspiAccessible* {
            if (w->backingOff(pid))
                return nullptr;
            GError* error = nullptr;
            AtspiAccessible* other = get(a, &error);
            w->noteTimeout(pid, error);
            g_clear_error(&error);
            return other;
        });
        if (!found || !*found)
            return std::nullopt;
        return AccessibleElementRef(std::make_shared<AtspiElement>(owner_, *found, pid_));
    }

    using Attributes = std::map<std::string, AttributeValue>;

    // Worker thread. The shortcut a menu item or button shows, for learning it from a click:
    // "AXKeyBinding" (its first action's key binding) and "AXKeyShortcuts" (web content's), and
    // "AXEditable" ("true") for one the user can type into, which the learning leaves alone.
    static void readShortcut(AtspiAccessible* a, AtspiRole role, Attributes& out) {
        if (role != ATSPI_ROLE_MENU_ITEM && role != ATSPI_ROLE_CHECK_MENU_ITEM && role != ATSPI_ROLE_RADIO_MENU_ITEM &&
            role != ATSPI_ROLE_PUSH_BUTTON && role != ATSPI_ROLE_TOGGLE_BUTTON)
            return;
        if (Owned<AtspiStateSet> states{atspi_accessible_get_state_set(a)})
            if (atspi_state_set_contains(states.get(), ATSPI_STATE_EDITABLE))
                out.emplace("AXEditable", AttributeValue::string("true"));
        GError* error = nullptr;
        if (Owned<AtspiAction> action{atspi_accessible_get_action_iface(a)})
            if (atspi_action_get_n_actions(action.get(), &error) > 0 && !error)
                if (gchar* binding = atspi_action_get_key_binding(action.get(), 0, &error); binding && !error)
                    out.emplace("AXKeyBinding", AttributeValue::string(takeString(binding)));
        g_clear_error(&error);
        if (GHashTable* attributes = atspi_accessible_get_attributes(a, &error)) {
            if (const auto* shortcuts = static_cast<const char*>(g_hash_table_lookup(attributes, "keyshortcuts")))
                out.emplace("AXKeyShortcuts", AttributeValue::string(shortcuts));
            g_hash_table_unref(attributes);
        }
        g_clear_error(&error);
    }

    // Worker thread. Absent attributes are left out: help text (AT-SPI has none), text of a
    // password field, anything that failed.
    static Attributes readAttributes(AtspiAccessibility::Worker& w, AtspiAccessible* a, int pid) {
        Attributes out;
        if (w.backingOff(pid))
            return out;
        GError* error = nullptr;
        auto keep = [&](const char* key, gchar* text) {
            if (error) {
                w.noteTimeout(pid, error);
                g_clear_error(&error);
                g_free(text);
                return false;
            }
            out.emplace(key, AttributeValue::string(takeString(text)));
            return true;
        };
        const AtspiRole role = atspi_accessible_get_role(a, &error);
        if (error) {
            w.noteTimeout(pid, error);
            g_clear_error(&error);
            return out;
        }
        const bool secret = role == ATSPI_ROLE_PASSWORD_TEXT; // password fields are never read
        if (!secret) {
            gchar* name = atspi_accessible_get_name(a, &error);
            if (!error) {
                // GTK pads menu item names with blanks.
                out.emplace("AXTitle", AttributeValue::string(trimmed(takeString(name))));
            } else if (!keep("AXTitle", name)) {
                return out;
            }
        }
        if (!keep("AXDescription", atspi_accessible_get_description(a, &error)) ||
            !keep("AXRoleDescription", atspi_accessible_get_localized_role_name(a, &error)) ||
            !keep("AXIdentifier", atspi_accessible_get_accessible_id(a, &error)) ||
            !keep("AXRole", atspi_accessible_get_role_name(a, &error)))
            return out;
        if (secret)
            return out;
        readShortcut(a, role, out);
        if (Owned<AtspiText> text{atspi_accessible_get_text_iface(a)}) {
            const gint count = atspi_text_get_character_count(text.get(), &error);
            if (!error && count > 0)
                keep("AXValue", atspi_text_get_text(text.get(), 0, std::min(count, 4096), &error));
            else if (!error)
                out.emplace("AXValue", AttributeValue::string({}));
            w.noteTimeout(pid, error);
            g_clear_error(&error);
        } else if (Owned<AtspiValue> value{atspi_accessible_get_value_iface(a)}) {
            out.emplace("AXValue", AttributeValue::nonString()); // a number
        }
        return out;
    }

    const AtspiAccessibility& owner_;
    AtspiAccessible* accessible_;
    int pid_;
    mutable std::mutex mutex_;
    mutable std::optional<Attributes> attributes_;
    std::string busName_;
    std::string path_;
};

AccessibleElementRef atspi::makeElement(const AtspiAccessibility& owner, AtspiAccessible* accessible, int pid) {
    return AccessibleElementRef(std::make_shared<AtspiElement>(owner, accessible, pid));
}

} // namespace tavrin
