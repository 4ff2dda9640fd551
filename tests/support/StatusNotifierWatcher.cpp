// A minimal StatusNotifierWatcher that is also its own host: on a private session bus it makes a
// tray exist for the application under test, which then registers its item here. Prints "ready"
// once it owns its name, then "item SERVICE PATH" for each registration.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QStringList>
#include <cstdio>

class Watcher : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)

public:
    explicit Watcher(QObject* parent = nullptr) : QObject(parent) {
        watcher_.setConnection(QDBusConnection::sessionBus());
        watcher_.setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
        connect(&watcher_, &QDBusServiceWatcher::serviceUnregistered, this, [this](const QString& service) {
            for (auto it = items_.begin(); it != items_.end();) {
                if (it->startsWith(service + QLatin1Char('/'))) {
                    emit StatusNotifierItemUnregistered(*it);
                    it = items_.erase(it);
                } else {
                    ++it;
                }
            }
            watcher_.removeWatchedService(service);
        });
    }
    QStringList items() const { return items_; }
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }

public slots:
    // The argument is a bus name (the item at /StatusNotifierItem) or an object path on the
    // caller's connection.
    void RegisterStatusNotifierItem(const QString& serviceOrPath) {
        QString service = serviceOrPath, path = QStringLiteral("/StatusNotifierItem");
        if (serviceOrPath.startsWith(QLatin1Char('/'))) {
            service = message().service();
            path = serviceOrPath;
        }
        const QString id = service + path;
        if (!items_.contains(id)) {
            items_ << id;
            watcher_.addWatchedService(service);
            emit StatusNotifierItemRegistered(id);
        }
        std::printf("item %s %s\n", qPrintable(service), qPrintable(path));
        std::fflush(stdout);
    }
    void RegisterStatusNotifierHost(const QString&) {}

signals:
    void StatusNotifierItemRegistered(const QString&);
    void StatusNotifierItemUnregistered(const QString&);
    void StatusNotifierHostRegistered();

private:
    QStringList items_;
    QDBusServiceWatcher watcher_;
};

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QDBusConnection bus = QDBusConnection::sessionBus();
    Watcher watcher;
    if (!bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), &watcher,
                            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals |
                                QDBusConnection::ExportAllProperties)) {
        std::fprintf(stderr, "cannot register the watcher object\n");
        return 1;
    }
    if (!bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"))) {
        std::fprintf(stderr, "cannot own org.kde.StatusNotifierWatcher: %s\n", qPrintable(bus.lastError().message()));
        return 1;
    }
    std::printf("ready\n");
    std::fflush(stdout);
    return app.exec();
}

#include "StatusNotifierWatcher.moc"
