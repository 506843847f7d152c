#pragma once

#include "platform/SleepMonitor.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusUnixFileDescriptor>
#include <QObject>

class Log;
class QDBusPendingCallWatcher;

// The sleep notice from logind (org.freedesktop.login1 on the system bus): holds a "delay" inhibitor
// for sleep, and on PrepareForSleep(true) runs the handler, then closes the inhibitor so the sleep goes
// on; after the wake-up, or when logind starts again, it takes a new one. Main thread; every bus call
// is asynchronous. Without the bus or logind nothing happens beyond one line in the log.
class LogindSleepMonitor final : public QObject, public SleepMonitor, protected QDBusContext
{
    Q_OBJECT

public:
    explicit LogindSleepMonitor(
        Log &log, QDBusConnection bus = QDBusConnection::systemBus(), QObject *parent = nullptr);

    void setHandler(std::function<void()> willSleep) override;

private Q_SLOTS:
    void prepareForSleep(bool isStarting);

private:
    void takeInhibitor();
    void inhibitorAnswered(QDBusPendingCallWatcher *watcher, int askedInGeneration);
    void logindChanged(const QString &newOwner);
    void logOnce(const QString &message);

    Log &log;
    QDBusConnection bus;
    std::function<void()> willSleep;
    QDBusUnixFileDescriptor inhibitor;
    // logind's unique bus name; signals from any other sender are ignored.
    QString logindName;
    // Counts logind's restarts, so an answer from the one before is dropped.
    int generation = 0;
    bool isAsking = false;
    bool isSleeping = false;
    bool hasLogged = false;
};
