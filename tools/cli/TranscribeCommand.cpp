#include "CliCommand.h"

#include "FileAudioEngine.h"
#include "core/SystemClock.h"
#include "engines/ChosenRecognizers.h"
#include "engines/HttpModelStore.h"
#include "engines/SoxrConverter.h"
#include "engines/WhisperRecognizer.h"
#include "platform/linux/FileDefaultsStore.h"
#include "speech/ModelCatalogue.h"
#include "speech/SpeechService.h"
#include "speech/WavFile.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTextStream>

#include <thread>

namespace {

// Models given on the command line: present or not, nothing to install.
class GivenModels final : public SpeechModels, public SpeechRecognizerFactory
{
public:
    GivenModels(QString model, QString vad, WhisperRecognizer::Engine engine)
        : model(std::move(model))
        , vad(std::move(vad))
        , engine(engine)
    { }
    std::expected<void, QString> ensureInstalled(const QString &) override
    {
        if (!QFile::exists(model))
            return std::unexpected(QStringLiteral("no model at %1").arg(model));
        return {};
    }
    // One transcription: nothing to load ahead of it.
    void prewarm(const QString &) override { }
    std::unique_ptr<SpeechRecognizer> make(const QString &locale) override
    {
        return std::make_unique<WhisperRecognizer>(
            WhisperRecognizer::Options{model, vad, locale.left(2), 1.0, 0, engine});
    }

private:
    QString model;
    QString vad;
    WhisperRecognizer::Engine engine;
};

// The catalogue's models where the application installed them: transcribe never downloads.
class InstalledCatalogue final : public SpeechModels
{
public:
    explicit InstalledCatalogue(const SpeechModelStore &store)
        : store(store)
    { }
    std::expected<void, QString> ensureInstalled(const QString &locale) override
    {
        const QString model = store.pathOf(ModelCatalogue::recognitionModel(locale));
        if (!QFile::exists(model))
            return std::unexpected(
                QStringLiteral("no model at %1: run 'sorawen-cli install %2', choose one with speech-model, or pass "
                               "--model PATH")
                    .arg(model, locale));
        return {};
    }

private:
    const SpeechModelStore &store;
};

} // namespace

// transcribe: a WAV file through the speech service as if it came from the microphone.
int runTranscribeCommand(const QStringList &arguments)
{
    QStringList rest = arguments;
    if (rest.isEmpty() || rest.first().startsWith(u"--"))
        return Cli::usageError(QStringLiteral("transcribe needs a WAV file"));
    const QString file = rest.takeFirst();
    const auto options = Cli::parse(rest,
        {QStringLiteral("language"), QStringLiteral("model"), QStringLiteral("vad"), QStringLiteral("engine")},
        {QStringLiteral("fast")});
    if (!options)
        return 2;
    const QString locale = options->value("language").value_or(QStringLiteral("en_US"));
    if (!RecognitionLanguage::fromRawValue(locale))
        return Cli::usageError(QStringLiteral("unknown language '%1' (ja_JP or en_US)").arg(locale));
    // Without --model, the model chosen for the language (speech-model), as the application makes it.
    const HttpModelStore installed;
    const FileDefaultsStore defaults;
    InstalledCatalogue catalogue(installed);
    ChosenRecognizers chosen(defaults, catalogue, installed);
    std::optional<GivenModels> given;
    if (const std::optional<QString> model = options->value("model")) {
        if (!QFile::exists(*model))
            return Cli::usageError(QStringLiteral("no model at %1: pass --model PATH").arg(*model));
        QString vad = options->value("vad").value_or(QString());
        if (vad.isEmpty() && QFile::exists(installed.pathOf(ModelCatalogue::voiceActivityModel())))
            vad = installed.pathOf(ModelCatalogue::voiceActivityModel());
        const QString engineName = options->value("engine").value_or(QStringLiteral("whisper"));
        if (engineName != u"whisper" && engineName != u"parakeet")
            return Cli::usageError(QStringLiteral("unknown engine '%1' (whisper or parakeet)").arg(engineName));
        given.emplace(*model, vad,
            engineName == u"parakeet" ? WhisperRecognizer::Engine::parakeet : WhisperRecognizer::Engine::whisper);
    } else if (options->value("vad") || options->value("engine")) {
        return Cli::usageError(QStringLiteral("--vad and --engine go with --model"));
    } else if (const std::expected<void, QString> ready = chosen.ensureInstalled(locale); !ready) {
        return Cli::usageError(ready.error());
    }
    SpeechModels &models = given ? static_cast<SpeechModels &>(*given) : chosen;
    SpeechRecognizerFactory &recognizers = given ? static_cast<SpeechRecognizerFactory &>(*given) : chosen;

    std::expected<AudioBuffer, QString> audio = WavFile::read(file);
    if (!audio)
        return Cli::usageError(audio.error());
    if (audio->frameLength() == 0)
        return Cli::usageError(QStringLiteral("%1 holds no audio").arg(file));
    const double seconds = double(audio->frameLength()) / audio->format.sampleRate;

    FileAudioEngine engine(std::move(*audio), !options->has("fast"));
    SoxrConverterFactory converters;
    SystemClock clock;
    SpeechService service(SpeechService::Environment{engine, converters, recognizers, models, clock});
    QTextStream errors(stderr);
    service.onPartialText = [&](const QString &text) { errors << "… " << text << Qt::endl; };

    int status = 0;
    QString transcript;
    QElapsedTimer timer;
    qint64 endOfInput = 0;
    std::thread session([&] {
        timer.start();
        if (std::expected<void, SpeechServiceError> started = service.startCapture().result(); !started) {
            errors << started.error().description() << Qt::endl;
            status = 3;
        } else if (std::expected<void, SpeechServiceError> prepared = service.prepareAnalyzer(locale, {}).result();
                   !prepared) {
            errors << prepared.error().description() << Qt::endl;
            status = 3;
        } else {
            engine.waitUntilPlayed();
            endOfInput = timer.elapsed();
            std::expected<QString, SpeechServiceError> text = service.finish().result();
            if (text)
                transcript = *text;
            else
                errors << text.error().description() << Qt::endl, status = 3;
        }
        QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    });
    QCoreApplication::exec();
    session.join();
    if (status != 0)
        return status;
    const qint64 total = timer.elapsed();
    Cli::writeStandardOutput(transcript.trimmed().toUtf8());
    errors << "\naudio " << seconds << " s, end of input to text " << (total - endOfInput) << " ms, real-time factor "
           << QString::number(double(total) / 1000.0 / seconds, 'f', 3) << Qt::endl;
    return 0;
}
