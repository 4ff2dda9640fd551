#pragma once

#include <atspi/atspi.h>
#include <chrono>
#include <deque>
#include <optional>

namespace tavrin::atspi {

// Follows the menu item the pointer or the keyboard selects, from the applications' own events
// ("object:state-changed:selected", and "focused", which Qt sends instead), and when its menu
// closes. A menu closes on the button's release and takes its items with it: a click shorter than
// the time the element under the pointer takes to find comes too late to see the item, but the
// item was selected until then. `chosenAt` answers which item that was.
//
// Lives on the accessibility worker thread: made, attached and asked there only; its events
// arrive while that thread turns GLib's default context.
class AtspiMenuSelection {
public:
    using Clock = std::chrono::steady_clock;

    AtspiMenuSelection() = default;
    ~AtspiMenuSelection();
    AtspiMenuSelection(const AtspiMenuSelection&) = delete;
    AtspiMenuSelection& operator=(const AtspiMenuSelection&) = delete;

    // Starts listening; false when the bus refused (then nothing is ever chosen).
    bool attach();

    // The menu item that was selected at `x`, `y` (screen) when its menu closed, at most `maxAge`
    // before `now`, or that is still selected (its menu closed, and the events saying so are on
    // their way). An item whose place could not be read (its menu closed as it was selected)
    // counts only when the press itself selected it. A new reference for the caller, or null. Ask
    // only where no menu shows: while one does, the element under the point says the same, and
    // better.
    // An item stands for one click only: the next asks find nothing.
    AtspiAccessible* chosenAt(int x, int y, Clock::time_point now,
                              Clock::duration maxAge = std::chrono::milliseconds(400));

    // Whether a menu is open, as far as the events tell.
    bool menuOpen() const { return menuOpen_; }
    // While a menu is open, turns GLib's default context until it closes or `limit` passes. A click
    // on a menu item closes the menu when the button comes up, and the lookup of a quick click
    // starts before the application has said which item it selected: a short wait tells whether
    // this click closed it. Worker thread.
    void awaitClose(Clock::duration limit = std::chrono::milliseconds(60));
    // Takes in the events noted since the last call (reading the roles and places they need).
    // Call it where no other call to the bus is under way: the worker does between tasks.
    void drain();

    // What the events said last, for tests of the worker's wiring.
    struct Item {
        AtspiAccessible* accessible = nullptr;   // owned
        int x = 0, y = 0, width = 0, height = 0; // width 0: not known
        int pid = 0;
        Clock::time_point selectedAt{};
        std::optional<Clock::time_point> closedAt; // deselected, or its menu stopped showing
        bool used = false;                         // a click was read as this item
    };
    const std::optional<Item>& last() const { return last_; }

    // The event handler, public for the listener's C callback: notes the event for `drain`.
    void handle(const AtspiEvent& event);

private:
    struct Noted {
        AtspiAccessible* source = nullptr; // owned until drained
        bool focus = false;                // "focused", else "selected"
        int detail1 = 0;
        Clock::time_point at{};
    };
    void apply(const Noted& event);
    void forget();

    std::deque<Noted> queued_;
    AtspiEventListener* listener_ = nullptr;
    std::optional<Item> last_;
    bool menuOpen_ = false;
};

} // namespace tavrin::atspi
