#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include "platform/DesktopNotifications.h"

namespace tavrin {

// Desktop notifications through the freedesktop notification service
// (org.freedesktop.Notifications on the session bus). Every call is asynchronous: the main thread
// never waits for the service. Without a service (or when it fails) a line goes to the log, once
// until it answers again. Main thread.
class DBusNotifications final : public QObject, public DesktopNotifications {
    Q_OBJECT

public:
    explicit DBusNotifications(QDBusConnection bus = QDBusConnection::sessionBus(), QObject* parent = nullptr);

    void show(const Notification& notification, Answer answer) override;
    void withdraw() override;

private slots:
    void actionInvoked(uint id, const QString& key);
    void notificationClosed(uint id, uint reason);

private:
    void answer(const std::string& key);

    QDBusConnection bus_;
    quint64 request_ = 0; // the latest Notify call; earlier replies are stale
    uint shown_ = 0;      // the service's id of the notification shown; 0: none
    Answer answer_;
    bool reportedFailure_ = false;
};

} // namespace tavrin
