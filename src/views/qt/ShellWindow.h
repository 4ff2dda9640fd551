#pragma once

#include <QPointer>
#include <QQuickWindow>
#include <optional>

#include "platform/Screens.h"
#include "views/presenters/RootPresenter.h"

namespace tavrin {

// The one window, as the presentation says: an ordinary window for the first-run flow, and for
// the cheat sheet a floating one that never takes the keyboard focus, placed when it appears.
// Main thread.
class ShellWindow {
public:
    // `screens` gives the screen's frames (bottom-left convention).
    ShellWindow(QQuickWindow* window, const Screens& screens);

    // Applies a presentation; moves the window only when the content changes (or the first time).
    void present(const RootPresentation& presentation);
    // Shows the window (again) without taking the focus from the user's application when it
    // floats: for a second start and a click on the tray icon.
    void reveal();

    QQuickWindow* window() const { return window_; }

private:
    QPointer<QQuickWindow> window_;
    const Screens& screens_;
    std::optional<RootPresentation> shown_;
};

} // namespace tavrin
