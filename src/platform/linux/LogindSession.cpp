#include "platform/linux/LogindSession.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

namespace {

const QString service = QStringLiteral("org.freedesktop.login1");
const QString path = QStringLiteral("/org/freedesktop/login1/session/auto");
const QString sessionInterface = QStringLiteral("org.freedesktop.login1.Session");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

std::optional<bool> booleanProperty(const QString &name)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, propertiesInterface, QStringLiteral("Get"));
    call << sessionInterface << name;
    const QDBusMessage reply = QDBusConnection::systemBus().call(call, QDBus::Block, 1000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    return reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

} // namespace

LogindSession::LogindSession(QObject *parent)
    : QObject(parent)
{
    QDBusConnection::systemBus().connect(service, path, propertiesInterface, QStringLiteral("PropertiesChanged"), this,
        SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
    read();
}

void LogindSession::read()
{
    const bool wasActive = isActive();
    active = booleanProperty(QStringLiteral("Active")).value_or(true);
    locked = booleanProperty(QStringLiteral("LockedHint")).value_or(false);
    if (wasActive != isActive())
        Q_EMIT activeChanged(isActive());
}

void LogindSession::propertiesChanged(const QString &interface, const QVariantMap &, const QStringList &)
{
    if (interface == sessionInterface)
        read();
}
