#include "platform/wayland/PortalGlobalShortcut.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>
#include <QTimer>
#include <QVariantMap>
#include <optional>

#include "platform/Log.h"

namespace tavrin {

namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString kRequest = QStringLiteral("org.freedesktop.portal.Request");

// One entry of the portal's a(sa{sv}): a shortcut's id and its properties.
struct PortalShortcut {
    QString id;
    QVariantMap properties;
};
using PortalShortcuts = QList<PortalShortcut>;

} // namespace
} // namespace tavrin

Q_DECLARE_METATYPE(tavrin::PortalShortcut)
Q_DECLARE_METATYPE(tavrin::PortalShortcuts)

namespace tavrin {

namespace {

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut) {
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut) {
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

// The portal's list of shortcuts in a Response's results or a ShortcutsChanged signal.
PortalShortcuts shortcutsOf(const QVariant& value) {
    PortalShortcuts shortcuts;
    if (value.canConvert<QDBusArgument>())
        value.value<QDBusArgument>() >> shortcuts;
    return shortcuts;
}

// The object path a value of the portal's results carries: a string in the interface's first
// version, an object path in some backends.
QString pathOf(const QVariant& value) {
    return value.canConvert<QDBusObjectPath>() && value.userType() == qMetaTypeId<QDBusObjectPath>()
               ? value.value<QDBusObjectPath>().path()
               : value.toString();
}

// Why a call to the portal failed, as the user reads it.
std::string problemOf(const QDBusError& error) {
    switch (error.type()) {
    case QDBusError::ServiceUnknown:
        return "no desktop portal runs on the session bus (xdg-desktop-portal)";
    case QDBusError::UnknownInterface:
    case QDBusError::UnknownMethod:
    case QDBusError::UnknownObject:
        return "the desktop's portal offers no global shortcuts (GNOME and the wlroots desktops do not)";
    case QDBusError::NoReply:
    case QDBusError::Timeout:
    case QDBusError::TimedOut:
        return "the desktop portal does not answer";
    default:
        return "the desktop portal refused global shortcuts (" + error.message().toStdString() + ")";
    }
}

} // namespace

class PortalGlobalShortcut::Client : public QObject {
    Q_OBJECT
public:
    Client(std::chrono::milliseconds patience, const std::string& busAddress)
        : patience_(static_cast<int>(patience.count())),
          bus_(busAddress.empty() ? QDBusConnection::sessionBus()
                                  : QDBusConnection::connectToBus(QString::fromStdString(busAddress),
                                                                  QStringLiteral("tavrin-portal"))) {
        qDBusRegisterMetaType<PortalShortcut>();
        qDBusRegisterMetaType<PortalShortcuts>();
        bus_.connect(kService, kPath, kInterface, QStringLiteral("Activated"), this,
                     SLOT(activatedSignal(QDBusMessage)));
        bus_.connect(kService, kPath, kInterface, QStringLiteral("ShortcutsChanged"), this,
                     SLOT(shortcutsChangedSignal(QDBusMessage)));
        waiting_.setSingleShot(true);
        // Said once the patience is over; the Response is still awaited, and binds when it comes.
        connect(&waiting_, &QTimer::timeout, this, [this] { refuse("the desktop portal does not answer"); });
    }
    ~Client() override { closeSession(); }

    void bind(const KeyCombination& combination, std::function<void(const Binding&)> done,
              std::function<void(const Activation&)> activated) {
        closeSession();
        combination_ = combination;
        done_ = std::move(done);
        activated_ = std::move(activated);
        ++attempt_;
        if (!bus_.isConnected())
            return fail("there is no session bus to reach the desktop portal on");
        request(QStringLiteral("CreateSession"),
                {QVariantMap{{QStringLiteral("session_handle_token"), token(QStringLiteral("session"))}}},
                [this](const QVariantMap& results) {
                    session_ = pathOf(results.value(QStringLiteral("session_handle")));
                    if (session_.isEmpty())
                        return fail("the desktop portal made no session for global shortcuts");
                    bindShortcut();
                });
    }

    void unbind() {
        closeSession();
        ++attempt_;
        done_ = nullptr;
        activated_ = nullptr;
    }

private slots:
    void responseSignal(const QDBusMessage& message) {
        if (message.path() != requestPath_ || message.arguments().size() < 2)
            return;
        disconnectRequest();
        waiting_.stop();
        const uint code = message.arguments().at(0).toUInt();
        const QVariantMap results = qdbus_cast<QVariantMap>(message.arguments().at(1));
        auto answered = std::move(answered_);
        if (code == 1)
            return fail("you declined the desktop's request for global shortcuts");
        if (code != 0)
            return fail("the desktop portal refused global shortcuts");
        if (answered)
            answered(results);
    }

    void activatedSignal(const QDBusMessage& message) {
        const QVariantList arguments = message.arguments();
        if (arguments.size() < 2 || session_.isEmpty() || pathOf(arguments.at(0)) != session_ ||
            arguments.at(1).toString() != QLatin1String(kShortcutId) || !bound_ || !activated_)
            return;
        Activation activation;
        if (arguments.size() >= 4)
            activation.activationToken = qdbus_cast<QVariantMap>(arguments.at(3))
                                             .value(QStringLiteral("activation_token"))
                                             .toString()
                                             .toStdString();
        activated_(activation);
    }

    void shortcutsChangedSignal(const QDBusMessage& message) {
        const QVariantList arguments = message.arguments();
        if (arguments.size() >= 2 && !session_.isEmpty() && pathOf(arguments.at(0)) == session_)
            report(shortcutsOf(arguments.at(1)));
    }

private:
    QString token(const QString& what) const { return QStringLiteral("tavrin_%1_%2").arg(what).arg(attempt_); }

    // Calls `method` with `arguments` and a handle token appended in its last argument (the
    // options), then waits for the Request's Response; `answered` gets its results on success.
    void request(const QString& method, QVariantList arguments, std::function<void(const QVariantMap&)> answered) {
        const QString handle = token(method.toLower());
        QVariantMap options = arguments.takeLast().toMap();
        options.insert(QStringLiteral("handle_token"), handle);
        arguments.push_back(options);
        // Listens before it asks, so that a quick answer is not missed: the path is the sender's
        // unique name without its colon, dots turned into underscores, then the token.
        QString sender = bus_.baseService().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        listen(kPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + handle);
        answered_ = std::move(answered);
        QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kInterface, method);
        call.setArguments(arguments);
        const int attempt = attempt_;
        auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call, patience_), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, attempt] {
            watcher->deleteLater();
            if (attempt != attempt_)
                return;
            const QDBusPendingReply<QDBusObjectPath> reply = *watcher;
            if (reply.isError())
                return fail(problemOf(reply.error()));
            // A portal older than the handle tokens answers on a path of its own.
            if (const QString path = reply.value().path(); path != requestPath_)
                listen(path);
        });
        waiting_.start(patience_);
    }

    void bindShortcut() {
        const PortalShortcuts shortcuts{
            {QLatin1String(kShortcutId),
             {{QStringLiteral("description"), QLatin1String(kDescription)},
              {QStringLiteral("preferred_trigger"), QString::fromStdString(portalTrigger(combination_))}}}};
        // Waits for the answer as long as the user takes in the desktop's dialog: past `patience`
        // the refusal is said, and a later answer binds all the same.
        request(
            QStringLiteral("BindShortcuts"),
            {QVariant::fromValue(QDBusObjectPath(session_)), QVariant::fromValue(shortcuts), QString(), QVariantMap()},
            [this](const QVariantMap& results) { report(shortcutsOf(results.value(QStringLiteral("shortcuts")))); });
    }

    void report(const PortalShortcuts& shortcuts) {
        Binding binding{.bound = false, .trigger = {}, .problem = {}, .otherKeysMayWork = false};
        for (const PortalShortcut& shortcut : shortcuts)
            if (shortcut.id == QLatin1String(kShortcutId))
                binding.trigger =
                    shortcut.properties.value(QStringLiteral("trigger_description")).toString().toStdString();
        binding.bound = bound_ = !binding.trigger.empty();
        if (!binding.bound)
            binding.problem = "the desktop bound no keys to it; give it some in the desktop's shortcut settings, under "
                              "Tavrin's \"Focus Cheat Sheet\"";
        log_.info(binding.bound ? "The desktop portal binds the cheat sheet's shortcut to " + binding.trigger + "."
                                : "The desktop portal holds the cheat sheet's shortcut without keys.");
        if (done_)
            done_(binding);
    }

    void fail(const std::string& problem) {
        waiting_.stop();
        disconnectRequest();
        refuse(problem);
    }

    void refuse(const std::string& problem) {
        bound_ = false;
        log_.info("No global shortcut from the desktop portal: " + problem + ".");
        if (done_)
            done_({.bound = false, .trigger = {}, .problem = problem, .otherKeysMayWork = false});
    }

    void listen(const QString& path) {
        disconnectRequest();
        requestPath_ = path;
        bus_.connect(kService, path, kRequest, QStringLiteral("Response"), this, SLOT(responseSignal(QDBusMessage)));
    }

    void disconnectRequest() {
        if (requestPath_.isEmpty())
            return;
        bus_.disconnect(kService, requestPath_, kRequest, QStringLiteral("Response"), this,
                        SLOT(responseSignal(QDBusMessage)));
        requestPath_.clear();
    }

    void closeSession() {
        waiting_.stop();
        disconnectRequest();
        answered_ = nullptr;
        bound_ = false;
        if (session_.isEmpty())
            return;
        // Fire and forget: the portal ends the session and its shortcuts.
        bus_.asyncCall(QDBusMessage::createMethodCall(
            kService, session_, QStringLiteral("org.freedesktop.portal.Session"), QStringLiteral("Close")));
        session_.clear();
    }

    const int patience_;
    QDBusConnection bus_;
    const Logger log_{std::string(kLogSubsystem), "Wayland"};
    QTimer waiting_;
    int attempt_ = 0;
    KeyCombination combination_;
    std::function<void(const Binding&)> done_;
    std::function<void(const Activation&)> activated_;
    QString requestPath_; // the Request whose Response is awaited; empty: none
    std::function<void(const QVariantMap&)> answered_;
    QString session_;    // the portal's session; empty: none
    bool bound_ = false; // keys are bound to the shortcut in `session_`
};

PortalGlobalShortcut::PortalGlobalShortcut(std::chrono::milliseconds patience, const std::string& busAddress)
    : client_(std::make_unique<Client>(patience, busAddress)) {}

PortalGlobalShortcut::~PortalGlobalShortcut() = default;

void PortalGlobalShortcut::bind(const KeyCombination& combination, std::function<void(const Binding&)> done,
                                std::function<void(const Activation&)> activated) {
    client_->bind(combination, std::move(done), std::move(activated));
}

void PortalGlobalShortcut::unbind() {
    client_->unbind();
}

} // namespace tavrin

#include "PortalGlobalShortcut.moc"
