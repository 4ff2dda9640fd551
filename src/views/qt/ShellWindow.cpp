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

ShellWindow::ShellWindow(QQuickWindow* window, const Screens& screens, WindowFocus* focus)
    : window_(window), screens_(screens), focus_(focus) {}

void ShellWindow::applyFlags() {
    Qt::WindowFlags flags = Qt::Window;
    if (shown_ && shown_->floating)
        flags |= Qt::WindowStaysOnTopHint;
    // The keyboard stays with the application the user works in; clicks still reach the window.
    // Only the cheat sheet's shortcut hands it over, until it is given back.
    if (shown_ && !shown_->takesFocus && !hasKeyboard_)
        flags |= Qt::WindowDoesNotAcceptFocus;
    if (window_->flags() != flags)
        window_->setFlags(flags);
}

void ShellWindow::present(const RootPresentation& presentation) {
    if (!window_ || shown_ == presentation)
        return;
    const bool contentChanged = !shown_ || shown_->content != presentation.content;
    shown_ = presentation;

    applyFlags();

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

bool ShellWindow::takeKeyboard(std::uint32_t timestamp) {
    if (!window_ || !shown_)
        return false;
    if (focus_) {
        const auto active = focus_->activeWindow();
        if (active && *active != static_cast<WindowFocus::WindowId>(window_->winId()))
            previous_ = active;
    }
    hasKeyboard_ = true;
    window_->setFlag(Qt::WindowDoesNotAcceptFocus, false);
    window_->show();
    window_->raise();
    window_->requestActivate();
    // As a pager asks: window managers that hold back an application's own request grant this one.
    if (focus_)
        focus_->activateWindow(static_cast<WindowFocus::WindowId>(window_->winId()), timestamp);
    return true;
}

void ShellWindow::giveBackKeyboard() {
    if (!window_ || !shown_)
        return;
    hasKeyboard_ = false;
    window_->setFlag(Qt::WindowDoesNotAcceptFocus, !shown_->takesFocus);
    if (focus_ && previous_)
        focus_->activateWindow(*previous_, 0);
    previous_.reset();
}

void ShellWindow::keyboardLeft() {
    if (!window_ || !shown_ || !hasKeyboard_)
        return;
    hasKeyboard_ = false;
    previous_.reset();
    window_->setFlag(Qt::WindowDoesNotAcceptFocus, !shown_->takesFocus);
}

} // namespace tavrin
