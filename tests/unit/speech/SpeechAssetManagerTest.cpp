#include "WaitFor.h"
#include "speech/SpeechAssetManager.h"
#include "platform/SpeechModelStore.h"

#include <QCoreApplication>
#include <QFile>
#include <QThread>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <mutex>
#include <future>
#include <condition_variable>

namespace {

// A store whose files appear once downloaded (as empty files when it has a folder), and whose
// downloads fail on demand.
class FakeStore final : public SpeechModelStore
{
public:
    QSet<QString> present;
    int checks = 0;
    QStringList downloads;
    std::optional<QString> failure;
    QString folder;
    // Downloads of these files wait until `release`.
    QSet<QString> holds;
    std::mutex mutex;
    std::condition_variable held;

    void release(const QString &name)
    {
        std::scoped_lock guard(mutex);
        holds.remove(name);
        held.notify_all();
    }
    int downloadsOf(const QString &name)
    {
        std::scoped_lock guard(mutex);
        return int(downloads.count(name));
    }

    std::expected<std::vector<ModelFile>, QString> missingFiles(const std::vector<ModelFile> &files) override
    {
        std::scoped_lock guard(mutex);
        ++checks;
        std::vector<ModelFile> missing;
        for (const ModelFile &file : files) {
            if (!present.contains(file.name))
                missing.push_back(file);
        }
        return missing;
    }
    std::expected<void, QString> download(const ModelFile &file, const std::function<void(double)> &progress) override
    {
        {
            std::unique_lock guard(mutex);
            downloads.append(file.name);
            held.wait(guard, [&] { return !holds.contains(file.name); });
        }
        if (failure)
            return std::unexpected(*failure);
        progress(0.5);
        progress(1.0);
        std::scoped_lock guard(mutex);
        present.insert(file.name);
        if (!folder.isEmpty()) {
            QFile placed(pathOf(file));
            placed.open(QIODevice::WriteOnly);
        }
        return {};
    }
    QString pathOf(const ModelFile &file) const override
    {
        return folder.isEmpty() ? file.name : folder + u'/' + file.name;
    }
};

TEST(SpeechAssetManager, InstallsOncePerLanguageAndRun)
{
    FakeStore store;
    SpeechAssetManager manager(store);
    std::vector<double> progress;
    // The figures reach this thread, queued, not the installer's thread.
    QObject::connect(&manager, &SpeechAssetManager::progressed, &manager, [&](const QString &, double fraction) {
        EXPECT_EQ(QThread::currentThread(), manager.thread());
        progress.push_back(fraction);
    });

    // Installed from a worker thread, as every caller does.
    ASSERT_TRUE(std::async(std::launch::async, [&] { return manager.ensureInstalled(QStringLiteral("ja_JP")); }).get());
    EXPECT_TRUE(progress.empty());
    QCoreApplication::processEvents();
    EXPECT_EQ(
        store.downloads, (QStringList{QStringLiteral("ggml-small.bin"), QStringLiteral("ggml-silero-v6.2.0.bin")}));
    EXPECT_EQ(progress, (std::vector<double>{0.25, 0.5, 0.75, 1.0}));
    // Known for this run: the store is not asked again.
    ASSERT_TRUE(manager.ensureInstalled(QStringLiteral("ja_JP")));
    EXPECT_EQ(store.checks, 1);

    // English needs its own model; the voice-activity model is already there.
    ASSERT_TRUE(manager.ensureInstalled(QStringLiteral("en_US")));
    EXPECT_EQ(store.downloads.last(), QStringLiteral("ggml-base.en.bin"));
    EXPECT_TRUE(manager.isInstalled(QStringLiteral("ja_JP")));
    EXPECT_TRUE(manager.isInstalled(QStringLiteral("en_US")));

    // The next run finds every file there: nothing to download, and the language is recorded.
    SpeechAssetManager nextRun(store);
    ASSERT_TRUE(nextRun.ensureInstalled(QStringLiteral("en_US")));
    EXPECT_EQ(store.downloads.size(), 3);
    EXPECT_TRUE(nextRun.isInstalled(QStringLiteral("en_US")));
}

TEST(SpeechAssetManager, AFailureIsReportedAndTriedAgainNextTime)
{
    FakeStore store;
    store.failure = QStringLiteral("The network connection was lost.");
    SpeechAssetManager manager(store);
    QStringList failures;
    QObject::connect(&manager, &SpeechAssetManager::failed, &manager,
        [&](const QString &what, const QString &message) { failures << what + QStringLiteral(": ") + message; });
    EXPECT_EQ(manager.ensureInstalled(QStringLiteral("en_US")),
        std::unexpected(QStringLiteral("The network connection was lost.")));
    EXPECT_FALSE(manager.isInstalled(QStringLiteral("en_US")));
    EXPECT_TRUE(waitFor([&] { return !failures.isEmpty(); }));
    EXPECT_EQ(failures, QStringList({QStringLiteral("en_US: The network connection was lost.")}));
    store.failure.reset();
    ASSERT_TRUE(manager.ensureInstalled(QStringLiteral("en_US")));
    EXPECT_EQ(store.checks, 2);
}

TEST(SpeechAssetManager, TheLanguageModelIsInstalledOnlyWhenAskedFor)
{
    QTemporaryDir folder;
    FakeStore store;
    store.folder = folder.path();
    SpeechAssetManager manager(store);
    QStringList progressKeys;
    QObject::connect(&manager, &SpeechAssetManager::progressed, &manager,
        [&](const QString &what, double) { progressKeys.append(what); });

    ASSERT_TRUE(manager.ensureInstalled(QStringLiteral("en_US")));
    EXPECT_FALSE(store.downloads.contains(ModelCatalogue::languageModel().name));
    EXPECT_FALSE(manager.installedLanguageModel());

    ASSERT_TRUE(manager.ensureLanguageModelInstalled());
    QCoreApplication::processEvents();
    EXPECT_EQ(store.downloads.last(), ModelCatalogue::languageModel().name);
    ASSERT_FALSE(progressKeys.isEmpty());
    EXPECT_EQ(progressKeys.last(), SpeechAssetManager::languageModelKey);
    EXPECT_EQ(manager.installedLanguageModel(), store.pathOf(ModelCatalogue::languageModel()));
}

TEST(SpeechAssetManager, ALanguageModelDownloadHoldsUpNoRecordingAndOneFileIsFetchedOnce)
{
    QTemporaryDir folder;
    FakeStore store;
    store.folder = folder.path();
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
    for (const QString &name : {QStringLiteral("ggml-base.en.bin"), QStringLiteral("ggml-silero-v6.2.0.bin"), languageModel})
        EXPECT_EQ(store.downloadsOf(name), 1) << name.toStdString();
}

} // namespace
