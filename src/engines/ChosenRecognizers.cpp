#include "engines/ChosenRecognizers.h"

#include "engines/OpenAiTranscriptionRecognizer.h"
#include "engines/WhisperRecognizer.h"
#include "speech/ModelCatalogue.h"
#include "store/SpeechModelChoice.h"

#include <QFile>

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

    const auto *file = std::get_if<SpeechModelChoice::File>(&source);
    WhisperRecognizer::Options options;
    options.modelFile
        = file != nullptr ? file->path : installed.pathOf(ModelCatalogue::recognitionModel(localeIdentifier));
    // The voice-activity model comes with the catalogue; an own model uses it once it is there.
    if (const QString vad = installed.pathOf(ModelCatalogue::voiceActivityModel()); QFile::exists(vad))
        options.vadModelFile = vad;
    options.language = code;
    // A file of neither kind is handed to whisper, whose load says it cannot read it.
    options.engine = WhisperRecognizer::engineOf(options.modelFile).value_or(WhisperRecognizer::Engine::whisper);
    return std::make_unique<WhisperRecognizer>(options);
}
