#include "platform/linux/AtspiAccess.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

namespace {

QDBusMessage propertiesCall(const QString &method)
{
    return QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
        QStringLiteral("org.freedesktop.DBus.Properties"), method);
}

constexpr int callTimeout = 1000;

} // namespace

bool AtspiAccess::isEnabled() const
{
    QDBusMessage call = propertiesCall(QStringLiteral("Get"));
    call << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled");
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, callTimeout);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return false;
    return reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

void AtspiAccess::requestEnable()
{
    QDBusMessage call = propertiesCall(QStringLiteral("Set"));
    call << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled") << QVariant::fromValue(QDBusVariant(true));
    QDBusConnection::sessionBus().call(call, QDBus::Block, callTimeout);
}
