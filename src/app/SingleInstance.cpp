#include "app/SingleInstance.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>

namespace {
const QString objectPath = QStringLiteral("/com/kestrelwood/ripplet");
const QString interfaceName = QStringLiteral("com.kestrelwood.ripplet.Application");
} // namespace

bool SingleInstance::claim(std::function<bool()> handler)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return true;
    showSettings = std::move(handler);
    bus.registerObject(objectPath, this, QDBusConnection::ExportAllSlots);
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply = bus.interface()->registerService(
        serviceName, QDBusConnectionInterface::DontQueueService, QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered)
        return true;
    bus.unregisterObject(objectPath);
    // A bus that could not answer is no proof that another instance runs.
    return !reply.isValid();
}

std::optional<bool> SingleInstance::askRunningToShowSettings()
{
    const QDBusMessage call = QDBusMessage::createMethodCall(serviceName, objectPath, interfaceName,
        QStringLiteral("ShowSettings"));
    const QDBusReply<bool> reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 5000);
    if (!reply.isValid())
        return std::nullopt;
    return reply.value();
}

bool SingleInstance::ShowSettings()
{
    return showSettings && showSettings();
}
