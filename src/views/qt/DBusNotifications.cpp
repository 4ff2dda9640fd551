#include "views/qt/DBusNotifications.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>
#include <QVariantMap>
#include <utility>

#include "platform/Log.h"

namespace tavrin {

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kInterface = QStringLiteral("org.freedesktop.Notifications");
constexpr int kCallTimeoutMs = 5000;
constexpr uint kDismissedByUser = 2; // NotificationClosed's reason

QDBusMessage call(const QString& method, const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(kService, kPath, kInterface, method);
    message.setArguments(arguments);
    return message;
}

} // namespace

DBusNotifications::DBusNotifications(QDBusConnection bus, QObject* parent) : QObject(parent), bus_(std::move(bus)) {
    // From whoever owns the name now: the service may start after Tavrin, or be restarted.
    bus_.connect(QString(), kPath, kInterface, QStringLiteral("ActionInvoked"), this,
                 SLOT(actionInvoked(uint, QString)));
    bus_.connect(QString(), kPath, kInterface, QStringLiteral("NotificationClosed"), this,
                 SLOT(notificationClosed(uint, uint)));
}

void DBusNotifications::show(const Notification& notification, Answer answer) {
    QStringList actions;
    for (const auto& [key, label] : notification.actions)
        actions << QString::fromStdString(key) << QString::fromStdString(label);
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("tavrin")},
                            {QStringLiteral("category"), QStringLiteral("im")}};
    const QDBusMessage message =
        call(QStringLiteral("Notify"),
             {QStringLiteral("Tavrin"), shown_, QStringLiteral("tavrin"), QString::fromStdString(notification.summary),
              QString::fromStdString(notification.body), actions, hints, -1});
    answer_ = std::move(answer);
    const quint64 request = ++request_;
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message, kCallTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, request](QDBusPendingCallWatcher* done) {
        done->deleteLater();
        const QDBusPendingReply<uint> reply = *done;
        if (reply.isError()) {
            if (!std::exchange(reportedFailure_, true))
                printLine("Desktop notifications are not available: " + reply.error().message().toStdString());
            if (request == request_)
                answer_ = nullptr;
            return;
        }
        reportedFailure_ = false;
        if (request == request_)
            shown_ = reply.value();
        else // replaced before the service answered
            bus_.asyncCall(call(QStringLiteral("CloseNotification"), {reply.value()}), kCallTimeoutMs);
    });
}

void DBusNotifications::withdraw() {
    ++request_;
    answer_ = nullptr;
    if (shown_ != 0)
        bus_.asyncCall(call(QStringLiteral("CloseNotification"), {std::exchange(shown_, 0u)}), kCallTimeoutMs);
}

void DBusNotifications::actionInvoked(uint id, const QString& key) {
    if (id != 0 && id == shown_)
        answer(key.toStdString());
}

void DBusNotifications::notificationClosed(uint id, uint reason) {
    if (id == 0 || id != shown_)
        return;
    if (reason == kDismissedByUser)
        answer({});
    shown_ = 0;
    answer_ = nullptr;
}

void DBusNotifications::answer(const std::string& key) {
    // Once: the service closes the notification after an action, which is no second answer.
    if (auto pending = std::exchange(answer_, nullptr))
        pending(key);
}

} // namespace tavrin
