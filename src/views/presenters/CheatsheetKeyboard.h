#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "views/presenters/CheatsheetPresenter.h"

namespace tavrin {

// Where the keyboard can be in the cheat sheet: one of the two tabs, a card, or a card's button.
// The pointer never puts the keyboard anywhere: only the keys below and the shortcut that hands the
// keyboard to the sheet do.
struct FocusStop {
    enum class Kind { tab, card, button };
    Kind kind = Kind::card;
    ShortcutCategory tab = ShortcutCategory::recommended; // a tab's
    std::int64_t card = 0;                                // a card's or its button's shortcut id
    int button = 0;                                       // a button's index among its card's
    bool operator==(const FocusStop&) const = default;
};

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

// The stops in the order Tab walks them: the tabs (none while shrunken, where they are not shown),
// then each card followed by its buttons (no card while the welcome panel shows).
std::vector<FocusStop> focusOrder(const CheatsheetPresentation& sheet, bool shrunken);

// Where the keyboard lands when the sheet is handed it: the first card, else the tab in force,
// else nowhere (a shrunken sheet with the welcome panel).
std::optional<FocusStop> firstFocus(const CheatsheetPresentation& sheet, bool shrunken);

// One key at `current`. Tab and Shift+Tab walk the order round; Up and Down go from card to card
// (from the first card up to the tab in force, from a tab down to the first card); Left and Right
// go between the tabs, and from a card into its buttons and back. Enter and Space press a tab or a
// button and step into a card's buttons. Escape gives the keyboard back. A key that leads nowhere
// leaves the focus where it is (Effect::none).
SheetKeyOutcome sheetKey(const CheatsheetPresentation& sheet, bool shrunken, const std::optional<FocusStop>& current,
                         SheetKey key);

// Where the focus goes when the sheet changes under it: the same stop while it is there; a card that
// left (marked learned, the tab changed) gives way to the card now at its place, or the last one;
// a button that left gives way to its card; with no card left, where the keyboard starts.
// `before`: the order the focus was in.
std::optional<FocusStop> keptFocus(const std::vector<FocusStop>& before, const CheatsheetPresentation& sheet,
                                   bool shrunken, const std::optional<FocusStop>& current);

} // namespace tavrin
