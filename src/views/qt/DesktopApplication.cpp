#include "views/qt/DesktopApplication.h"

#include <QApplication>
#include <QLocalServer>
#include <QLocalSocket>
#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQuickStyle>
#include <QQuickWindow>
#include <cstdlib>
#include <ostream>
#include <variant>

#include "app/DesktopSession.h"
#include "app/HelperCommand.h"
#include "app/ProgressCommand.h"
#include "database/DatabaseManager.h"
#include "platform/Clock.h"
#include "platform/PlatformProfile.h"
#include "platform/linux/InstanceLock.h"
#include "platform/linux/LinuxSystemInfo.h"
#include "platform/wayland/PortalGlobalShortcut.h"
#include "reporting/ErrorReportingClient.h"
#include "views/presenters/CheatsheetPresenter.h"
#include "views/presenters/RootPresenter.h"
#include "views/qt/DBusNotifications.h"
#include "views/qt/FTUEViewModel.h"
#include "views/qt/NudgeNotifier.h"
#include "views/qt/ProgressWindow.h"
#include "views/qt/QtEventLoop.h"
#include "views/qt/QtStatusBar.h"
#include "views/qt/QuitOnSignals.h"
#include "views/qt/RootViewModel.h"
#include "views/qt/ShellWindow.h"
#include "views/qt/ViewResources.h"

namespace tavrin {

namespace {

using namespace std::chrono_literals;

// Takes the single-instance lock; without it, asks a running application to show its window.
// Returns the lock, or the exit status to end with.
std::variant<std::unique_ptr<InstanceLock>, int> takeLock(std::ostream& out, std::ostream& err) {
    std::string problem;
    const auto folder = InstanceLock::runtimeDirectory(problem);
    std::optional<InstanceLock::Holder> holder;
    auto lock = folder ? InstanceLock::acquire(*folder, "app", holder, problem) : nullptr;
    if (lock)
        return lock;
    if (holder && holder->role == "app") {
        if (askRunningApplication(*folder / "tavrin.sock", "show", 2s)) {
            out << "Tavrin is already running; its window is shown.\n";
            return 0;
        }
        err << "tavrin: Tavrin is already running (process " << holder->pid << ") but does not answer.\n";
        return 1;
    }
    if (holder)
        err << "tavrin: " << describeHolder(*holder)
            << " is already counting your clicks on this desktop; stop it first, or two processes would count "
               "every click twice.\n";
    else
        err << "tavrin: cannot make sure no other Tavrin runs: " << problem << '\n';
    return 1;
}

std::filesystem::path runningExecutable() {
    std::error_code ec;
    auto path = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::filesystem::path("tavrin") : path;
}

} // namespace

int runDesktopApplication(int& argc, char** argv, const DesktopApplicationOptions& options, std::ostream& out,
                          std::ostream& err) {
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display) {
        err << "tavrin: no X11 display: DISPLAY is not set. Start Tavrin from your desktop session (an X11 session, "
               "or XWayland applications); `tavrin --help` lists the commands that need none.\n";
        return 1;
    }
    auto taken = takeLock(out, err);
    if (const int* status = std::get_if<int>(&taken))
        return *status;
    const auto lock = std::move(std::get<std::unique_ptr<InstanceLock>>(taken));

    // The software scene graph: this window needs no GPU, and it saves about 100 MB.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
    QApplication::setApplicationName(QStringLiteral("tavrin"));
    QApplication::setApplicationDisplayName(QStringLiteral("Tavrin"));
    QApplication::setDesktopFileName(QStringLiteral("tavrin"));
    // Qt's own event loop instead of GLib's: GLib's default context belongs to the accessibility
    // lookups' thread, which must be the only one turning it.
    qputenv("QT_NO_GLIB", "1");
    // In a Wayland session the window goes through XWayland, where it is placed and kept on top as
    // on X11: a native Wayland window can do neither. The user's own choice of platform stands.
    if (isWaylandSession() && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    app.setQuitOnLastWindowClosed(false); // closing the window leaves Tavrin in the tray
    QtEventLoop loop;
    QuitOnSignals quitOnSignals;

    // A second start connects here and asks for the window.
    const QString socketPath = QString::fromStdString(lock->socketPath().string());
    QLocalServer::removeServer(socketPath); // left by a run that was killed: we hold the lock
    QLocalServer server;
    server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!server.listen(socketPath))
        err << "tavrin: a second start cannot reach this one: " << server.errorString().toStdString() << '\n';

    SystemClock clock;
    QtStatusBar statusBar;
    LinuxSystemInfo systemInfo;
    RootViewModel viewModel;
    std::unique_ptr<ErrorReportingClient> reporting;
    const BundleInfo bundle = BundleInfo::current();
    const DeploymentSettings deployment = DeploymentSettings::current();
    // Update answers: a tray notification, or a line in the window where there is no tray.
    auto notify = [&statusBar, &viewModel](const std::string& title, const std::string& message) {
        const QString t = QString::fromStdString(title), m = QString::fromStdString(message);
        if (!statusBar.item() || !statusBar.item()->showMessage(t, m))
            viewModel.setNotice(t + QStringLiteral(": ") + m);
    };

    // The keyboard's way into the cheat sheet, once the window is made: its shortcut, its menu entry
    // and `tavrin shortcut focus`.
    ShellWindow* keyboardShell = nullptr;
    CheatsheetViewModel* keyboardSheet = nullptr;
    // "Your Progress", once the engine is made.
    ProgressWindow* progressWindow = nullptr;
    auto focusSheet = [&keyboardShell, &keyboardSheet](const GlobalShortcut::Activation& activation) {
        if (keyboardShell && keyboardShell->takeKeyboard(activation.timestamp) && keyboardSheet)
            keyboardSheet->takeKeyboard();
    };
    // A Wayland session's shortcut comes from the desktop portal; it outlives the session that uses it.
    std::unique_ptr<GlobalShortcut> portalShortcut;

    std::string problem;
    auto session = DesktopSession::open(
        {
            .dataDir = options.dataDir,
            .catalogueDir = options.catalogueDir,
            .productAnalytics = true,
            .loginItemExecutable = runningExecutable(),
            .shell =
                [&](AppEnvironment& environment, const Paths& paths) {
                    ErrorReportingClient::Configuration configuration{.clock = &clock,
                                                                      .clientVersion = *bundle.shortVersion};
                    if (const auto support = paths.applicationSupportDirectory()) {
                        std::error_code ignored;
                        std::filesystem::create_directories(*support / "tavrin", ignored);
                        configuration.crashRecord = *support / "tavrin" / "crash-report";
                    }
                    reporting = std::make_unique<ErrorReportingClient>(configuration);
                    environment.errorReporting = reporting.get();
                    environment.statusBar = &statusBar;
                    environment.system = &systemInfo;
                    environment.makeUpdater = [&loop, &deployment, &bundle, notify] {
                        auto updater = std::make_unique<FeedUpdater>(deployment.updateFeed, *bundle.shortVersion, loop,
                                                                     loop, notify);
                        updater->start();
                        return updater;
                    };
                    environment.terminate = [] { QCoreApplication::quit(); };
                    environment.focusCheatsheet = focusSheet;
                    environment.showProgress = [&progressWindow] {
                        if (progressWindow)
                            progressWindow->open();
                    };
                    environment.nudgeNotifications = true;
                    // On GNOME and KDE Plasma (Wayland): the helper the user installed.
                    if (std::shared_ptr<DesktopHelper> helper = sessionDesktopHelper();
                        helper && helper->state() != DesktopHelper::State::notInstalled)
                        environment.removeDesktopHelper = [helper] { return removeHelper(*helper); };
                    if (isWaylandSession()) {
                        portalShortcut = std::make_unique<PortalGlobalShortcut>();
                        environment.globalShortcut = portalShortcut.get();
                    }
                    environment.manageLoginItem = true;
                    environment.bundle = bundle;
                    environment.deployment = deployment;
                },
        },
        loop, loop, problem);
    if (!session) {
        err << "tavrin: " << problem << '\n';
        return 1;
    }

    // The first-run screens send their actions into the store's `ftue` case.
    views::FTUEViewModel ftueViewModel(
        PlatformProfile::linuxDesktop(),
        [&session](FTUEDomain::Action action) { session->store().send(AppDomain::ftue{std::move(action)}); },
        [&session] { return session->applicationsToRestart(); });
    ftueViewModel.setInputCapabilities(session->capabilities().input);
    if (const auto visible = session->screens().mainScreenVisibleFrame())
        ftueViewModel.setVisibleArea(views::ftue::ScreenArea{visible->width, visible->height});
    else
        ftueViewModel.setVisibleArea(std::nullopt);

    QQmlApplicationEngine engine;
    engine.setInitialProperties({{QStringLiteral("viewModel"), QVariant::fromValue(&viewModel)},
                                 {QStringLiteral("ftueViewModel"), QVariant::fromValue(&ftueViewModel)}});
    const QUrl rootView(QStringLiteral("qrc") + QString::fromLatin1(kViewsResourceRoot) +
                        QStringLiteral("RootView.qml"));
    engine.load(rootView);
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().value(0));
    if (!window) {
        QQmlComponent component(&engine, rootView);
        err << "tavrin: the window cannot be made: " << component.errorString().toStdString() << '\n';
        return 1;
    }
    ShellWindow shell(window, session->screens(), session->windowFocus());
    ProgressWindow progress(
        engine, loop, loop,
        [&session, &clock] { return session->database().progress(clock.now(), ProgressOptions{}.weeks); },
        PlatformProfile::linuxDesktop());
    progressWindow = &progress;

    try {
        session->start();
    } catch (const std::exception& error) {
        err << "tavrin: cannot open the database: " << error.what() << '\n';
        return 1;
    }
    AppDelegate& delegate = session->app();

    if (QtStatusItem* item = statusBar.item()) {
        item->onActivated = [&shell] { shell.reveal(); };
        viewModel.setHasMenuButton(!item->hasButton());
        // The window's copy of the menu: Qt Quick items, which screen readers reach, unlike a
        // QMenu popped up from the window.
        item->onMenuChanged = [item, &viewModel] {
            QVariantList entries;
            for (const auto& entry : item->entries())
                entries.push_back(QVariantMap{{QStringLiteral("title"), entry.title},
                                              {QStringLiteral("separator"), entry.separator},
                                              {QStringLiteral("checkable"), entry.checkable},
                                              {QStringLiteral("checked"), entry.checked}});
            viewModel.setMenuEntries(entries);
        };
        item->onMenuChanged();
    }
    viewModel.menuTrigger = [&statusBar](int index) {
        if (QtStatusItem* item = statusBar.item(); item && index >= 0)
            item->trigger(static_cast<std::size_t>(index));
    };
    QObject::connect(&server, &QLocalServer::newConnection, &server, [&server, &shell, &focusSheet] {
        while (QLocalSocket* connection = server.nextPendingConnection()) {
            QObject::connect(connection, &QLocalSocket::disconnected, connection, &QObject::deleteLater);
            QObject::connect(connection, &QLocalSocket::readyRead, connection, [connection, &shell, &focusSheet] {
                const QByteArray request = connection->readAll();
                if (request.startsWith("show"))
                    shell.reveal();
                else if (request.startsWith("focus"))
                    focusSheet({});
                connection->disconnectFromServer();
            });
        }
    });
    Qt::ApplicationState lastState = app.applicationState();
    QObject::connect(&app, &QGuiApplication::applicationStateChanged, &app, [&](Qt::ApplicationState state) {
        if (state == Qt::ApplicationHidden)
            delegate.applicationWillHide();
        else if (state == Qt::ApplicationInactive && lastState == Qt::ApplicationActive)
            delegate.applicationWillResignActive();
        lastState = state;
    });
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &app, [&session] { session->stop(); });

    // The window shows what the stored state says: let the start-up's first actions arrive.
    loop.waitForWorkers(250ms);
    QCoreApplication::processEvents();
    CheatsheetViewModel& cheatsheet = *viewModel.cheatsheet();
    cheatsheet.setSend([&session](AppDomain::Action action) { session->store().send(std::move(action)); });
    cheatsheet.setWindow(window);
    cheatsheet.setGiveBack([&shell] { shell.giveBackKeyboard(); });
    QObject::connect(window, &QWindow::activeChanged, window, [window, &shell, &cheatsheet] {
        if (!window->isActive()) {
            shell.keyboardLeft();
            cheatsheet.releaseKeyboard();
        }
    });
    keyboardShell = &shell;
    keyboardSheet = &cheatsheet;
    DBusNotifications desktopNotifications;
    NudgeNotifier nudgeNotifier(desktopNotifications, PlatformProfile::linuxDesktop(),
                                [&session](AppDomain::Action action) { session->store().send(std::move(action)); });
    auto present = [&viewModel, &ftueViewModel, &shell, &cheatsheet, &nudgeNotifier](const AppDomain::State& state) {
        nudgeNotifier.present(state);
        ftueViewModel.update(state.ftue);
        const RootPresentation presentation = presentRoot(state);
        viewModel.setShowsCheatsheet(presentation.content == RootPresentation::Content::cheatsheet);
        const ColorScheme scheme = colorSchemeOf(QGuiApplication::palette().color(QPalette::Window));
        ftueViewModel.setColorScheme(scheme);
        cheatsheet.present(presentCheatsheet(state, scheme, PlatformProfile::linuxDesktop()), scheme);
        shell.present(presentation);
    };
    const auto observation = session->store().observe(present);
    present(session->store().state());

    const int status = app.exec();
    keyboardShell = nullptr;
    keyboardSheet = nullptr;
    progressWindow = nullptr;
    session->stop();
    // Bodies still running finish before what they use goes; what they would deliver is dropped.
    loop.shutdown();
    viewModel.menuTrigger = nullptr;
    if (QtStatusItem* item = statusBar.item())
        item->onMenuChanged = nullptr;
    cheatsheet.setSend(nullptr);
    session.reset();
    reporting.reset();
    return status;
}

} // namespace tavrin
