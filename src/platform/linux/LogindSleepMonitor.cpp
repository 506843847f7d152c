#include "platform/linux/LogindSleepMonitor.h"

#include "platform/Log.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>

namespace {

const QString service = QStringLiteral("org.freedesktop.login1");
const QString path = QStringLiteral("/org/freedesktop/login1");
const QString managerInterface = QStringLiteral("org.freedesktop.login1.Manager");
const QString category = QStringLiteral("sleep");

} // namespace

LogindSleepMonitor::LogindSleepMonitor(Log &log, QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , log(log)
    , bus(std::move(bus))
{
    if (!this->bus.isConnected()) {
        logOnce(QStringLiteral("no system bus; the dictation is not told of sleep"));
        return;
    }
    // Matched on any sender: naming the service would make Qt look its owner up with a blocking call.
    // The sender is checked against the owner that answered instead.
    this->bus.connect(
        QString(), path, managerInterface, QStringLiteral("PrepareForSleep"), this, SLOT(prepareForSleep(bool)));
    auto *owner = new QDBusServiceWatcher(service, this->bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(owner, &QDBusServiceWatcher::serviceOwnerChanged, this,
        [this](const QString &, const QString &, const QString &newOwner) { logindChanged(newOwner); });
    takeInhibitor();
}

void LogindSleepMonitor::setHandler(std::function<void()> willSleep)
{
    this->willSleep = std::move(willSleep);
}

void LogindSleepMonitor::takeInhibitor()
{
    if (isAsking || inhibitor.isValid())
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, managerInterface, QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep") << QStringLiteral("Sorawen")
         << QStringLiteral("Ends a dictation in progress before sleeping") << QStringLiteral("delay");
    isAsking = true;
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
        [this, asked = generation](QDBusPendingCallWatcher *watcher) { inhibitorAnswered(watcher, asked); });
}

void LogindSleepMonitor::inhibitorAnswered(QDBusPendingCallWatcher *watcher, int askedInGeneration)
{
    watcher->deleteLater();
    if (askedInGeneration != generation)
        return;
    isAsking = false;
    const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *watcher;
    if (reply.isError()) {
        logOnce(QStringLiteral("no sleep inhibitor from logind: %1").arg(reply.error().message()));
        return;
    }
    logindName = reply.reply().service();
    // A sleep that began while the question was out must not wait for us.
    if (!isSleeping)
        inhibitor = reply.value();
}

void LogindSleepMonitor::logindChanged(const QString &newOwner)
{
    ++generation;
    isAsking = false;
    isSleeping = false;
    inhibitor = QDBusUnixFileDescriptor();
    logindName.clear();
    if (!newOwner.isEmpty())
        takeInhibitor();
}

void LogindSleepMonitor::prepareForSleep(bool isStarting)
{
    if (logindName.isEmpty() || message().service() != logindName)
        return;
    if (!isStarting) {
        isSleeping = false;
        takeInhibitor();
        return;
    }
    isSleeping = true;
    if (willSleep)
        willSleep();
    inhibitor = QDBusUnixFileDescriptor();
}

void LogindSleepMonitor::logOnce(const QString &message)
{
    if (hasLogged)
        return;
    hasLogged = true;
    log.error(category, message);
}
