#include "CliCommand.h"

#include "core/SystemClock.h"
#include "platform/linux/FileDefaultsStore.h"
#include "engines/HttpModelStore.h"
#include "engines/LlamaLanguageModel.h"
#include "engines/OpenAiChatModel.h"
#include "speech/SpeechAssetManager.h"
#include "store/LanguageModelChoice.h"
#include "text/PolishingService.h"
#include "text/PromptBuilder.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFutureWatcher>
#include <QTextStream>

#include <atomic>

namespace {

// Passes sessions through, noting when the first answer's first token came.
class TimedModel final : public LanguageModel
{
public:
    explicit TimedModel(LanguageModel &model, const QElapsedTimer &clock)
        : model(model)
        , clock(clock)
    { }
    std::shared_ptr<LanguageModelSession> makeSession(const QString &instructions) override
    {
        std::shared_ptr<LanguageModelSession> session = model.makeSession(instructions);
        session->onFirstToken = [this] {
            qint64 unset = -1;
            firstTokenAt.compare_exchange_strong(unset, clock.nsecsElapsed());
        };
        return session;
    }
    bool isAvailable() const override { return model.isAvailable(); }
    void release() override { model.release(); }
    std::atomic<qint64> firstTokenAt{-1};

private:
    LanguageModel &model;
    const QElapsedTimer &clock;
};

template<typename T>
T await(const QFuture<T> &future)
{
    QFutureWatcher<T> watcher;
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
    watcher.setFuture(future);
    if (!future.isFinished())
        loop.exec();
    if constexpr (!std::is_void_v<T>)
        return future.result();
}

QString milliseconds(qint64 nanoseconds)
{
    return QString::number(double(nanoseconds) / 1e6, 'f', 1) + QStringLiteral(" ms");
}

} // namespace

// polish: one utterance (standard input) through the rewrite service with the default instructions.
int runPolishCommand(const QStringList &arguments)
{
    const auto options = Cli::parse(arguments,
        {QStringLiteral("language"), QStringLiteral("model"), QStringLiteral("endpoint"),
            QStringLiteral("endpoint-model"), QStringLiteral("timeout")},
        {});
    const std::optional<RecognitionLanguage> language = options ? Cli::language(*options) : std::nullopt;
    if (!language)
        return 2;
    if (options->value("model") && options->value("endpoint"))
        return Cli::usageError(QStringLiteral("give --model or --endpoint, not both"));
    double timeout = RippletSettings().polishingTimeoutSeconds;
    if (const std::optional<QString> text = options->value("timeout")) {
        bool isNumber = false;
        timeout = text->toDouble(&isNumber);
        if (!isNumber)
            return Cli::usageError(QStringLiteral("--timeout takes a number of seconds"));
    }

    // Without --model or --endpoint: the choice stored by the application, else its installed model.
    LanguageModelChoice choice = LanguageModelChoice::load(FileDefaultsStore());
    if (const std::optional<QString> endpoint = options->value("endpoint")) {
        const std::expected<QUrl, QString> url = LanguageModelChoice::endpointUrl(*endpoint);
        if (!url)
            return Cli::usageError(url.error());
        choice = {*url, options->value("endpoint-model").value_or(QString())};
    } else if (options->value("model")) {
        choice = {};
    }
    HttpModelStore installedModels;
    SpeechAssetManager assets(installedModels);
    std::unique_ptr<LanguageModel> model;
    if (choice.usesEndpoint()) {
        model = std::make_unique<OpenAiChatModel>(OpenAiChatModel::Options{choice.endpoint, choice.model});
    } else {
        const std::optional<QString> given = options->value("model");
        model = std::make_unique<LlamaLanguageModel>(
            LlamaLanguageModel::Options{[&assets, given]() -> std::expected<QString, QString> {
                return given ? std::expected<QString, QString>(*given) : assets.installedLanguageModel();
            }});
    }

    RippletSettings settings;
    settings.language = *language;
    const QString instructions = PromptBuilder::build(settings, std::nullopt, std::nullopt, 800);
    const QString utterance = Cli::text(Cli::readStandardInput());

    QElapsedTimer clock;
    clock.start();
    TimedModel timed(*model, clock);
    SystemClock systemClock;
    PolishingService service(timed, systemClock);
    await(service.prepare(instructions, 1));
    const qint64 prepared = clock.nsecsElapsed();
    const PolishingOutcome::Value outcome = await(service.polish(utterance, instructions, *language, 1, timeout));
    const qint64 finished = clock.nsecsElapsed();

    QTextStream errors(stderr);
    const qint64 firstToken = timed.firstTokenAt.load();
    errors << "prewarm " << milliseconds(prepared) << ", first token "
           << (firstToken >= 0 ? milliseconds(firstToken - prepared) : QStringLiteral("none")) << ", total "
           << milliseconds(finished - prepared) << '\n';
    errors.flush();
    if (const auto *polished = std::get_if<PolishingOutcome::Polished>(&outcome)) {
        Cli::writeStandardOutput(polished->text.toUtf8());
        return 0;
    }
    if (const auto *unavailable = std::get_if<PolishingOutcome::Unavailable>(&outcome))
        Cli::writeStandardOutput("unavailable: " + unavailable->reason.toUtf8() + '\n');
    else
        Cli::writeStandardOutput("timedOut\n");
    return 1;
}
