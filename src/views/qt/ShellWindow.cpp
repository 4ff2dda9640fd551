#include "views/qt/ShellWindow.h"

#include "views/qt/FTUEViewModel.h"

namespace tavrin {

namespace {

QRect topLeftRect(const BottomLeftRect& frame, const Screens& screens) {
    const double height = screens.mainScreenFrame().value_or(BottomLeftRect{}).height;
    const TopLeftRect r = flipped(frame, height);
    return QRect(static_cast<int>(r.x), static_cast<int>(r.y), static_cast<int>(r.width), static_cast<int>(r.height));
}

} // namespace

ShellWindow::ShellWindow(QQuickWindow* window, const Screens& screens) : window_(window), screens_(screens) {}

void ShellWindow::present(const RootPresentation& presentation) {
    if (!window_ || shown_ == presentation)
        return;
    const bool contentChanged = !shown_ || shown_->content != presentation.content;
    shown_ = presentation;

    Qt::WindowFlags flags = Qt::Window;
    if (presentation.floating)
        flags |= Qt::WindowStaysOnTopHint;
    // The keyboard stays with the application the user works in; clicks still reach the window.
    if (!presentation.takesFocus)
        flags |= Qt::WindowDoesNotAcceptFocus;
    window_->setFlags(flags);

    if (contentChanged) {
        const auto visible = screens_.mainScreenVisibleFrame();
        const BottomLeftRect frame = presentation.content == RootPresentation::Content::cheatsheet
                                         ? cheatsheetFrame(visible)
                                         : ftueFrame(visible, views::ftue::frameSize(views::desktopFontPixels()));
        window_->setGeometry(topLeftRect(frame, screens_));
    }
    window_->show();
    // The first-run flow is used from the keyboard: it takes the focus when it appears.
    if (contentChanged && presentation.takesFocus)
        window_->requestActivate();
}

void ShellWindow::reveal() {
    if (!window_)
        return;
    window_->show();
    window_->raise();
    if (shown_ && shown_->takesFocus)
        window_->requestActivate();
}

} // namespace tavrin
