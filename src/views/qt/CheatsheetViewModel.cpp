#include "views/qt/CheatsheetViewModel.h"

#include <QDesktopServices>
#include <QGuiApplication>
#include <QScreen>
#include <QTimer>
#include <QUrl>

#include "views/presenters/Icons.h"

namespace tavrin {

namespace {

// The shrink flip waits until the window has moved, so the content changes after it.
constexpr int kShrinkFlipDelayMs = 300;

QString text(const std::string& value) {
    return QString::fromStdString(value);
}

} // namespace

ColorScheme colorSchemeOf(const QColor& windowColor) {
    return windowColor.lightnessF() < 0.5 ? ColorScheme::dark : ColorScheme::light;
}

CheatsheetViewModel::CheatsheetViewModel(QObject* parent) : QObject(parent), cards_(this) {
    updateHeaderControls();
}

QString CheatsheetViewModel::appIconSource() const {
    return text(symbolImagePath("AppIcon"));
}

QVariantMap CheatsheetViewModel::colors() const {
    return {{QStringLiteral("gray"), viewColor(NamedColor::gray, scheme_)},
            {QStringLiteral("blue"), viewColor(NamedColor::blue, scheme_)},
            {QStringLiteral("green"), viewColor(NamedColor::green, scheme_)},
            {QStringLiteral("red"), viewColor(NamedColor::red, scheme_)},
            {QStringLiteral("yellow"), viewColor(NamedColor::yellow, scheme_)},
            {QStringLiteral("white"), viewColor(NamedColor::white, scheme_)}};
}

QString CheatsheetViewModel::subtitle() const {
    return subtitle_ ? text(subtitle_->text) : QString();
}

QString CheatsheetViewModel::subtitleTooltip() const {
    return subtitle_ ? text(subtitle_->infoTooltip) : QString();
}

QString CheatsheetViewModel::category() const {
    return text(std::string(rawValue(category_)));
}

void CheatsheetViewModel::present(const CheatsheetPresentation& presentation, ColorScheme scheme) {
    if (const QString title = text(presentation.title); title != title_) {
        title_ = title;
        emit titleChanged();
    }
    if (presentation.subtitle != subtitle_) {
        subtitle_ = presentation.subtitle;
        emit subtitleChanged();
    }
    if (presentation.category != category_) {
        category_ = presentation.category;
        emit categoryChanged();
    }
    if (scheme != scheme_) {
        scheme_ = scheme;
        emit colorSchemeChanged();
    }
    // The list first: the welcome panel gives way to cards that are already there.
    cards_.update(presentation.cards, scheme);
    if (presentation.showsWelcome != showsWelcome_) {
        showsWelcome_ = presentation.showsWelcome;
        emit showsWelcomeChanged();
    }
    const QString announcement = text(presentation.nudgeAnnouncement);
    int nudgedRow = -1;
    for (std::size_t i = 0; i < presentation.cards.size() && presentation.nudgedAt != 0; ++i)
        if (presentation.cards[i].nudgedAt != 0)
            nudgedRow = static_cast<int>(i);
    if (announcement != nudgeAnnouncement_ || presentation.nudgedAt != nudgedAt_ || nudgedRow != nudgedRow_) {
        nudgeAnnouncement_ = announcement;
        nudgedAt_ = presentation.nudgedAt;
        nudgedRow_ = nudgedRow;
        emit nudgeChanged();
    }
    const auto before = focusOrder(presentation_, sheetWindow());
    presentation_ = presentation;
    updateHeaderControls();
    setFocus(keptFocus(before, presentation_, sheetWindow(), focus_));
}

void CheatsheetViewModel::setHasMenu(bool hasMenu) {
    if (hasMenu == hasMenu_)
        return;
    const auto before = focusOrder(presentation_, sheetWindow());
    hasMenu_ = hasMenu;
    updateHeaderControls();
    setFocus(keptFocus(before, presentation_, sheetWindow(), focus_));
}

void CheatsheetViewModel::updateHeaderControls() {
    QVariantMap controls;
    for (const HeaderControl control : tavrin::headerControls(presentation_, sheetWindow())) {
        const HeaderControlText shown = headerControlText(control, presentation_, isShrunken_, isPinned_);
        controls.insert(QString::fromLatin1(headerControlName(control)),
                        QVariantMap{{QStringLiteral("name"), text(shown.name)},
                                    {QStringLiteral("description"), text(shown.description)}});
    }
    if (controls == headerControls_)
        return;
    headerControls_ = controls;
    emit headerControlsChanged();
}

QString CheatsheetViewModel::focusedControl() const {
    return focus_ && focus_->kind == FocusStop::Kind::control ? QString::fromLatin1(headerControlName(focus_->control))
                                                              : QString();
}

QString CheatsheetViewModel::focusedTab() const {
    return focus_ && focus_->kind == FocusStop::Kind::tab ? text(std::string(rawValue(focus_->tab))) : QString();
}

qint64 CheatsheetViewModel::focusedCard() const {
    return focus_ && (focus_->kind == FocusStop::Kind::card || focus_->kind == FocusStop::Kind::button) ? focus_->card
                                                                                                        : -1;
}

int CheatsheetViewModel::focusedButton() const {
    return focus_ && focus_->kind == FocusStop::Kind::button ? focus_->button : -1;
}

int CheatsheetViewModel::focusedCardRow() const {
    if (focusedCard() < 0)
        return -1;
    const auto& cards = presentation_.cards;
    for (std::size_t row = 0; row < cards.size(); ++row)
        if (cards[row].shortcutId == focus_->card)
            return static_cast<int>(row);
    return -1;
}

void CheatsheetViewModel::setFocus(std::optional<FocusStop> stop) {
    if (!hasKeyboard_)
        stop.reset();
    if (stop == focus_)
        return;
    focus_ = stop;
    emit focusChanged();
}

void CheatsheetViewModel::takeKeyboard() {
    const bool changed = !hasKeyboard_;
    hasKeyboard_ = true;
    const auto before = focus_;
    setFocus(focus_ ? focus_ : firstFocus(presentation_, sheetWindow()));
    if (changed && before == focus_)
        emit focusChanged();
}

void CheatsheetViewModel::releaseKeyboard() {
    if (!hasKeyboard_)
        return;
    hasKeyboard_ = false;
    focus_.reset();
    emit focusChanged();
}

bool CheatsheetViewModel::pressKey(int key, int modifiers) {
    if (!hasKeyboard_)
        return false;
    const bool shift = modifiers & Qt::ShiftModifier;
    std::optional<SheetKey> sheet;
    switch (key) {
    case Qt::Key_Tab:
        sheet = shift ? SheetKey::backtab : SheetKey::tab;
        break;
    case Qt::Key_Backtab:
        sheet = SheetKey::backtab;
        break;
    case Qt::Key_Up:
        sheet = SheetKey::up;
        break;
    case Qt::Key_Down:
        sheet = SheetKey::down;
        break;
    case Qt::Key_Left:
        sheet = SheetKey::left;
        break;
    case Qt::Key_Right:
        sheet = SheetKey::right;
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
        sheet = SheetKey::press;
        break;
    case Qt::Key_Escape:
        sheet = SheetKey::escape;
        break;
    default:
        return false;
    }
    const SheetKeyOutcome outcome = sheetKey(presentation_, sheetWindow(), focus_, *sheet);
    switch (outcome.effect) {
    case SheetKeyOutcome::Effect::none:
        break;
    case SheetKeyOutcome::Effect::move:
        setFocus(outcome.focus);
        break;
    case SheetKeyOutcome::Effect::press:
        if (outcome.focus->kind == FocusStop::Kind::control)
            pressControl(outcome.focus->control);
        else if (outcome.focus->kind == FocusStop::Kind::tab)
            sendAction(AppDomain::categoryChanged{outcome.focus->tab});
        else
            emit cardButtonPressRequested(outcome.focus->card, outcome.focus->button);
        break;
    case SheetKeyOutcome::Effect::giveBack:
        releaseKeyboard();
        if (giveBack_)
            giveBack_();
        break;
    }
    return true;
}

void CheatsheetViewModel::pressControl(HeaderControl control) {
    switch (control) {
    case HeaderControl::info:
        return openSubtitleHelp();
    case HeaderControl::shrink:
        return toggleShrink();
    case HeaderControl::pin:
        return togglePin();
    case HeaderControl::menu:
        emit menuRequested();
        return;
    }
}

void CheatsheetViewModel::sendAction(AppDomain::Action action) {
    if (send_)
        send_(std::move(action));
}

void CheatsheetViewModel::selectCategory(const QString& category) {
    if (auto parsed = shortcutCategoryFromRaw(category.toStdString()))
        sendAction(AppDomain::categoryChanged{*parsed});
}

void CheatsheetViewModel::pressCardButton(qint64 shortcutId, int index) {
    sendButton(shortcutId, cards_.button(shortcutId, index));
}

void CheatsheetViewModel::pressOfferButton(qint64 shortcutId, int index) {
    sendButton(shortcutId, cards_.button(shortcutId, index, true));
}

void CheatsheetViewModel::sendButton(qint64 shortcutId, const std::optional<CardButton>& button) {
    if (!button)
        return;
    AppDomain::Action action = cardAction(button->command, shortcutId);
    if (button->sendDelayMs() == 0)
        return sendAction(std::move(action));
    // One-shot and never cancelled, as the animation that announces it.
    QTimer::singleShot(button->sendDelayMs(), this, [this, action = std::move(action)] { sendAction(action); });
}

void CheatsheetViewModel::openSubtitleHelp() {
    if (!subtitle_ || subtitle_->helpUrl.empty())
        return;
    const QUrl url(text(subtitle_->helpUrl), QUrl::StrictMode);
    if (url.isValid())
        QDesktopServices::openUrl(url);
}

void CheatsheetViewModel::toggleShrink() {
    if (!window_)
        return;
    QScreen* screen = window_->screen();
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen && !QGuiApplication::screens().isEmpty())
        screen = QGuiApplication::screens().first();
    if (!screen)
        return;
    const QRect visible = screen->availableGeometry();
    const TopLeftRect target = shrinkTarget(
        isShrunken_, TopLeftRect{static_cast<double>(visible.x()), static_cast<double>(visible.y()),
                                 static_cast<double>(visible.width()), static_cast<double>(visible.height())});
    // The target is the whole window, frame included; Qt places the client area inside it.
    const QMargins frame = window_->frameMargins();
    const int width = static_cast<int>(target.width);
    const int height = static_cast<int>(target.height);
    window_->setGeometry(static_cast<int>(target.x) + static_cast<int>(target.width) - frame.right() - width,
                         static_cast<int>(target.y) + static_cast<int>(target.height) - frame.bottom() - height, width,
                         height);
    QTimer::singleShot(kShrinkFlipDelayMs, this, [this] {
        const auto before = focusOrder(presentation_, sheetWindow());
        isShrunken_ = !isShrunken_;
        emit isShrunkenChanged();
        updateHeaderControls();
        setFocus(keptFocus(before, presentation_, sheetWindow(), focus_));
    });
}

void CheatsheetViewModel::togglePin() {
    if (!window_)
        return;
    window_->setFlag(Qt::WindowStaysOnTopHint, !isPinned_);
    isPinned_ = !isPinned_;
    emit isPinnedChanged();
    updateHeaderControls();
}

} // namespace tavrin
