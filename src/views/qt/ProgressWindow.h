#pragma once

#include <QPointer>
#include <QQmlEngine>
#include <QQuickWindow>
#include <functional>
#include <memory>

#include "database/PracticeRecords.h"
#include "platform/MainQueue.h"
#include "platform/PlatformProfile.h"
#include "views/qt/ProgressViewModel.h"

namespace tavrin {

// The "Your Progress" window, made the first time it is opened. Main thread.
class ProgressWindow {
public:
    // `report` reads the figures (the database's progress query); it runs on `executor`, never on
    // the main thread, and must stay callable until the executor has finished its bodies.
    ProgressWindow(QQmlEngine& engine, MainQueue& mainQueue, Executor& executor, std::function<ProgressReport()> report,
                   const PlatformProfile& profile);
    ~ProgressWindow();

    // Reads the figures again and shows the window with them, in front and with the keyboard.
    // Errors making the window are printed; the application goes on without it.
    void open();

    QQuickWindow* window() const { return window_; }
    ProgressViewModel& viewModel() { return viewModel_; }

private:
    QQmlEngine& engine_;
    MainQueue& mainQueue_;
    Executor& executor_;
    std::function<ProgressReport()> report_;
    const PlatformProfile& profile_;
    ProgressViewModel viewModel_;
    QPointer<QQuickWindow> window_;
    // Answers of the query hold this weakly: after destruction they are dropped.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace tavrin
