#pragma once

#include "FakeAccessibilityTree.h"
#include "FakeDesktop.h"
#include "FakeJapaneseTokenizer.h"
#include "FakeKeySource.h"
#include "FakeKeystroke.h"
#include "FakePasteboard.h"
#include "ManualClock.h"
#include "MemoryDefaultsStore.h"
#include "RecordingLog.h"
#include "ScriptedLanguageModel.h"
#include "ScriptedRecognizer.h"
#include "SimulatedAudioEngine.h"
#include "TaggingConverters.h"
#include "dictation/AppModel.h"
#include "store/RippletSettings.h"

#include <QTemporaryDir>

#include <functional>

// A fake of every service the coordinator talks to, and a folder for its history file.
struct CoordinatorFakes {
    QTemporaryDir folder;
    MemoryDefaultsStore defaults;
    ManualClock clock;
    FakeKeySource keys;
    ScriptedModel languageModel;
    SimulatedAudioEngine engine;
    TaggingConverters converters;
    ScriptedRecognizers recognizers;
    FakeAccessibilityTree tree;
    FakeAccessibilityAccess access;
    FakePasteboard pasteboard;
    FakeKeystroke keystroke;
    FakeJapaneseTokenizer tokenizer {};
    RecordingLog log;
    FakeSoundPlayer sounds;
    FakeSleepMonitor sleep;
    FakeLoginItem loginItem;

    // English dictation without rewriting, first run done; `adjust` changes the rest.
    void storeSettings(const std::function<void(RippletSettings &)> &adjust = {})
    {
        RippletSettings settings;
        settings.language = RecognitionLanguage::english;
        settings.polishingEnabled = false;
        if (adjust)
            adjust(settings);
        defaults.setBytes(DefaultsKeys::settings, *settings.encoded());
        defaults.setBoolean(DefaultsKeys::onboardingCompleted, true);
    }

    AppModel::Environment environment(HistoryPersistence &history)
    {
        return AppModel::Environment {defaults, clock, keys, languageModel, engine, converters, recognizers,
            recognizers, tree, access, pasteboard, keystroke, tokenizer, history, log, sounds, sleep, loginItem};
    }
};
