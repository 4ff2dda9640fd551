#include "views/presenters/CheatsheetKeyboard.h"

#include <algorithm>

namespace tavrin {

namespace {

using KeyEffect = SheetKeyOutcome::Effect;

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

// Up and Down: the card before or after the one `current` belongs to.
std::optional<FocusStop> verticalStep(const CheatsheetPresentation& sheet, bool shrunken, const FocusStop& current,
                                      int direction) {
    const auto& cards = shownCards(sheet);
    if (current.kind == FocusStop::Kind::tab)
        return direction > 0 && !cards.empty() ? std::optional(cardStop(cards.front().shortcutId)) : std::nullopt;
    const std::size_t index = cardIndex(sheet, current.card);
    if (index == cards.size())
        return std::nullopt;
    if (direction < 0 && index == 0)
        return shrunken ? std::nullopt : std::optional(tabStop(sheet.category));
    const std::size_t next = direction < 0 ? index - 1 : index + 1;
    return next < cards.size() ? std::optional(cardStop(cards[next].shortcutId)) : std::nullopt;
}

// Left and Right: between the tabs, and along a card and its buttons.
std::optional<FocusStop> horizontalStep(const CheatsheetPresentation& sheet, const FocusStop& current, int direction) {
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

std::vector<FocusStop> focusOrder(const CheatsheetPresentation& sheet, bool shrunken) {
    std::vector<FocusStop> order;
    if (!shrunken)
        order = {tabStop(ShortcutCategory::recommended), tabStop(ShortcutCategory::learned)};
    for (const auto& card : shownCards(sheet)) {
        order.push_back(cardStop(card.shortcutId));
        for (int i = 0; i < static_cast<int>(card.buttons.size()); ++i)
            order.push_back(buttonStop(card.shortcutId, i));
    }
    return order;
}

std::optional<FocusStop> firstFocus(const CheatsheetPresentation& sheet, bool shrunken) {
    if (const auto& cards = shownCards(sheet); !cards.empty())
        return cardStop(cards.front().shortcutId);
    if (!shrunken)
        return tabStop(sheet.category);
    return std::nullopt;
}

SheetKeyOutcome sheetKey(const CheatsheetPresentation& sheet, bool shrunken, const std::optional<FocusStop>& current,
                         SheetKey key) {
    if (key == SheetKey::escape)
        return {KeyEffect::giveBack, std::nullopt};
    const std::vector<FocusStop> order = focusOrder(sheet, shrunken);
    const auto at = current ? std::find(order.begin(), order.end(), *current) : order.end();
    // Nowhere yet, or at a stop that went: any key lands where the sheet's keyboard starts.
    if (at == order.end())
        return moveTo(firstFocus(sheet, shrunken));
    switch (key) {
    case SheetKey::tab:
        return moveTo(std::next(at) == order.end() ? order.front() : *std::next(at));
    case SheetKey::backtab:
        return moveTo(at == order.begin() ? order.back() : *std::prev(at));
    case SheetKey::up:
    case SheetKey::down:
        return moveTo(verticalStep(sheet, shrunken, *at, key == SheetKey::down ? 1 : -1));
    case SheetKey::left:
    case SheetKey::right:
        return moveTo(horizontalStep(sheet, *at, key == SheetKey::right ? 1 : -1));
    case SheetKey::press:
        if (at->kind == FocusStop::Kind::card)
            return moveTo(horizontalStep(sheet, *at, 1));
        return {KeyEffect::press, *at};
    case SheetKey::escape:
        break;
    }
    return {};
}

std::optional<FocusStop> keptFocus(const std::vector<FocusStop>& before, const CheatsheetPresentation& sheet,
                                   bool shrunken, const std::optional<FocusStop>& current) {
    if (!current)
        return std::nullopt;
    const std::vector<FocusStop> after = focusOrder(sheet, shrunken);
    const auto has = [&after](const FocusStop& stop) {
        return std::find(after.begin(), after.end(), stop) != after.end();
    };
    if (has(*current))
        return current;
    if (current->kind == FocusStop::Kind::button && has(cardStop(current->card)))
        return cardStop(current->card);
    const auto& cards = shownCards(sheet);
    if (current->kind == FocusStop::Kind::tab || cards.empty())
        return firstFocus(sheet, shrunken);
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
