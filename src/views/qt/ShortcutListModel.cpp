#include "views/qt/ShortcutListModel.h"

#include <QVariantMap>
#include <algorithm>
#include <unordered_set>

#include "views/presenters/Icons.h"

namespace tavrin {

namespace {

QString text(const std::string& value) {
    return QString::fromStdString(value);
}

QVariantList buttonList(const std::vector<CardButton>& buttons, ColorScheme scheme) {
    QVariantList out;
    for (const CardButton& button : buttons)
        out.append(QVariantMap{{QStringLiteral("icon"), text(button.icon)},
                               {QStringLiteral("source"), text(symbolImagePath(button.icon))},
                               {QStringLiteral("color"), viewColor(button.color, scheme)},
                               {QStringLiteral("helpText"), text(button.helpText)},
                               {QStringLiteral("animated"), button.playsLearnedAnimation}});
    return out;
}

} // namespace

QColor viewColor(NamedColor color, ColorScheme scheme, double opacity) {
    const bool dark = scheme == ColorScheme::dark;
    QColor out;
    switch (color) {
    case NamedColor::gray:
        out = dark ? QColor(0x98, 0x98, 0x9d) : QColor(0x8e, 0x8e, 0x93);
        break;
    case NamedColor::blue:
        out = dark ? QColor(0x3d, 0x8b, 0xff) : QColor(0x1f, 0x6f, 0xeb);
        break;
    case NamedColor::green:
        out = dark ? QColor(0x3c, 0xc7, 0x5f) : QColor(0x2d, 0xa4, 0x4e);
        break;
    case NamedColor::red:
        out = dark ? QColor(0xff, 0x5c, 0x5c) : QColor(0xe0, 0x3e, 0x3e);
        break;
    case NamedColor::yellow:
        out = dark ? QColor(0xff, 0xd6, 0x0a) : QColor(0xf2, 0xb7, 0x05);
        break;
    case NamedColor::white:
        out = QColor(0xff, 0xff, 0xff);
        break;
    }
    out.setAlphaF(static_cast<float>(opacity));
    return out;
}

int ShortcutListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(cards_.size());
}

QVariant ShortcutListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= static_cast<int>(cards_.size()))
        return {};
    const ShortcutCardPresentation& card = cards_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case ShortcutIdRole:
        return QVariant::fromValue(static_cast<qint64>(card.shortcutId));
    case Qt::DisplayRole:
    case ActionNameRole:
        return text(card.actionName);
    case ShortcutKeysRole:
        return text(card.shortcutKeys);
    case ChipsRole: {
        QVariantList chips;
        for (const KeyChip& chip : card.chips)
            chips.append(QVariantMap{{QStringLiteral("image"), text(chip.image)},
                                     {QStringLiteral("text"), text(chip.text)},
                                     {QStringLiteral("source"), text(symbolImagePath(chip.image))}});
        return chips;
    }
    case BadgeSourceRole:
        return text(symbolImagePath(card.badgeImage));
    case BadgeColorRole:
        return viewColor(card.badgeColor, scheme_);
    case BackgroundColorRole:
        return viewColor(card.background.color, scheme_, card.background.opacity);
    case Qt::ToolTipRole:
    case TooltipRole:
        return text(card.tooltip);
    case ButtonsRole:
        return buttonList(card.buttons, scheme_);
    case CoachNoteRole:
        return text(card.coachNote);
    case OfferButtonsRole:
        return buttonList(card.offerButtons, scheme_);
    case NudgedAtRole:
        return QVariant::fromValue(static_cast<qint64>(card.nudgedAt));
    default:
        return {};
    }
}

QHash<int, QByteArray> ShortcutListModel::roleNames() const {
    return {{ShortcutIdRole, "shortcutId"},
            {ActionNameRole, "actionName"},
            {ShortcutKeysRole, "shortcutKeys"},
            {ChipsRole, "chips"},
            {BadgeSourceRole, "badgeSource"},
            {BadgeColorRole, "badgeColor"},
            {BackgroundColorRole, "backgroundColor"},
            {TooltipRole, "tooltip"},
            {ButtonsRole, "buttons"},
            {CoachNoteRole, "coachNote"},
            {OfferButtonsRole, "offerButtons"},
            {NudgedAtRole, "nudgedAt"}};
}

std::optional<CardButton> ShortcutListModel::button(std::int64_t shortcutId, int index, bool offer) const {
    const int at = row(shortcutId);
    if (at < 0)
        return std::nullopt;
    const auto& buttons =
        offer ? cards_[static_cast<std::size_t>(at)].offerButtons : cards_[static_cast<std::size_t>(at)].buttons;
    if (index < 0 || index >= static_cast<int>(buttons.size()))
        return std::nullopt;
    return buttons[static_cast<std::size_t>(index)];
}

int ShortcutListModel::row(std::int64_t shortcutId) const {
    for (int at = 0; at < count(); ++at)
        if (cards_[static_cast<std::size_t>(at)].shortcutId == shortcutId)
            return at;
    return -1;
}

void ShortcutListModel::update(const std::vector<ShortcutCardPresentation>& cards, ColorScheme scheme) {
    const bool schemeChanged = scheme != scheme_;
    scheme_ = scheme;

    // Rows whose shortcut is gone, from the end so that the indexes ahead stay put.
    std::unordered_set<std::int64_t> wanted;
    for (const auto& card : cards)
        wanted.insert(card.shortcutId);
    for (int row = count() - 1; row >= 0; --row) {
        if (wanted.count(cards_[static_cast<std::size_t>(row)].shortcutId))
            continue;
        beginRemoveRows({}, row, row);
        cards_.erase(cards_.begin() + row);
        endRemoveRows();
    }

    // Then row by row: the right card already there, moved up from further down, or new.
    for (std::size_t i = 0; i < cards.size(); ++i) {
        const int row = static_cast<int>(i);
        const auto from = std::find_if(cards_.begin() + static_cast<std::ptrdiff_t>(i), cards_.end(),
                                       [&](const auto& card) { return card.shortcutId == cards[i].shortcutId; });
        if (from == cards_.end()) {
            beginInsertRows({}, row, row);
            cards_.insert(cards_.begin() + row, cards[i]);
            endInsertRows();
            continue;
        }
        const int fromRow = static_cast<int>(from - cards_.begin());
        if (fromRow != row) {
            beginMoveRows({}, fromRow, fromRow, {}, row);
            std::rotate(cards_.begin() + row, cards_.begin() + fromRow, cards_.begin() + fromRow + 1);
            endMoveRows();
        }
        if (cards_[i] != cards[i] || schemeChanged) {
            cards_[i] = cards[i];
            emit dataChanged(index(row), index(row));
        }
    }

    // Left over: a second row of a shortcut that is listed once now.
    if (count() > static_cast<int>(cards.size())) {
        beginRemoveRows({}, static_cast<int>(cards.size()), count() - 1);
        cards_.resize(cards.size());
        endRemoveRows();
    }
}

} // namespace tavrin
