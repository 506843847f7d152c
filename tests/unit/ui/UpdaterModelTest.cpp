#include "FakeUpdateFeed.h"
#include "ManualClock.h"
#include "MemoryDefaultsStore.h"
#include "RecordingLog.h"
#include "WaitFor.h"
#include "ui/UpdaterModel.h"

#include <QDateTime>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

TEST(UpdaterModel, ChecksDailyOneAtATimeAndRemembersBeingTurnedOff)
{
    FakeUpdateFeed feed;
    feed.answer = UpdateOffer {QVersionNumber(2), QUrl(QStringLiteral("https://example.org/download")), {}};
    MemoryDefaultsStore defaults;
    // The last check ran 23 hours ago, before a restart: the next one is due in an hour, and only marks the update.
    defaults.setBytes(QStringLiteral("lastUpdateCheck"),
        QDateTime::currentDateTimeUtc().addSecs(-23 * 3600).toString(Qt::ISODate).toLatin1());
    ManualClock clock;
    RecordingLog log;
    UpdaterModel model(feed, defaults, clock, log, QVersionNumber(1, 2));
    // The download page each check the user started ended with.
    QList<QUrl> pages;
    QObject::connect(
        &model, &UpdaterModel::userCheckFinished, [&](const QString &, const QUrl &page) { pages.append(page); });
    clock.advance(59min);
    EXPECT_EQ(feed.fetches, 0);
    clock.advance(2min);
    EXPECT_EQ(feed.fetches, 1);
    EXPECT_TRUE(model.updateWaiting());
    EXPECT_TRUE(pages.isEmpty());

    // The user's check: a second request while the first runs fetches nothing; the answer brings the
    // download page and takes the mark away.
    feed.holds = true;
    model.checkForUpdates();
    EXPECT_FALSE(model.canCheck());
    model.checkForUpdates();
    feed.release();
    ASSERT_TRUE(waitFor([&] { return pages.size() == 1; }));
    EXPECT_EQ(feed.fetches, 2);
    EXPECT_FALSE(pages[0].isEmpty());
    EXPECT_FALSE(model.updateWaiting());

    // Turned off, nothing is fetched by itself any more; a failed check leaves the next one possible.
    model.setAutomaticallyChecks(false);
    EXPECT_EQ(defaults.boolean(QStringLiteral("automaticallyChecksForUpdates")), false);
    clock.advance(3 * UpdaterModel::checkInterval);
    EXPECT_EQ(feed.fetches, 2);
    feed.holds = false;
    feed.answer = std::unexpected(QStringLiteral("更新情報の署名が正しくありません。"));
    model.checkForUpdates();
    ASSERT_TRUE(waitFor([&] { return pages.size() == 2; }));
    EXPECT_TRUE(pages[1].isEmpty());
    EXPECT_TRUE(model.canCheck());
}

} // namespace
