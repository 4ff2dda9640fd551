#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>
#include <QWindow>
#include <QtQml/qqmlregistration.h>
#include <functional>

#include "State/AppDomain.h"
#include "views/presenters/CheatsheetKeyboard.h"
#include "views/presenters/CheatsheetPresenter.h"
#include "views/qt/ShortcutListModel.h"

namespace tavrin {

// What AdaptiveCheatsheetView binds to: the presentation of the state, and the two window
// controls that act on the window itself (shrink and pin, view state that is never persisted:
// every start is expanded and pinned). Properties change, and signal, only when their value does;
// each invokable sends one action or works one control. Main thread.
class CheatsheetViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("given to the cheat sheet by the application")
    Q_PROPERTY(QString title READ title NOTIFY titleChanged)
    Q_PROPERTY(QString appIconSource READ appIconSource CONSTANT)
    Q_PROPERTY(bool hasSubtitle READ hasSubtitle NOTIFY subtitleChanged)
    Q_PROPERTY(QString subtitle READ subtitle NOTIFY subtitleChanged)
    Q_PROPERTY(bool subtitleShowsInfo READ subtitleShowsInfo NOTIFY subtitleChanged)
    Q_PROPERTY(QString subtitleTooltip READ subtitleTooltip NOTIFY subtitleChanged)
    Q_PROPERTY(QString category READ category NOTIFY categoryChanged)
    Q_PROPERTY(bool showsWelcome READ showsWelcome NOTIFY showsWelcomeChanged)
    Q_PROPERTY(ShortcutListModel* cards READ cards CONSTANT)
    Q_PROPERTY(bool isShrunken READ isShrunken NOTIFY isShrunkenChanged)
    Q_PROPERTY(bool isPinned READ isPinned NOTIFY isPinnedChanged)
    Q_PROPERTY(bool dark READ dark NOTIFY colorSchemeChanged)
    // The named colours of the scheme in force: gray, blue, green, red, yellow, white.
    Q_PROPERTY(QVariantMap colors READ colors NOTIFY colorSchemeChanged)
    // The nudge in force, as a screen reader announces it; empty for none. `nudgedAt` changes with
    // every new nudge; `nudgedRow` is its card's row in `cards`, -1 when it is not listed.
    Q_PROPERTY(QString nudgeAnnouncement READ nudgeAnnouncement NOTIFY nudgeChanged)
    Q_PROPERTY(qint64 nudgedAt READ nudgedAt NOTIFY nudgeChanged)
    Q_PROPERTY(int nudgedRow READ nudgedRow NOTIFY nudgeChanged)
    // While the sheet has the keyboard (handed it by its shortcut), the stop in focus: the tab's
    // category, or the card's shortcut id and the button's index (-1: the card itself). The stop in
    // focus draws its ring and takes Qt's active focus, so that screen readers follow it.
    Q_PROPERTY(bool hasKeyboard READ hasKeyboard NOTIFY focusChanged)
    Q_PROPERTY(QString focusedTab READ focusedTab NOTIFY focusChanged)
    Q_PROPERTY(qint64 focusedCard READ focusedCard NOTIFY focusChanged)
    Q_PROPERTY(int focusedButton READ focusedButton NOTIFY focusChanged)
    Q_PROPERTY(int focusedCardRow READ focusedCardRow NOTIFY focusChanged)
    // The header button in focus by its name ("info", "shrink", "pin", "menu"); empty for none.
    Q_PROPERTY(QString focusedControl READ focusedControl NOTIFY focusChanged)
    // Each header button shown, by its name: {name, description} for its tooltip and screen readers.
    Q_PROPERTY(QVariantMap headerControls READ headerControls NOTIFY headerControlsChanged)

public:
    using Send = std::function<void(AppDomain::Action)>;

    explicit CheatsheetViewModel(QObject* parent = nullptr);

    QString title() const { return title_; }
    QString appIconSource() const;
    bool hasSubtitle() const { return subtitle_.has_value(); }
    QString subtitle() const;
    bool subtitleShowsInfo() const { return subtitle_ && subtitle_->showsInfo; }
    QString subtitleTooltip() const;
    QString category() const;
    bool showsWelcome() const { return showsWelcome_; }
    ShortcutListModel* cards() { return &cards_; }
    bool isShrunken() const { return isShrunken_; }
    bool isPinned() const { return isPinned_; }
    bool dark() const { return scheme_ == ColorScheme::dark; }
    QVariantMap colors() const;
    QString nudgeAnnouncement() const { return nudgeAnnouncement_; }
    qint64 nudgedAt() const { return nudgedAt_; }
    int nudgedRow() const { return nudgedRow_; }
    bool hasKeyboard() const { return hasKeyboard_; }
    QString focusedTab() const;
    qint64 focusedCard() const;
    int focusedButton() const;
    int focusedCardRow() const;
    QString focusedControl() const;
    QVariantMap headerControls() const { return headerControls_; }

    // Where actions go; without one the invokables do nothing.
    void setSend(Send send) { send_ = std::move(send); }
    // The window the controls move and pin; without one they do nothing.
    void setWindow(QWindow* window) { window_ = window; }
    void present(const CheatsheetPresentation& presentation, ColorScheme scheme);
    // The window has been handed the keyboard: the focus goes where the sheet's keyboard starts.
    void takeKeyboard();
    // The window lost the keyboard: no stop is in focus any more.
    void releaseKeyboard();
    // Whether the window carries the menu button (a session without a tray): a stop of the header.
    void setHasMenu(bool hasMenu);
    // What Escape calls: hands the keyboard back to the application the user came from.
    void setGiveBack(std::function<void()> giveBack) { giveBack_ = std::move(giveBack); }

    // A key (Qt::Key and modifiers) while the sheet has the keyboard; true when it was the sheet's.
    Q_INVOKABLE bool pressKey(int key, int modifiers);

    Q_INVOKABLE void selectCategory(const QString& category);
    // A tap on the button at `index` of the card of `shortcutId`: its action goes out at once, or,
    // for the mark-as-learned button, once the card's check has played. The delay lives here, not
    // in the card: a list that changes meanwhile takes the card with it, never the mark.
    Q_INVOKABLE void pressCardButton(qint64 shortcutId, int index);
    // The same for the graduation offer's buttons: accept (marks learned once the check has
    // played) and turn down.
    Q_INVOKABLE void pressOfferButton(qint64 shortcutId, int index);
    // Opens the subtitle's help page (the mail site's shortcuts); nothing without one.
    Q_INVOKABLE void openSubtitleHelp();
    // Moves the window to the bottom right of its screen's visible frame, 280 by 296 (400 by 400
    // when shrunken), and flips isShrunken 0.3 s later, once the window has moved.
    Q_INVOKABLE void toggleShrink();
    // Takes the window off the floating level when pinned, puts it back when not.
    Q_INVOKABLE void togglePin();

signals:
    void titleChanged();
    void subtitleChanged();
    void categoryChanged();
    void showsWelcomeChanged();
    void isShrunkenChanged();
    void isPinnedChanged();
    void colorSchemeChanged();
    void nudgeChanged();
    void focusChanged();
    // Enter or Space on a card's button: the card plays the button's tap as a click would.
    void cardButtonPressRequested(qint64 shortcutId, int index);
    // Enter or Space on the window's menu button: the window opens its menu.
    void menuRequested();
    void headerControlsChanged();

private:
    void sendAction(AppDomain::Action action);
    void sendButton(qint64 shortcutId, const std::optional<CardButton>& button);
    void setFocus(std::optional<FocusStop> stop);
    SheetWindow sheetWindow() const { return {isShrunken_, hasMenu_}; }
    void updateHeaderControls();
    void pressControl(HeaderControl control);

    Send send_;
    QPointer<QWindow> window_;
    QString title_;
    std::optional<CheatsheetSubtitle> subtitle_;
    ShortcutCategory category_ = ShortcutCategory::recommended;
    bool showsWelcome_ = true;
    ShortcutListModel cards_;
    bool isShrunken_ = false;
    bool isPinned_ = true;
    bool hasMenu_ = false;
    QVariantMap headerControls_;
    ColorScheme scheme_ = ColorScheme::light;
    QString nudgeAnnouncement_;
    qint64 nudgedAt_ = 0;
    int nudgedRow_ = -1;
    CheatsheetPresentation presentation_;
    bool hasKeyboard_ = false;
    std::optional<FocusStop> focus_;
    std::function<void()> giveBack_;
};

// Dark when the palette's window colour is dark: Qt 6.4 has no colour-scheme hint of its own.
ColorScheme colorSchemeOf(const QColor& windowColor);

} // namespace tavrin
