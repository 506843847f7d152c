#include "engines/ChosenRecognizers.h"

#include "core/TaskPools.h"
#include "engines/OpenAiTranscriptionRecognizer.h"
#include "engines/WhisperRecognizer.h"
#include "speech/ModelCatalogue.h"
#include "store/SpeechModelChoice.h"

#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>

namespace {

// The start-up load of the recogniser, so a slow first recording can be told from a slow model.
Q_LOGGING_CATEGORY(speechTrace, "sorawen.speech", QtInfoMsg)

WhisperRecognizer::Options whisperOptions(
    const SpeechModelChoice::Source &source, const SpeechModelStore &installed, const QString &localeIdentifier)
{
    const auto *file = std::get_if<SpeechModelChoice::File>(&source);
    WhisperRecognizer::Options options;
    options.modelFile
        = file != nullptr ? file->path : installed.pathOf(ModelCatalogue::recognitionModel(localeIdentifier));
    // The voice-activity model comes with the catalogue; an own model uses it once it is there.
    if (const QString vad = installed.pathOf(ModelCatalogue::voiceActivityModel()); QFile::exists(vad))
        options.vadModelFile = vad;
    options.language = localeIdentifier.left(2);
    // A file of neither kind is handed to whisper, whose load says it cannot read it.
    options.engine = WhisperRecognizer::engineOf(options.modelFile).value_or(WhisperRecognizer::Engine::whisper);
    return options;
}

} // namespace

ChosenRecognizers::ChosenRecognizers(
    const DefaultsStore &defaults, SpeechModels &catalogue, const SpeechModelStore &installed)
    : defaults(defaults)
    , catalogue(catalogue)
    , installed(installed)
{ }

std::expected<void, QString> ChosenRecognizers::ensureInstalled(const QString &localeIdentifier)
{
    const std::optional<RecognitionLanguage> language = RecognitionLanguage::fromRawValue(localeIdentifier);
    if (!language)
        return catalogue.ensureInstalled(localeIdentifier);
    const SpeechModelChoice::Source source = SpeechModelChoice::load(defaults).of(*language);
    if (const auto *file = std::get_if<SpeechModelChoice::File>(&source)) {
        if (const std::expected<QString, QString> readable = SpeechModelChoice::modelFile(file->path); !readable)
            return std::unexpected(readable.error());
        return {};
    }
    if (std::holds_alternative<SpeechModelChoice::Endpoint>(source))
        return {};
    return catalogue.ensureInstalled(localeIdentifier);
}

std::unique_ptr<SpeechRecognizer> ChosenRecognizers::make(const QString &localeIdentifier)
{
    const std::optional<RecognitionLanguage> language = RecognitionLanguage::fromRawValue(localeIdentifier);
    if (!language)
        return nullptr;
    const QString code = localeIdentifier.left(2);
    const SpeechModelChoice::Source source = SpeechModelChoice::load(defaults).of(*language);
    if (const auto *endpoint = std::get_if<SpeechModelChoice::Endpoint>(&source))
        return std::make_unique<OpenAiTranscriptionRecognizer>(
            OpenAiTranscriptionRecognizer::Options{endpoint->url, endpoint->model, code});

    return std::make_unique<WhisperRecognizer>(whisperOptions(source, installed, localeIdentifier));
}

void ChosenRecognizers::prewarm(const QString &localeIdentifier)
{
    const std::optional<RecognitionLanguage> language = RecognitionLanguage::fromRawValue(localeIdentifier);
    if (!language)
        return;
    const SpeechModelChoice::Source source = SpeechModelChoice::load(defaults).of(*language);
    if (std::holds_alternative<SpeechModelChoice::Endpoint>(source))
        return;
    const WhisperRecognizer::Options options = whisperOptions(source, installed, localeIdentifier);
    // A model not installed yet is installed, and loaded, by the first recording.
    TaskPools::run(TaskPools::longWork(), [options, localeIdentifier] {
        if (!QFile::exists(options.modelFile))
            return;
        QElapsedTimer timer;
        timer.start();
        if (std::expected<void, QString> warm = WhisperRecognizer::prewarm(options); warm)
            qCInfo(
                speechTrace, "loaded the recogniser for %s in %lld ms", qPrintable(localeIdentifier), timer.elapsed());
        else
            qCWarning(speechTrace, "could not load the recogniser for %s: %s", qPrintable(localeIdentifier),
                qPrintable(warm.error()));
    });
}
