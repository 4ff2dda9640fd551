#pragma once

#include <QAbstractListModel>
#include <QColor>
#include <optional>
#include <vector>

#include "views/presenters/ShortcutCardPresenter.h"

namespace tavrin {

// The colour of a named colour in a scheme, at an opacity.
QColor viewColor(NamedColor color, ColorScheme scheme, double opacity = 1);

// The cheat sheet's cards as a list model keyed by shortcut id. A refresh inserts, moves,
// changes and removes rows (never a reset), so a card keeps its delegate, and with it its hover
// and its learned animation, while the list around it changes. Main thread.
class ShortcutListModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role {
        ShortcutIdRole = Qt::UserRole + 1,
        ActionNameRole,
        ShortcutKeysRole,
        ChipsRole,       // list of {image, text, source}: source is the image's file, empty for text
        BadgeSourceRole, // the badge image's file; empty: no badge
        BadgeColorRole,
        BackgroundColorRole,
        TooltipRole,
        ButtonsRole, // list of {icon, source, color, helpText, animated}, in the card's order
        CoachNoteRole,
        OfferButtonsRole, // as ButtonsRole: the graduation offer's accept and turn down
        NudgedAtRole,     // the nudge's time on its card, 0 on the others
    };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Brings the rows to `cards`, in their order, with the colours of `scheme`.
    void update(const std::vector<ShortcutCardPresentation>& cards, ColorScheme scheme);
    // The button at `index` of the card of this shortcut (of its offer when `offer`), as it stands
    // now; none without such a card or button.
    std::optional<CardButton> button(std::int64_t shortcutId, int index, bool offer = false) const;
    // The row of the card of this shortcut; -1 without one.
    int row(std::int64_t shortcutId) const;

private:
    int count() const { return static_cast<int>(cards_.size()); }

    std::vector<ShortcutCardPresentation> cards_;
    ColorScheme scheme_ = ColorScheme::light;
};

} // namespace tavrin
