#pragma once

#include "core/SystemClock.h"
#include "engines/ChosenRecognizers.h"
#include "engines/HttpModelStore.h"
#include "engines/MecabTokenizer.h"
#include "engines/SoxrConverter.h"
#include "platform/linux/FileDefaultsStore.h"
#include "platform/linux/JournalLog.h"
#include "speech/SpeechAssetManager.h"
#include "store/HistoryPersistence.h"
#include "store/LanguageModelChoice.h"

#include <memory>

class LanguageModel;

// The services of a dictation that need no desktop: the clock, the stored values, the log, the
// model files and their installer, the recogniser of each language and the language model as the
// user chose them, the tokenizer and the history file. Built once per process, on the main thread,
// by the application and by the command-line tool alike.
class EngineServices
{
public:
    EngineServices();
    ~EngineServices();
    EngineServices(const EngineServices &) = delete;
    EngineServices &operator=(const EngineServices &) = delete;

    // The language model of a choice: the installed one in the process, or the chosen endpoint.
    static std::unique_ptr<LanguageModel> makeLanguageModel(
        const LanguageModelChoice &choice, SpeechAssetManager &assets, const std::optional<QString> &modelFile = {});

    SystemClock clock;
    FileDefaultsStore defaults;
    JournalLog log;
    HttpModelStore modelStore;
    SpeechAssetManager assets{modelStore};
    // The recognisers read the stored file afresh for every recording, on their worker thread, so a
    // choice made with sorawen-cli applies from the next dictation.
    std::unique_ptr<DefaultsStore> storedOnDisk;
    ChosenRecognizers recognizers;
    SoxrConverterFactory converters;
    // Follows the stored choice from one dictation to the next.
    std::unique_ptr<LanguageModel> languageModel;
    MecabTokenizer tokenizer;
    HistoryPersistence history;
};
