#include "singleinstance.h"

#include <array>
#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QUrl>
#include <utility>

namespace {

QString busName() { return QStringLiteral("org.vornex.Vornex"); }

QString objectPath() { return QStringLiteral("/org/vornex/Vornex"); }

QString interfaceName() { return QStringLiteral("org.freedesktop.Application"); }

QString cardKey() { return QStringLiteral("org.vornex.card-image"); }

/// What lets a window come forward on Wayland; in the environment of whoever was started by a click.
struct ActivationToken {
    const char *variable;
    QString key;
};
std::array<ActivationToken, 2> activationTokens()
{
    return {{{"XDG_ACTIVATION_TOKEN", QStringLiteral("activation-token")},
             {"DESKTOP_STARTUP_ID", QStringLiteral("desktop-startup-id")}}};
}

} // namespace

/// The part of the desktop's standard interface of applications that a viewer of files needs.
class ApplicationInterface : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")
public:
    explicit ApplicationInterface(SingleInstance *instance)
        : QDBusAbstractAdaptor(instance)
        , m_instance(*instance)
    {
    }

public Q_SLOTS: // NOLINT(readability-redundant-access-specifiers): moc needs it
    void Activate(const QVariantMap &platformData)
    {
        for (const ActivationToken &token : activationTokens()) {
            const QByteArray value = platformData.value(token.key).toByteArray();
            if (!value.isEmpty())
                qputenv(token.variable, value);
        }
        Q_EMIT m_instance.activated();
    }

    void Open(const QStringList &uris, const QVariantMap &platformData)
    {
        Activate(platformData);
        QStringList paths;
        for (const QString &uri : uris)
            paths.append(QUrl(uri).toLocalFile());
        paths.removeAll(QString());
        using enum SingleInstance::Content;
        Q_EMIT m_instance.opened(paths, platformData.value(cardKey()).toBool() ? Card : Files);
    }

private:
    SingleInstance &m_instance;
};

SingleInstance::SingleInstance(QObject *parent)
    : QObject(parent)
{
    new ApplicationInterface(this);
}

SingleInstance::~SingleInstance() { end(); }

bool SingleInstance::takeName()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    // In this order, so that whoever sees the name finds the object.
    return bus.registerObject(objectPath(), this) && bus.registerService(busName());
}

SingleInstance::Start SingleInstance::start(const QStringList &paths, Content content)
{
    constexpr int patienceMs = 5000;
    constexpr int attempts = 3; // the other program may just end
    QVariantMap platformData;
    for (const ActivationToken &token : activationTokens()) {
        if (qEnvironmentVariableIsSet(token.variable))
            platformData.insert(token.key, qEnvironmentVariable(token.variable));
    }
    QVariantList arguments;
    if (!paths.isEmpty()) {
        QStringList uris;
        for (const QString &path : paths)
            uris.append(QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded));
        platformData.insert(cardKey(), content == Content::Card);
        arguments.append(uris);
    }
    arguments.append(platformData);
    QDBusMessage call =
        QDBusMessage::createMethodCall(busName(), objectPath(), interfaceName(),
                                       paths.isEmpty() ? QStringLiteral("Activate") : QStringLiteral("Open"));
    call.setArguments(arguments);
    call.setAutoStartService(false);

    QDBusConnection bus = QDBusConnection::sessionBus();
    for (int i = 0; i < attempts && bus.isConnected(); ++i) {
        m_hasName = takeName();
        if (m_hasName)
            break;
        bus.unregisterObject(objectPath());
        const QDBusMessage reply = bus.call(call, QDBus::Block, patienceMs);
        if (reply.type() == QDBusMessage::ReplyMessage)
            return Start::HandedOver;
        if (QDBusError(reply).type() == QDBusError::NoReply
            && bus.interface()->isServiceRegistered(busName()))
            break; // it hangs
    }
    return Start::First;
}

void SingleInstance::end()
{
    if (!std::exchange(m_hasName, false))
        return;
    QDBusConnection::sessionBus().unregisterService(busName());
    QDBusConnection::sessionBus().unregisterObject(objectPath());
}

#include "singleinstance.moc"
