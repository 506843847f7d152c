#include "CliCommand.h"

#include "engines/OpenAiTranscriptionRecognizer.h"
#include "engines/WhisperRecognizer.h"
#include "platform/linux/FileDefaultsStore.h"
#include "store/LanguageModelChoice.h"
#include "store/SpeechModelChoice.h"

#include <QFileInfo>
#include <QTextStream>

// speech-model: shows or sets which model recognises a language: the catalogue's, a model file of
// the user's own, or a transcription server on this machine. Kept beside the settings, where the
// application reads it at each recording.
int runSpeechModelCommand(const QStringList &arguments)
{
    const auto options = Cli::parse(arguments,
        {QStringLiteral("language"), QStringLiteral("file"), QStringLiteral("endpoint"),
            QStringLiteral("endpoint-model")},
        {QStringLiteral("catalogue")});
    if (!options)
        return 2;
    const std::optional<RecognitionLanguage> language = Cli::language(*options);
    if (!language)
        return 2;
    const std::optional<QString> file = options->value("file");
    const std::optional<QString> endpoint = options->value("endpoint");
    const int given = int(file.has_value()) + int(endpoint.has_value()) + int(options->has("catalogue"));
    if (given > 1)
        return Cli::usageError(QStringLiteral("give one of --file, --catalogue and --endpoint"));
    if (options->value("endpoint-model") && !endpoint)
        return Cli::usageError(QStringLiteral("--endpoint-model needs --endpoint"));

    FileDefaultsStore defaults;
    SpeechModelChoice choice = SpeechModelChoice::load(defaults);
    SpeechModelChoice::Source &source = choice.of(*language);
    if (options->has("catalogue")) {
        source = SpeechModelChoice::Catalogue{};
    } else if (file) {
        const std::expected<QString, QString> path = SpeechModelChoice::modelFile(QFileInfo(*file).absoluteFilePath());
        if (!path)
            return Cli::usageError(path.error());
        if (!WhisperRecognizer::engineOf(*path))
            return Cli::usageError(QStringLiteral("%1 is neither a whisper nor a Parakeet model").arg(*path));
        source = SpeechModelChoice::File{*path};
    } else if (endpoint) {
        const std::expected<QUrl, QString> url = LanguageModelChoice::endpointUrl(*endpoint);
        if (!url)
            return Cli::usageError(url.error());
        source = SpeechModelChoice::Endpoint{*url, options->value("endpoint-model").value_or(QString())};
    }
    if (given == 1 && !choice.save(defaults)) {
        QTextStream(stderr) << "sorawen-cli: the choice could not be written to "
                            << FileDefaultsStore::defaultFileName() << '\n';
        return 1;
    }

    QTextStream out(stdout);
    if (const auto *own = std::get_if<SpeechModelChoice::File>(&source))
        out << "file " << own->path << '\n';
    else if (const auto *server = std::get_if<SpeechModelChoice::Endpoint>(&source))
        out << "endpoint " << server->url.toString() << " model "
            << (server->model.isEmpty() ? OpenAiTranscriptionRecognizer::defaultModel + QStringLiteral(" (default)")
                                        : server->model)
            << '\n';
    else
        out << "catalogue\n";
    return 0;
}
