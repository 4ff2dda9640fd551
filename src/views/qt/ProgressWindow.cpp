#include "views/qt/ProgressWindow.h"

#include <QGuiApplication>
#include <QPalette>
#include <QQmlComponent>

#include "platform/Log.h"
#include "views/qt/CheatsheetViewModel.h"
#include "views/qt/ViewResources.h"

namespace tavrin {

ProgressWindow::ProgressWindow(QQmlEngine& engine, MainQueue& mainQueue, Executor& executor,
                               std::function<ProgressReport()> report, const PlatformProfile& profile)
    : engine_(engine), mainQueue_(mainQueue), executor_(executor), report_(std::move(report)), profile_(profile) {}

ProgressWindow::~ProgressWindow() {
    delete window_.data();
}

void ProgressWindow::open() {
    if (!window_) {
        QQmlComponent component(&engine_, QUrl(QStringLiteral("qrc") + QString::fromLatin1(kViewsResourceRoot) +
                                               QStringLiteral("ProgressWindow.qml")));
        QObject* made =
            component.createWithInitialProperties({{QStringLiteral("viewModel"), QVariant::fromValue(&viewModel_)}});
        window_ = qobject_cast<QQuickWindow*>(made);
        if (!window_) {
            delete made;
            printLine("The progress window cannot be made: " + component.errorString().toStdString());
            return;
        }
    }
    std::weak_ptr<bool> alive = alive_;
    executor_.execute([this, alive] {
        auto report = std::make_shared<ProgressReport>(report_());
        mainQueue_.post([this, alive, report] {
            if (!alive.lock() || !window_)
                return;
            const ColorScheme scheme = colorSchemeOf(QGuiApplication::palette().color(QPalette::Window));
            viewModel_.present(presentProgress(*report, profile_), scheme == ColorScheme::dark);
            window_->show();
            window_->raise();
            window_->requestActivate();
        });
    });
}

} // namespace tavrin
