#pragma once

// The coordinator over fakes that the settings and first-run windows are tested with.

#include "CoordinatorFakes.h"
#include "FakeUpdateFeed.h"
#include "TestFiles.h"
#include "WaitFor.h"
#include "dictation/AppModel.h"
#include "speech/SpeechAssetManager.h"
#include "store/HistoryPersistence.h"
#include "ui/ModelsModel.h"
#include "ui/SettingsModel.h"
#include "ui/UpdaterModel.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

// Model files that arrive at once: half, then all of it, then the file is in place.
class InstantModelStore final : public SpeechModelStore
{
public:
    explicit InstantModelStore(QString folder)
        : folder(std::move(folder))
    { }
    std::expected<std::vector<ModelFile>, QString> missingFiles(const std::vector<ModelFile> &files) override
    {
        std::vector<ModelFile> missing;
        for (const ModelFile &file : files)
            if (!QFile::exists(pathOf(file)))
                missing.push_back(file);
        return missing;
    }
    std::expected<void, QString> download(const ModelFile &file, const std::function<void(double)> &progress) override
    {
        progress(0.5);
        if (afterHalf)
            afterHalf();
        QFile placed(pathOf(file));
        if (!placed.open(QIODevice::WriteOnly))
            return std::unexpected(placed.errorString());
        progress(1);
        return {};
    }
    QString pathOf(const ModelFile &file) const override { return folder + QLatin1Char('/') + file.name; }
    // Runs on the downloading thread once half a file is in.
    std::function<void()> afterHalf;

private:
    QString folder;
};

inline HistoryItem item(const QString &applicationName, const QString &text, double date)
{
    return HistoryItem {QUuid::createUuid(), date, applicationName, text, text};
}

// A coordinator over fakes, never started: the settings window needs its settings and history only.
struct WindowFixture : CoordinatorFakes {
    std::unique_ptr<HistoryPersistence> historyFile;
    FakeUpdateFeed feed;
    UpdaterModel updater {feed, defaults, clock, log, QVersionNumber(1)};
    std::unique_ptr<AppModel> model;
    std::unique_ptr<SettingsModel> settings;
    InstantModelStore modelStore {folder.path()};
    SpeechAssetManager assets {modelStore};
    ModelsModel models {assets, modelStore, defaults};

    explicit WindowFixture(const QList<HistoryItem> &history = {})
    {
        storeSettings();
        const QString path = folder.filePath(QStringLiteral("history.json"));
        if (!history.isEmpty()) {
            EXPECT_TRUE(writeFile(path, *RippletHistory {history}.encoded()));
        }
        historyFile = std::make_unique<HistoryPersistence>(path);
        model = std::make_unique<AppModel>(environment(*historyFile));
        EXPECT_TRUE(waitFor([&] { return model->history().items.size() == history.size(); }));
        settings = std::make_unique<SettingsModel>(
            *model, updater, pasteboard, clock, [this](quint64 flagMask) { return keys.canObserve(flagMask); });
    }
};

