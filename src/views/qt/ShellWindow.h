#pragma once

#include <QPointer>
#include <QQuickWindow>
#include <optional>

#include "platform/Screens.h"
#include "platform/WindowFocus.h"
#include "views/presenters/RootPresenter.h"

namespace tavrin {

// The one window, as the presentation says: an ordinary window for the first-run flow, and for
// the cheat sheet a floating one that never takes the keyboard focus, placed when it appears.
// Main thread.
class ShellWindow {
public:
    // `screens` gives the screen's frames (bottom-left convention); `focus`, where there is one,
    // which window had the keyboard before this one took it, and handing it back.
    ShellWindow(QQuickWindow* window, const Screens& screens, WindowFocus* focus = nullptr);

    // Applies a presentation; moves the window only when the content changes (or the first time).
    void present(const RootPresentation& presentation);
    // Shows the window (again) without taking the focus from the user's application when it
    // floats: for a second start and a click on the tray icon.
    void reveal();

    // Hands the keyboard to the window (the cheat sheet's shortcut, or its menu entry), even where
    // it floats: remembers the window that had it and activates this one for the user's request
    // at `timestamp` (0: now). False while there is no window to show.
    bool takeKeyboard(std::uint32_t timestamp);
    // Gives the keyboard back to the window that had it before (Escape); the window takes no focus
    // again, as before.
    void giveBackKeyboard();
    // The window lost the keyboard to another one (a click elsewhere): it takes no focus again.
    void keyboardLeft();

    QQuickWindow* window() const { return window_; }

private:
    QPointer<QQuickWindow> window_;
    const Screens& screens_;
    WindowFocus* focus_;
    std::optional<RootPresentation> shown_;
    bool hasKeyboard_ = false;
    std::optional<WindowFocus::WindowId> previous_; // the window that had the keyboard before
    void applyFlags();
};

} // namespace tavrin
