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

CheatsheetViewModel::CheatsheetViewModel(QObject* parent) : QObject(parent), cards_(this) {}

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
    const auto button = cards_.button(shortcutId, index);
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
        isShrunken_ = !isShrunken_;
        emit isShrunkenChanged();
    });
}

void CheatsheetViewModel::togglePin() {
    if (!window_)
        return;
    window_->setFlag(Qt::WindowStaysOnTopHint, !isPinned_);
    isPinned_ = !isPinned_;
    emit isPinnedChanged();
}

} // namespace tavrin
