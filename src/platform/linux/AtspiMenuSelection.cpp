#include "platform/linux/AtspiMenuSelection.h"

#include <cstring>
#include <thread>

#include "platform/linux/AtspiWorker.h"

namespace tavrin::atspi {

namespace {

constexpr const char* kEvents[] = {"object:state-changed:selected", "object:state-changed:focused"};

// A menu item selected this shortly before its menu closed was selected by the click that closed it.
constexpr auto kSelectedByThePress = std::chrono::milliseconds(150);

bool isMenuItem(AtspiRole role) {
    return role == ATSPI_ROLE_MENU_ITEM || role == ATSPI_ROLE_CHECK_MENU_ITEM || role == ATSPI_ROLE_RADIO_MENU_ITEM;
}

bool sameObject(AtspiAccessible* a, AtspiAccessible* b) {
    if (a == b)
        return true;
    if (!a || !b || !a->parent.path || !b->parent.path || !a->parent.app || !b->parent.app)
        return false;
    return std::strcmp(a->parent.path, b->parent.path) == 0 &&
           std::strcmp(a->parent.app->bus_name, b->parent.app->bus_name) == 0;
}

void onEvent(AtspiEvent* event, void* self) {
    if (event)
        static_cast<AtspiMenuSelection*>(self)->handle(*event);
    g_boxed_free(ATSPI_TYPE_EVENT, event);
}

} // namespace

AtspiMenuSelection::~AtspiMenuSelection() {
    if (listener_) {
        for (const char* type : kEvents)
            atspi_event_listener_deregister(listener_, type, nullptr);
        g_object_unref(listener_);
    }
    for (const Noted& noted : queued_)
        g_object_unref(noted.source);
    forget();
}

bool AtspiMenuSelection::attach() {
    if (listener_)
        return true;
    listener_ = atspi_event_listener_new(onEvent, this, nullptr);
    bool attached = true;
    for (const char* type : kEvents) {
        GError* error = nullptr;
        attached = atspi_event_listener_register(listener_, type, &error) && attached;
        g_clear_error(&error);
    }
    return attached;
}

void AtspiMenuSelection::forget() {
    if (last_ && last_->accessible)
        g_object_unref(last_->accessible);
    last_.reset();
}

void AtspiMenuSelection::handle(const AtspiEvent& event) {
    // Only noted here: the handler can run inside another call to the bus (libatspi dispatches
    // events while it waits for an answer), and a call of its own there would nest.
    if (!event.source)
        return;
    queued_.push_back({static_cast<AtspiAccessible*>(g_object_ref(event.source)),
                       event.type && std::strcmp(event.type, "object:state-changed:focused") == 0, event.detail1,
                       Clock::now()});
}

void AtspiMenuSelection::drain() {
    while (!queued_.empty()) {
        const Noted noted = queued_.front();
        queued_.pop_front();
        apply(noted);
        g_object_unref(noted.source);
    }
}

void AtspiMenuSelection::apply(const Noted& event) {
    const auto now = event.at;
    GError* error = nullptr;
    const AtspiRole role = atspi_accessible_get_role(event.source, &error);
    if (error) {
        g_clear_error(&error);
        return;
    }
    const bool focus = event.focus;
    if (role == ATSPI_ROLE_MENU) {
        // A menu title selected opens its menu; deselected, closes it.
        menuOpen_ = event.detail1 == 1;
        if (!menuOpen_ && last_ && !last_->closedAt)
            last_->closedAt = now;
        return;
    }
    if (!isMenuItem(role)) {
        // Something else took the keyboard: the menu has closed.
        if (focus && event.detail1 == 1) {
            menuOpen_ = false;
            if (last_ && !last_->closedAt)
                last_->closedAt = now;
        }
        return;
    }
    if (event.detail1 == 0) {
        if (last_ && !last_->closedAt && sameObject(last_->accessible, event.source))
            last_->closedAt = now;
        return;
    }
    menuOpen_ = true;
    // Selected: where it is, if its menu still shows. A quick click selects the item as it presses
    // and the menu is gone a few milliseconds later, often before this read answers.
    Item item;
    if (Owned<AtspiComponent> component{atspi_accessible_get_component_iface(event.source)}) {
        AtspiRect* rect = atspi_component_get_extents(component.get(), ATSPI_COORD_TYPE_SCREEN, &error);
        // A menu already unmapped answers with nonsense (a width, and INT_MIN for the position).
        constexpr int far = 1 << 20;
        if (rect && !error && rect->width > 0 && rect->height > 0 && rect->x > -far && rect->y > -far &&
            rect->x < far && rect->y < far) {
            item.x = rect->x;
            item.y = rect->y;
            item.width = rect->width;
            item.height = rect->height;
        }
        g_clear_error(&error);
        g_free(rect);
    }
    item.pid = static_cast<int>(atspi_accessible_get_process_id(event.source, &error));
    g_clear_error(&error);
    item.selectedAt = now;
    item.accessible = static_cast<AtspiAccessible*>(g_object_ref(event.source));
    forget();
    last_ = item;
}

void AtspiMenuSelection::awaitClose(Clock::duration limit) {
    const auto until = Clock::now() + limit;
    while (menuOpen_ && Clock::now() < until) {
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
        drain();
        if (menuOpen_)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

AtspiAccessible* AtspiMenuSelection::chosenAt(int x, int y, Clock::time_point now, Clock::duration maxAge) {
    drain();
    if (!last_ || last_->used)
        return nullptr;
    Item& item = *last_;
    // An item still selected lies in a menu that closed so recently that its events are still on
    // their way (the caller asks only where no menu shows). A close seen after `now` is this
    // click's own: the menu's events can arrive while the lookup reads the application.
    const auto closed = item.closedAt.value_or(now);
    if (now - closed > maxAge)
        return nullptr;
    if (item.width > 0) {
        if (x < item.x || y < item.y || x >= item.x + item.width || y >= item.y + item.height)
            return nullptr;
    } else if (closed - item.selectedAt > kSelectedByThePress) {
        // Where it was is not known: only an item selected by the press itself (the pointer came
        // to it as the button went down, and the menu closed at once) stands for the click.
        return nullptr;
    }
    item.used = true; // by the click that closed its menu, and no later one
    return static_cast<AtspiAccessible*>(g_object_ref(item.accessible));
}

} // namespace tavrin::atspi
