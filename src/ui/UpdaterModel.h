#pragma once

#include "core/Clock.h"
#include "platform/UpdateFeed.h"

#include <QObject>
#include <QUrl>
#include <QVersionNumber>

class DefaultsStore;
class Log;

// The update state the menu and the settings window show. A check asks the update feed for the
// newest version. With automatic checks on, one check runs in the background a day (counted across
// restarts); a newer version it finds only sets `updateWaiting`, so no window appears over what the
// user is writing. A check the user starts clears `updateWaiting` and ends in `userCheckFinished`,
// which the application shows in a small window. No check is possible when the build has no feed,
// or while one runs. Main thread only.
class UpdaterModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool canCheck READ canCheck NOTIFY canCheckChanged)
    Q_PROPERTY(bool updateWaiting READ updateWaiting NOTIFY updateWaitingChanged)
    Q_PROPERTY(bool automaticallyChecks READ automaticallyChecks WRITE setAutomaticallyChecks NOTIFY
            automaticallyChecksChanged)

public:
    UpdaterModel(UpdateFeed &feed, DefaultsStore &defaults, Clock &clock, Log &log, QVersionNumber running,
        QObject *parent = nullptr);

    bool canCheck() const { return !feedHost().isEmpty() && !isChecking; }
    bool updateWaiting() const { return isUpdateWaiting; }
    bool automaticallyChecks() const { return checksAutomatically; }
    // Stored only when it changes.
    void setAutomaticallyChecks(bool checks);
    // Empty when this build has no feed.
    QString feedHost() const { return feed.host(); }

    void checkForUpdates();

    static constexpr Clock::Duration checkInterval = std::chrono::hours(24);
    // The first background check waits this long after start, so it never competes with start-up.
    static constexpr Clock::Duration startDelay = std::chrono::minutes(1);

Q_SIGNALS:
    void canCheckChanged();
    void updateWaitingChanged();
    void automaticallyChecksChanged();
    // What a check the user started found, in a sentence or two, and the download page when a
    // newer version exists (otherwise empty).
    void userCheckFinished(const QString &message, const QUrl &page);

private:
    QCoro::Task<> check(bool byUser);
    void scheduleNextCheck();
    void setUpdateWaiting(bool waiting);

    UpdateFeed &feed;
    DefaultsStore &defaults;
    Clock &clock;
    Log &log;
    const QVersionNumber running;
    bool isChecking = false;
    bool isUpdateWaiting = false;
    bool checksAutomatically = true;
    TimerHandle nextCheck;
};
