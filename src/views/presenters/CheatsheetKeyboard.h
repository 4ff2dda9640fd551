#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "views/presenters/CheatsheetPresenter.h"

namespace tavrin {

// The header's buttons, in the order they sit: the subtitle's info (where it shows), shrink (or
// expand), pin (or unpin), and the window's menu (where the session has no tray).
enum class HeaderControl { info, shrink, pin, menu };

// Where the keyboard can be in the cheat sheet: a header button, one of the two tabs, a card, or a
// card's button. The pointer never puts the keyboard anywhere: only the keys below and the shortcut
// that hands the keyboard to the sheet do.
struct FocusStop {
    enum class Kind { control, tab, card, button };
    Kind kind = Kind::card;
    HeaderControl control = HeaderControl::shrink;        // a header button's
    ShortcutCategory tab = ShortcutCategory::recommended; // a tab's
    std::int64_t card = 0;                                // a card's or its button's shortcut id
    int button = 0;                                       // a button's index among its card's
    bool operator==(const FocusStop&) const = default;
};

// The window around the sheet: shrunken (no tabs), and whether it carries the menu button.
struct SheetWindow {
    bool shrunken = false;
    bool hasMenu = false;
    bool operator==(const SheetWindow&) const = default;
};

// The header's buttons shown, in order.
std::vector<HeaderControl> headerControls(const CheatsheetPresentation& sheet, const SheetWindow& window);

// A header button's name as the view and screen readers know it ("info", "shrink", "pin", "menu").
const char* headerControlName(HeaderControl control);

// What a header button is called (its tooltip and accessible name) and what it does (its accessible
// description), for the window's state.
struct HeaderControlText {
    std::string name;
    std::string description;
    bool operator==(const HeaderControlText&) const = default;
};
HeaderControlText headerControlText(HeaderControl control, const CheatsheetPresentation& sheet, bool shrunken,
                                    bool pinned);

// The keys the sheet answers while it has the keyboard.
enum class SheetKey { tab, backtab, up, down, left, right, press, escape };

// What a key does: where the keyboard goes, or that the stop in focus is pressed, or that the
// keyboard goes back to the application the user came from.
struct SheetKeyOutcome {
    enum class Effect { none, move, press, giveBack };
    Effect effect = Effect::none;
    std::optional<FocusStop> focus; // after the key
    bool operator==(const SheetKeyOutcome&) const = default;
};

// The stops in the order Tab walks them: the header's buttons, the tabs (none while shrunken, where
// they are not shown), then each card followed by its buttons (no card while the welcome panel
// shows).
std::vector<FocusStop> focusOrder(const CheatsheetPresentation& sheet, const SheetWindow& window);

// Where the keyboard lands when the sheet is handed it: the first card, else the tab in force,
// else the header's first button.
std::optional<FocusStop> firstFocus(const CheatsheetPresentation& sheet, const SheetWindow& window);

// One key at `current`. Tab and Shift+Tab walk the order round; Up and Down go from card to card
// (from the first card up to the tab in force and on to the header's first button, from the header
// down to the tab in force, from a tab down to the first card); Left and Right go between the
// header's buttons, between the tabs, and from a card into its buttons and back. Enter and Space
// press a header button, a tab or a card's button, and step into a card's buttons. Escape gives the
// keyboard back. A key that leads nowhere leaves the focus where it is (Effect::none).
SheetKeyOutcome sheetKey(const CheatsheetPresentation& sheet, const SheetWindow& window,
                         const std::optional<FocusStop>& current, SheetKey key);

// Where the focus goes when the sheet changes under it: the same stop while it is there; a card that
// left (marked learned, the tab changed) gives way to the card now at its place, or the last one;
// a button that left gives way to its card; with no card left, or a header button that left, where
// the keyboard starts.
// `before`: the order the focus was in.
std::optional<FocusStop> keptFocus(const std::vector<FocusStop>& before, const CheatsheetPresentation& sheet,
                                   const SheetWindow& window, const std::optional<FocusStop>& current);

} // namespace tavrin
