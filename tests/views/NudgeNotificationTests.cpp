#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QTest>
#include <variant>

#include "platform/fake/FakeDesktop.h"
#include "support/CapturingLogSink.h"
#include "views/qt/DBusNotifications.h"
#include "views/qt/NudgeNotifier.h"

namespace tavrin {
namespace {

AppDomain::State nudged(bool notifications, bool settled, int at = 9) {
    AppDomain::State state;
    state.coaching.preferences.notifications = notifications;
    state.coaching.nudge = Nudge{19, "Save", "control + s", std::nullopt, Date{std::chrono::seconds(at)}, settled};
    return state;
}

const DesktopNotifications::Notification kSaveNotification{
    "Save: Ctrl + S",
    "You clicked Save; Ctrl + S does it from the keyboard.",
    {{"got-it", "Got it"}, {"not-for-this-one", "Not for this one"}}};

// Which nudges reach the desktop, and what each answer does; an answer comes once, and a nudge is
// shown once however often the state repeats it.
TEST(NudgeNotifier, ShowsEachSettledNudgeOnceWhileAskedForAndSendsTheAnswerBack) {
    using Action = AppDomain::Action;
    struct Case {
        bool notifications, settled;
        const char* answer; // nullptr: nothing is shown to answer
        std::optional<Action> sent;
    };
    const Case cases[] = {
        {true, true, "not-for-this-one", Action{AppDomain::suppressNudges{19}}},
        {true, true, "got-it", Action{AppDomain::dismissNudge{19}}},
        {true, true, "", Action{AppDomain::dismissNudge{19}}}, // closed without choosing
        {true, true, "default", std::nullopt},                 // the body clicked: no answer
        {true, false, nullptr, std::nullopt},                  // the shortcut may still follow
        {false, true, nullptr, std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.notifications) + std::to_string(c.settled) + (c.answer ? c.answer : "-"));
        FakeDesktop desktop;
        std::vector<Action> sent;
        NudgeNotifier notifier(desktop, PlatformProfile::linuxDesktop(), [&](Action a) { sent.push_back(a); });
        notifier.present(nudged(c.notifications, c.settled));
        notifier.present(nudged(c.notifications, c.settled));
        ASSERT_EQ(desktop.notifications.size(), c.answer ? 1u : 0u);
        if (!c.answer)
            continue;
        EXPECT_EQ(desktop.notifications[0], kSaveNotification);
        ASSERT_TRUE(desktop.answerNotification(c.answer));
        EXPECT_EQ(sent, c.sent ? std::vector<Action>{*c.sent} : std::vector<Action>{});
    }
    // Turned off while one is shown: taken back.
    FakeDesktop desktop;
    NudgeNotifier notifier(desktop, PlatformProfile::linuxDesktop(), [](AppDomain::Action) {});
    notifier.present(nudged(true, true));
    notifier.present(nudged(false, true));
    EXPECT_FALSE(desktop.answerNotification("got-it"));
}

// A stand-in for the desktop's notification service: answers Notify with id 7 and keeps the calls.
class StandInService final : public QDBusVirtualObject {
public:
    std::vector<QList<QVariant>> notified;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.member() != QStringLiteral("Notify"))
            return false;
        notified.push_back(message.arguments());
        connection.send(message.createReply(QVariant::fromValue(7u)));
        return true;
    }
    QString introspect(const QString&) const override { return {}; }
};

// The notification through the session bus, on a private bus with a stand-in service: the nudge
// shown with its texts and buttons, "Not for this one" suppressing the shortcut (once, though the
// service then reports the notification closed), and a desktop without the service logging it.
TEST(DBusNotifications, ANudgeGoesToTheServiceAndItsAnswerComesBackAsTheStoresAction) {
    QProcess bus;
    bus.start(QStringLiteral("dbus-daemon"),
              {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--address=unix:tmpdir=/tmp"),
               QStringLiteral("--print-address=1")});
    ASSERT_TRUE(bus.waitForStarted(5000));
    ASSERT_TRUE(QTest::qWaitFor([&] { return bus.canReadLine(); }, 5000));
    const QString address = QString::fromUtf8(bus.readLine()).trimmed();
    {
        QDBusConnection service = QDBusConnection::connectToBus(address, QStringLiteral("stand-in"));
        QDBusConnection client = QDBusConnection::connectToBus(address, QStringLiteral("client"));
        ASSERT_TRUE(service.isConnected() && client.isConnected());
        StandInService standIn;
        ASSERT_TRUE(service.registerVirtualObject(QStringLiteral("/org/freedesktop/Notifications"), &standIn));
        ASSERT_TRUE(service.registerService(QStringLiteral("org.freedesktop.Notifications")));

        DBusNotifications notifications(client);
        std::vector<AppDomain::Action> sent;
        NudgeNotifier notifier(notifications, PlatformProfile::linuxDesktop(),
                               [&](AppDomain::Action a) { sent.push_back(a); });
        notifier.present(nudged(true, true));
        ASSERT_TRUE(QTest::qWaitFor([&] { return !standIn.notified.empty(); }, 5000));
        const QList<QVariant> call = standIn.notified[0];
        ASSERT_EQ(call.size(), 8);
        EXPECT_EQ(call[0].toString(), QStringLiteral("Tavrin"));
        EXPECT_EQ(call[3].toString(), QStringLiteral("Save: Ctrl + S"));
        EXPECT_EQ(call[4].toString(), QStringLiteral("You clicked Save; Ctrl + S does it from the keyboard."));
        EXPECT_EQ(call[5].toStringList(),
                  (QStringList{QStringLiteral("got-it"), QStringLiteral("Got it"), QStringLiteral("not-for-this-one"),
                               QStringLiteral("Not for this one")}));
        auto signal = [&](const char* name, const QVariantList& arguments) {
            QDBusMessage message =
                QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/Notifications"),
                                           QStringLiteral("org.freedesktop.Notifications"), QString::fromLatin1(name));
            message.setArguments(arguments);
            ASSERT_TRUE(service.send(message));
        };
        // Until the client has the id from the reply, the service's signals are not its own: say it again.
        ASSERT_TRUE(QTest::qWaitFor(
            [&] {
                signal("ActionInvoked", {7u, QStringLiteral("not-for-this-one")});
                QTest::qWait(50);
                return !sent.empty();
            },
            5000));
        signal("NotificationClosed", {7u, 2u});
        signal("ActionInvoked", {7u, QStringLiteral("got-it")});
        QTest::qWait(200);
        EXPECT_EQ(sent, std::vector<AppDomain::Action>{AppDomain::suppressNudges{19}});

        // No service on the bus: a line in the log, and nothing else.
        testing::ScopedLogCapture log;
        service.unregisterService(QStringLiteral("org.freedesktop.Notifications"));
        notifier.present(nudged(true, true, 70));
        ASSERT_TRUE(QTest::qWaitFor([&] { return !log->printed().empty(); }, 5000));
        EXPECT_EQ(log->printed()[0].rfind("Desktop notifications are not available: ", 0), 0u) << log->printed()[0];
        EXPECT_EQ(standIn.notified.size(), 1u);
        service.unregisterObject(QStringLiteral("/org/freedesktop/Notifications"));
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("stand-in"));
    QDBusConnection::disconnectFromBus(QStringLiteral("client"));
    bus.terminate();
    bus.waitForFinished(5000);
}

} // namespace
} // namespace tavrin
