#pragma once

// The coordinator over fakes that the settings and first-run windows are tested with.

#include "CoordinatorFakes.h"
#include "FakeModelStore.h"
#include "FakeUpdateFeed.h"
#include "TestFiles.h"
#include "WaitFor.h"
#include "dictation/AppModel.h"
#include "speech/SpeechAssetManager.h"
#include "store/HistoryPersistence.h"
#include "ui/ModelsModel.h"
#include "ui/SettingsModel.h"
#include "ui/UpdaterModel.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

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
    FakeModelStore modelStore;
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

