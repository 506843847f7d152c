#include "ui/UpdaterModel.h"

#include "platform/DefaultsStore.h"
#include "platform/Log.h"

#include <QDateTime>
#include <QPointer>

namespace {

const QString automaticKey = QStringLiteral("automaticallyChecksForUpdates");
// When the last check ran, as an ISO 8601 UTC time.
const QString lastCheckKey = QStringLiteral("lastUpdateCheck");

} // namespace

UpdaterModel::UpdaterModel(
    UpdateFeed &feed, DefaultsStore &defaults, Clock &clock, Log &log, QVersionNumber running, QObject *parent)
    : QObject(parent)
    , feed(feed)
    , defaults(defaults)
    , clock(clock)
    , log(log)
    , running(std::move(running))
    , checksAutomatically(defaults.boolean(automaticKey).value_or(true))
{
    scheduleNextCheck();
}

void UpdaterModel::setAutomaticallyChecks(bool checks)
{
    if (checks == checksAutomatically)
        return;
    checksAutomatically = checks;
    defaults.setBoolean(automaticKey, checks);
    scheduleNextCheck();
    Q_EMIT automaticallyChecksChanged();
}

void UpdaterModel::checkForUpdates()
{
    if (!canCheck())
        return;
    setUpdateWaiting(false);
    check(true);
}

// The next background check a day after the last one (wall time, so restarts do not reset it),
// but never sooner than a minute from now.
void UpdaterModel::scheduleNextCheck()
{
    nextCheck.cancel();
    if (!checksAutomatically || feedHost().isEmpty())
        return;
    Clock::Duration delay = startDelay;
    const QDateTime last
        = QDateTime::fromString(QString::fromLatin1(defaults.bytes(lastCheckKey).value_or(QByteArray())), Qt::ISODate);
    if (last.isValid()) {
        const auto since = std::chrono::milliseconds(last.msecsTo(QDateTime::currentDateTimeUtc()));
        delay = std::clamp<Clock::Duration>(checkInterval - since, startDelay, checkInterval);
    }
    nextCheck = clock.schedule(delay, this, [this] {
        if (!isChecking)
            check(false);
    });
}

QCoro::Task<> UpdaterModel::check(bool byUser)
{
    isChecking = true;
    Q_EMIT canCheckChanged();
    const QPointer<UpdaterModel> self = this;
    auto fetching = feed.fetch();
    const std::expected<UpdateOffer, QString> offer = co_await fetching;
    if (!self)
        co_return;
    isChecking = false;
    defaults.setBytes(lastCheckKey, QDateTime::currentDateTimeUtc().toString(Qt::ISODate).toLatin1());
    scheduleNextCheck();
    Q_EMIT canCheckChanged();

    const bool isNewer = offer && offer->version > running;
    if (!offer)
        log.error(QStringLiteral("update"), QStringLiteral("update check failed: %1").arg(offer.error()));
    else
        log.info(QStringLiteral("update"), QStringLiteral("update feed offers %1").arg(offer->version.toString()));
    if (!byUser) {
        if (isNewer)
            setUpdateWaiting(true);
        co_return;
    }
    if (!offer) {
        Q_EMIT userCheckFinished(offer.error(), {});
    } else if (isNewer) {
        QString message = tr("新しい版 %1 があります（お使いの版は %2）。").arg(offer->version.toString(), running.toString());
        if (!offer->notes.isEmpty())
            message += QStringLiteral("\n\n") + offer->notes;
        Q_EMIT userCheckFinished(message, offer->page);
    } else {
        Q_EMIT userCheckFinished(tr("お使いの版 %1 が最新です。").arg(running.toString()), {});
    }
}

void UpdaterModel::setUpdateWaiting(bool waiting)
{
    if (waiting == isUpdateWaiting)
        return;
    isUpdateWaiting = waiting;
    Q_EMIT updateWaitingChanged();
}
