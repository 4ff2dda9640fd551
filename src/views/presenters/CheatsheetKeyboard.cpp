#include "views/presenters/CheatsheetKeyboard.h"

#include <algorithm>

namespace tavrin {

namespace {

using KeyEffect = SheetKeyOutcome::Effect;

FocusStop controlStop(HeaderControl control) {
    return {.kind = FocusStop::Kind::control, .control = control};
}

FocusStop tabStop(ShortcutCategory category) {
    return {.kind = FocusStop::Kind::tab, .tab = category};
}

FocusStop cardStop(std::int64_t card) {
    return {.kind = FocusStop::Kind::card, .card = card};
}

FocusStop buttonStop(std::int64_t card, int button) {
    return {.kind = FocusStop::Kind::button, .card = card, .button = button};
}

SheetKeyOutcome moveTo(const std::optional<FocusStop>& stop) {
    if (!stop)
        return {};
    return {KeyEffect::move, stop};
}

const std::vector<ShortcutCardPresentation>& shownCards(const CheatsheetPresentation& sheet) {
    static const std::vector<ShortcutCardPresentation> none;
    return sheet.showsWelcome ? none : sheet.cards;
}

// The index of the card of `id` among the shown cards; the count when it is not there.
std::size_t cardIndex(const CheatsheetPresentation& sheet, std::int64_t id) {
    const auto& cards = shownCards(sheet);
    return static_cast<std::size_t>(
        std::find_if(cards.begin(), cards.end(), [id](const auto& card) { return card.shortcutId == id; }) -
        cards.begin());
}

// Up and Down: the card before or after the one `current` belongs to; from the header down to the
// tabs (or the first card), and up to the header's first button.
std::optional<FocusStop> verticalStep(const CheatsheetPresentation& sheet, const SheetWindow& window,
                                      const FocusStop& current, int direction) {
    const auto& cards = shownCards(sheet);
    const FocusStop header = controlStop(headerControls(sheet, window).front());
    const std::optional<FocusStop> firstCard =
        cards.empty() ? std::nullopt : std::optional(cardStop(cards.front().shortcutId));
    if (current.kind == FocusStop::Kind::control) {
        if (direction < 0)
            return std::nullopt;
        return window.shrunken ? firstCard : std::optional(tabStop(sheet.category));
    }
    if (current.kind == FocusStop::Kind::tab)
        return direction > 0 ? firstCard : std::optional(header);
    const std::size_t index = cardIndex(sheet, current.card);
    if (index == cards.size())
        return std::nullopt;
    if (direction < 0 && index == 0)
        return window.shrunken ? header : tabStop(sheet.category);
    const std::size_t next = direction < 0 ? index - 1 : index + 1;
    return next < cards.size() ? std::optional(cardStop(cards[next].shortcutId)) : std::nullopt;
}

// Left and Right: along the header's buttons, between the tabs, and along a card and its buttons.
std::optional<FocusStop> horizontalStep(const CheatsheetPresentation& sheet, const SheetWindow& window,
                                        const FocusStop& current, int direction) {
    if (current.kind == FocusStop::Kind::control) {
        const auto controls = headerControls(sheet, window);
        const auto at = std::find(controls.begin(), controls.end(), current.control);
        const auto next = at - controls.begin() + direction;
        if (next < 0 || next >= static_cast<std::ptrdiff_t>(controls.size()))
            return std::nullopt;
        return controlStop(controls[static_cast<std::size_t>(next)]);
    }
    if (current.kind == FocusStop::Kind::tab) {
        const auto other = direction > 0 ? ShortcutCategory::learned : ShortcutCategory::recommended;
        return other == current.tab ? std::nullopt : std::optional(tabStop(other));
    }
    const auto& cards = shownCards(sheet);
    const std::size_t index = cardIndex(sheet, current.card);
    if (index == cards.size())
        return std::nullopt;
    const int buttons = static_cast<int>(cards[index].buttons.size());
    // The card is position -1 of the row, its buttons 0 onwards.
    const int position = (current.kind == FocusStop::Kind::card ? -1 : current.button) + direction;
    if (position < -1 || position >= buttons)
        return std::nullopt;
    return position < 0 ? cardStop(current.card) : buttonStop(current.card, position);
}

} // namespace

std::vector<HeaderControl> headerControls(const CheatsheetPresentation& sheet, const SheetWindow& window) {
    std::vector<HeaderControl> controls;
    if (sheet.subtitle && sheet.subtitle->showsInfo)
        controls.push_back(HeaderControl::info);
    controls.insert(controls.end(), {HeaderControl::shrink, HeaderControl::pin});
    if (window.hasMenu)
        controls.push_back(HeaderControl::menu);
    return controls;
}

const char* headerControlName(HeaderControl control) {
    switch (control) {
    case HeaderControl::info:
        return "info";
    case HeaderControl::shrink:
        return "shrink";
    case HeaderControl::pin:
        return "pin";
    case HeaderControl::menu:
        return "menu";
    }
    return "";
}

HeaderControlText headerControlText(HeaderControl control, const CheatsheetPresentation& sheet, bool shrunken,
                                    bool pinned) {
    switch (control) {
    case HeaderControl::info:
        if (!sheet.subtitle)
            return {};
        return {sheet.subtitle->infoTooltip,
                sheet.subtitle->helpUrl.empty() ? "" : "Opens the site's own list of shortcuts in the browser"};
    case HeaderControl::shrink:
        return shrunken ? HeaderControlText{"Expand", "Brings the cheat sheet back to its full size, with its tabs"}
                        : HeaderControlText{"Shrink", "Makes the cheat sheet small, in the corner of the screen"};
    case HeaderControl::pin:
        return pinned ? HeaderControlText{"Unpin", "Lets other windows cover the cheat sheet"}
                      : HeaderControlText{"Pin", "Keeps the cheat sheet above the other windows"};
    case HeaderControl::menu:
        return {"Menu", "Check for updates, launch at startup, join the community, send feedback, pause, focus the "
                        "cheat sheet, your progress, nudges as notifications, quit"};
    }
    return {};
}

std::vector<FocusStop> focusOrder(const CheatsheetPresentation& sheet, const SheetWindow& window) {
    std::vector<FocusStop> order;
    for (const HeaderControl control : headerControls(sheet, window))
        order.push_back(controlStop(control));
    if (!window.shrunken)
        order.insert(order.end(), {tabStop(ShortcutCategory::recommended), tabStop(ShortcutCategory::learned)});
    for (const auto& card : shownCards(sheet)) {
        order.push_back(cardStop(card.shortcutId));
        for (int i = 0; i < static_cast<int>(card.buttons.size()); ++i)
            order.push_back(buttonStop(card.shortcutId, i));
    }
    return order;
}

std::optional<FocusStop> firstFocus(const CheatsheetPresentation& sheet, const SheetWindow& window) {
    if (const auto& cards = shownCards(sheet); !cards.empty())
        return cardStop(cards.front().shortcutId);
    if (!window.shrunken)
        return tabStop(sheet.category);
    return controlStop(headerControls(sheet, window).front());
}

SheetKeyOutcome sheetKey(const CheatsheetPresentation& sheet, const SheetWindow& window,
                         const std::optional<FocusStop>& current, SheetKey key) {
    if (key == SheetKey::escape)
        return {KeyEffect::giveBack, std::nullopt};
    const std::vector<FocusStop> order = focusOrder(sheet, window);
    const auto at = current ? std::find(order.begin(), order.end(), *current) : order.end();
    // Nowhere yet, or at a stop that went: any key lands where the sheet's keyboard starts.
    if (at == order.end())
        return moveTo(firstFocus(sheet, window));
    switch (key) {
    case SheetKey::tab:
        return moveTo(std::next(at) == order.end() ? order.front() : *std::next(at));
    case SheetKey::backtab:
        return moveTo(at == order.begin() ? order.back() : *std::prev(at));
    case SheetKey::up:
    case SheetKey::down:
        return moveTo(verticalStep(sheet, window, *at, key == SheetKey::down ? 1 : -1));
    case SheetKey::left:
    case SheetKey::right:
        return moveTo(horizontalStep(sheet, window, *at, key == SheetKey::right ? 1 : -1));
    case SheetKey::press:
        if (at->kind == FocusStop::Kind::card)
            return moveTo(horizontalStep(sheet, window, *at, 1));
        return {KeyEffect::press, *at};
    case SheetKey::escape:
        break;
    }
    return {};
}

std::optional<FocusStop> keptFocus(const std::vector<FocusStop>& before, const CheatsheetPresentation& sheet,
                                   const SheetWindow& window, const std::optional<FocusStop>& current) {
    if (!current)
        return std::nullopt;
    const std::vector<FocusStop> after = focusOrder(sheet, window);
    const auto has = [&after](const FocusStop& stop) {
        return std::find(after.begin(), after.end(), stop) != after.end();
    };
    if (has(*current))
        return current;
    if (current->kind == FocusStop::Kind::button && has(cardStop(current->card)))
        return cardStop(current->card);
    const auto& cards = shownCards(sheet);
    if (current->kind == FocusStop::Kind::control || current->kind == FocusStop::Kind::tab || cards.empty())
        return firstFocus(sheet, window);
    // The card's place among the cards before, and the card at that place now.
    std::size_t place = 0;
    for (const FocusStop& stop : before) {
        if (stop == cardStop(current->card))
            break;
        place += stop.kind == FocusStop::Kind::card;
    }
    return cardStop(cards[std::min(place, cards.size() - 1)].shortcutId);
}

} // namespace tavrin
