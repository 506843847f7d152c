#include "platform/linux/LogindSession.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace {

const QString service = QStringLiteral("org.freedesktop.login1");
const QString path = QStringLiteral("/org/freedesktop/login1/session/auto");
const QString sessionInterface = QStringLiteral("org.freedesktop.login1.Session");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

} // namespace

LogindSession::LogindSession(QObject *parent)
    : QObject(parent)
{
    // Subscribed without the service's name: naming it makes Qt look its owner up with a blocking
    // call. Only logind sends this object's signals on the system bus.
    QDBusConnection::systemBus().connect(QString(), path, propertiesInterface, QStringLiteral("PropertiesChanged"),
        this, SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
    read();
}

void LogindSession::read()
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, propertiesInterface, QStringLiteral("GetAll"));
    call << sessionInterface;
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::systemBus().asyncCall(call, 1000), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *answered) {
        answered->deleteLater();
        const QDBusPendingReply<QVariantMap> reply = *answered;
        // Without logind the session counts as active and unlocked.
        const QVariantMap properties = reply.isError() ? QVariantMap() : reply.value();
        const bool wasActive = isActive();
        active = properties.value(QStringLiteral("Active"), true).toBool();
        locked = properties.value(QStringLiteral("LockedHint"), false).toBool();
        if (wasActive != isActive())
            Q_EMIT activeChanged(isActive());
    });
}

void LogindSession::propertiesChanged(const QString &interface, const QVariantMap &, const QStringList &)
{
    if (interface == sessionInterface)
        read();
}
