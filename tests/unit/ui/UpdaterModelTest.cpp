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

struct Updater {
    FakeUpdateFeed feed;
    MemoryDefaultsStore defaults;
    ManualClock clock;
    RecordingLog log;
    std::unique_ptr<UpdaterModel> model;
    // What each check the user started said, with its download page.
    QList<std::pair<QString, QUrl>> finished;

    void start()
    {
        model = std::make_unique<UpdaterModel>(feed, defaults, clock, log, QVersionNumber(1, 2));
        QObject::connect(model.get(), &UpdaterModel::userCheckFinished,
            [this](const QString &message, const QUrl &page) { finished.append({message, page}); });
    }
};

UpdateOffer offer(const QVersionNumber &version)
{
    return UpdateOffer {version, QUrl(QStringLiteral("https://example.org/download")), QStringLiteral("Faster.")};
}

TEST(UpdaterModel, UserCheckSaysWhatTheFeedOffers)
{
    struct Case {
        const char *name;
        std::expected<UpdateOffer, QString> answer;
        QString message;
        bool hasPage;
    };
    const Case cases[] = {
        {"newer", offer(QVersionNumber(1, 10)), QStringLiteral("新しい版 1.10 があります（お使いの版は 1.2）。\n\nFaster."), true},
        {"same", offer(QVersionNumber(1, 2)), QStringLiteral("お使いの版 1.2 が最新です。"), false},
        {"failure", std::unexpected(QStringLiteral("更新情報の署名が正しくありません。")),
            QStringLiteral("更新情報の署名が正しくありません。"), false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Updater u;
        u.feed.answer = c.answer;
        u.feed.holds = true;
        u.start();
        u.model->checkForUpdates();
        // One check at a time: a second request while the first runs fetches nothing.
        EXPECT_FALSE(u.model->canCheck());
        u.model->checkForUpdates();
        u.feed.release();
        ASSERT_TRUE(waitFor([&] { return !u.finished.isEmpty(); }));
        EXPECT_TRUE(u.model->canCheck());
        EXPECT_EQ(u.feed.fetches, 1);
        EXPECT_EQ(u.finished[0].first, c.message);
        EXPECT_EQ(u.finished[0].second.isEmpty(), !c.hasPage);
        EXPECT_FALSE(u.model->updateWaiting());
    }
}

TEST(UpdaterModel, BackgroundChecksRunDailyAndOnlyMarkTheUpdate)
{
    Updater u;
    u.feed.answer = offer(QVersionNumber(2));
    // The last check ran 23 hours ago, before a restart: the next one is due in an hour.
    u.defaults.setBytes(QStringLiteral("lastUpdateCheck"),
        QDateTime::currentDateTimeUtc().addSecs(-23 * 3600).toString(Qt::ISODate).toLatin1());
    u.start();
    u.clock.advance(59min);
    EXPECT_EQ(u.feed.fetches, 0);
    u.clock.advance(2min);
    EXPECT_EQ(u.feed.fetches, 1);
    EXPECT_TRUE(u.model->updateWaiting());
    EXPECT_TRUE(u.finished.isEmpty());

    // The user looks: the mark goes, the window comes.
    u.model->checkForUpdates();
    EXPECT_FALSE(u.model->updateWaiting());
    EXPECT_EQ(u.finished.size(), 1);
    EXPECT_EQ(u.feed.fetches, 2);
    u.clock.advance(UpdaterModel::checkInterval - 1min);
    EXPECT_EQ(u.feed.fetches, 2);
    u.clock.advance(2min);
    EXPECT_EQ(u.feed.fetches, 3);

    // Turned off, nothing is fetched any more; turning it on again starts with the one-minute wait.
    u.model->setAutomaticallyChecks(false);
    EXPECT_EQ(u.defaults.boolean(QStringLiteral("automaticallyChecksForUpdates")), false);
    u.clock.advance(3 * UpdaterModel::checkInterval);
    EXPECT_EQ(u.feed.fetches, 3);
}

TEST(UpdaterModel, WithoutAFeedNothingIsEverFetched)
{
    Updater u;
    u.feed.feedHost.clear();
    u.start();
    EXPECT_FALSE(u.model->canCheck());
    u.model->checkForUpdates();
    u.clock.advance(2 * UpdaterModel::checkInterval);
    EXPECT_EQ(u.feed.fetches, 0);
}

} // namespace
