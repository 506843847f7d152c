#include "speech/SpeechAssetManager.h"
#include "FakeModelStore.h"
#include "WaitFor.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <future>

namespace {

TEST(SpeechAssetManager, InstallsOncePerLanguageAndRunAndTheLanguageModelOnlyWhenAskedFor)
{
    FakeModelStore store;
    SpeechAssetManager manager(store);
    QStringList progress;
    // The figures reach this thread, queued, not the installer's thread.
    QObject::connect(&manager, &SpeechAssetManager::progressed, &manager, [&](const QString &what, double fraction) {
        EXPECT_EQ(QThread::currentThread(), manager.thread());
        progress << what + QLatin1Char(' ') + QString::number(fraction);
    });

    // Installed from a worker thread, as every caller does.
    ASSERT_TRUE(std::async(std::launch::async, [&] { return manager.ensureInstalled(QStringLiteral("ja_JP")); }).get());
    QCoreApplication::processEvents();
    EXPECT_EQ(
        store.downloads, (QStringList{QStringLiteral("ggml-small.bin"), QStringLiteral("ggml-silero-v6.2.0.bin")}));
    EXPECT_EQ(progress, QString::fromUtf8("ja_JP 0.25,ja_JP 0.5,ja_JP 0.75,ja_JP 1").split(QLatin1Char(',')));
    // Known for this run: the store is not asked again.
    ASSERT_TRUE(manager.ensureInstalled(QStringLiteral("ja_JP")));
    EXPECT_EQ(store.checks, 1);

    // English needs its own model; the voice-activity model is already there.
    ASSERT_TRUE(manager.ensureInstalled(QStringLiteral("en_US")));
    EXPECT_EQ(store.downloads.last(), QStringLiteral("ggml-base.en.bin"));
    EXPECT_FALSE(manager.installedLanguageModel());

    ASSERT_TRUE(manager.ensureLanguageModelInstalled());
    QCoreApplication::processEvents();
    EXPECT_EQ(store.downloads.last(), ModelCatalogue::languageModel().name);
    EXPECT_TRUE(progress.last().startsWith(SpeechAssetManager::languageModelKey));
    EXPECT_EQ(manager.installedLanguageModel(), store.pathOf(ModelCatalogue::languageModel()));

    // The next run finds every file there: nothing to download, and the language is recorded.
    SpeechAssetManager nextRun(store);
    ASSERT_TRUE(nextRun.ensureInstalled(QStringLiteral("en_US")));
    EXPECT_EQ(store.downloads.size(), 4);
    EXPECT_TRUE(nextRun.isInstalled(QStringLiteral("en_US")));
}

TEST(SpeechAssetManager, AFailureIsReportedAndTriedAgainNextTime)
{
    FakeModelStore store;
    store.failure = QStringLiteral("The network connection was lost.");
    SpeechAssetManager manager(store);
    QStringList failures;
    QObject::connect(&manager, &SpeechAssetManager::failed, &manager,
        [&](const QString &what, const QString &) { failures << what; });
    EXPECT_FALSE(manager.ensureInstalled(QStringLiteral("en_US")));
    EXPECT_FALSE(manager.isInstalled(QStringLiteral("en_US")));
    EXPECT_TRUE(waitFor([&] { return failures == QStringList{QStringLiteral("en_US")}; }));
    store.failure.reset();
    ASSERT_TRUE(manager.ensureInstalled(QStringLiteral("en_US")));
    EXPECT_EQ(store.checks, 2);
}

TEST(SpeechAssetManager, ALanguageModelDownloadHoldsUpNoRecordingAndOneFileIsFetchedOnce)
{
    FakeModelStore store;
    const QString languageModel = ModelCatalogue::languageModel().name;
    store.holds = {languageModel, QStringLiteral("ggml-base.en.bin")};
    SpeechAssetManager manager(store);
    std::future<std::expected<void, QString>> rewriting
        = std::async(std::launch::async, [&] { return manager.ensureLanguageModelInstalled(); });
    std::future<std::expected<void, QString>> first
        = std::async(std::launch::async, [&] { return manager.ensureInstalled(QStringLiteral("en_US")); });
    std::future<std::expected<void, QString>> second
        = std::async(std::launch::async, [&] { return manager.ensureInstalled(QStringLiteral("en_US")); });
    ASSERT_TRUE(waitFor([&] { return store.downloadsOf(QStringLiteral("ggml-base.en.bin")) == 1; }));
    store.release(QStringLiteral("ggml-base.en.bin"));
    EXPECT_TRUE(first.get());
    EXPECT_TRUE(second.get());
    EXPECT_EQ(rewriting.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    store.release(languageModel);
    EXPECT_TRUE(rewriting.get());
    for (const QString &name :
        {QStringLiteral("ggml-base.en.bin"), QStringLiteral("ggml-silero-v6.2.0.bin"), languageModel})
        EXPECT_EQ(store.downloadsOf(name), 1) << name.toStdString();
}

} // namespace
