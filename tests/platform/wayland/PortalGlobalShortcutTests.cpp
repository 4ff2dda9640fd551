// The desktop portal's global shortcuts against a stand-in portal on a private session bus: a
// dbus-daemon of the test's own and a small GlobalShortcuts service that answers as KDE Plasma's
// portal does, as GNOME's does (no such interface), as a user who declines, and not at all.
#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "platform/wayland/PortalGlobalShortcut.h"

namespace {

struct Shortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& argument, const Shortcut& shortcut) {
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}
const QDBusArgument& operator>>(const QDBusArgument& argument, Shortcut& shortcut) {
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

} // namespace

Q_DECLARE_METATYPE(Shortcut)
Q_DECLARE_METATYPE(QList<Shortcut>)

namespace tavrin {
namespace {

const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

// The portal: CreateSession and BindShortcuts answer with a Request path and then its Response.
class FakePortal final : public QDBusVirtualObject {
public:
    enum class Answer { binds, noInterface, declines, silent };
    Answer answer = Answer::binds;
    QList<Shortcut> asked; // what BindShortcuts was given
    QString session;

    explicit FakePortal(QDBusConnection bus) : bus_(bus) {}

    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override {
        if (message.interface() != kInterface || answer == Answer::noInterface)
            return false; // GNOME's portal: no such interface
        const QVariantList arguments = message.arguments();
        const QVariantMap options = qdbus_cast<QVariantMap>(arguments.last());
        QString sender = message.service().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        const QString request = kPath + "/request/" + sender + "/" + options.value("handle_token").toString();
        bus_.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
        uint code = 0;
        QVariantMap results;
        if (message.member() == "CreateSession") {
            session = kPath + "/session/" + sender + "/" + options.value("session_handle_token").toString();
            results.insert("session_handle", session); // a string, as the interface's first version has it
        } else {
            arguments.at(1).value<QDBusArgument>() >> asked;
            if (answer == Answer::silent)
                return true;
            code = answer == Answer::declines ? 1 : 0;
            const QList<Shortcut> bound{{"focus-cheat-sheet", {{"trigger_description", "Meta+Alt+C"}}}};
            results.insert("shortcuts", QVariant::fromValue(bound));
        }
        QDBusMessage response = QDBusMessage::createSignal(request, "org.freedesktop.portal.Request", "Response");
        response << code << results;
        QTimer::singleShot(10, [bus = bus_, response]() mutable { bus.send(response); });
        return true;
    }
    QString introspect(const QString&) const override { return {}; }

    // The user presses the keys of shortcut `id`.
    void activate(const QString& id, const QString& inSession) {
        QDBusMessage signal = QDBusMessage::createSignal(kPath, kInterface, "Activated");
        signal << QVariant::fromValue(QDBusObjectPath(inSession)) << id << qulonglong(1234)
               << QVariantMap{{"activation_token", "token-1"}};
        bus_.send(signal);
    }

private:
    QDBusConnection bus_;
};

TEST(PortalGlobalShortcut, BindsThroughThePortalOrSaysWhyNotWithoutEverBlocking) {
    qDBusRegisterMetaType<Shortcut>();
    qDBusRegisterMetaType<QList<Shortcut>>();
    QTemporaryDir folder;
    QProcess daemon;
    daemon.start("dbus-daemon",
                 {"--session", "--nofork", "--print-address=1", "--address=unix:path=" + folder.filePath("bus")});
    ASSERT_TRUE(daemon.waitForReadyRead(5000)) << "dbus-daemon did not start";
    const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
    QDBusConnection bus = QDBusConnection::connectToBus(address, "fake-portal");
    ASSERT_TRUE(bus.registerService("org.freedesktop.portal.Desktop"));
    FakePortal portal(bus);
    ASSERT_TRUE(bus.registerVirtualObject(kPath, &portal));

    using Answer = FakePortal::Answer;
    struct Case {
        const char* name;
        Answer answer;
        const char* trigger; // empty: not bound
        const char* problem;
    };
    const Case cases[] = {
        {"bound and activated", Answer::binds, "Meta+Alt+C", ""},
        {"no such interface", Answer::noInterface, "",
         "the desktop's portal offers no global shortcuts (GNOME and the wlroots desktops do not)"},
        {"the user declines", Answer::declines, "", "you declined the desktop's request for global shortcuts"},
        {"no answer", Answer::silent, "", "the desktop portal does not answer"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        portal.answer = c.answer;
        portal.asked.clear();
        PortalGlobalShortcut shortcut(std::chrono::milliseconds(500), address.toStdString());
        std::vector<GlobalShortcut::Binding> outcomes;
        std::vector<std::string> tokens;
        shortcut.bind(
            parseKeyCombination("Super+Alt+C").value(),
            [&](const GlobalShortcut::Binding& binding) { outcomes.push_back(binding); },
            [&](const GlobalShortcut::Activation& activation) { tokens.push_back(activation.activationToken); });
        EXPECT_TRUE(outcomes.empty()) << "answered on a later turn";
        ASSERT_TRUE(QTest::qWaitFor([&] { return !outcomes.empty(); }, 3000));
        EXPECT_EQ(outcomes.front().trigger, c.trigger);
        EXPECT_EQ(outcomes.front().bound, *c.trigger != 0);
        EXPECT_EQ(outcomes.front().problem, c.problem);
        if (c.answer == Answer::noInterface)
            continue;
        ASSERT_EQ(portal.asked.size(), 1);
        EXPECT_EQ(portal.asked[0].id, "focus-cheat-sheet");
        EXPECT_EQ(portal.asked[0].properties.value("description"), "Focus Cheat Sheet");
        EXPECT_EQ(portal.asked[0].properties.value("preferred_trigger"), "LOGO+ALT+c");
        portal.activate("another-shortcut", portal.session);
        portal.activate("focus-cheat-sheet", kPath + "/session/another");
        portal.activate("focus-cheat-sheet", portal.session);
        QTest::qWait(200);
        EXPECT_EQ(tokens,
                  (c.answer == Answer::binds ? std::vector<std::string>{"token-1"} : std::vector<std::string>{}))
            << "only its own shortcut in its own session";
        shortcut.unbind();
        portal.activate("focus-cheat-sheet", portal.session);
        QTest::qWait(100);
        EXPECT_EQ(tokens.size(), c.answer == Answer::binds ? 1u : 0u) << "nothing once unbound";
    }
    bus.unregisterObject(kPath);
    QDBusConnection::disconnectFromBus("fake-portal");
    daemon.terminate();
    daemon.waitForFinished(2000);
}

} // namespace
} // namespace tavrin
