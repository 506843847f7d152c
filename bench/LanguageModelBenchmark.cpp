#include "TinyLanguageModel.h"
#include "core/SystemClock.h"
#include "core/ThreadBudget.h"
#include "engines/LlamaLanguageModel.h"
#include "engines/WhisperRecognizer.h"
#include "speech/WavFile.h"
#include "input/DeepContext.h"
#include "store/RippletSettings.h"
#include "text/PolishingService.h"
#include "text/PromptBuilder.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QFutureWatcher>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstdio>

#include <chrono>
#include <future>
#include <thread>

// The rewrite engine's cost: time to the first token of a prepared session (instructions read
// ahead) against a cold one, and tokens per second while answering. Models: a small random one
// generated here; with --shape=1.5b, 1.5b-q4_0 or 0.5b a random model of that size and quantisation
// (its figures are such a model's cost on this machine; its vocabulary spells text byte by byte, so
// its prompts have more tokens than a real tokenizer's); with --model=PATH a real GGUF.
namespace {

using TinyLanguageModel::Shape;

// The shapes of Qwen2.5 1.5B and 0.5B (152k vocabulary; the control and byte tokens come first) at
// 4 bits: for measuring what such models cost on this machine.
constexpr int qwenExtraTokens = 151936 - 261;

Shape oneAndAHalfBillion()
{
    return {.embedding = 1536,
        .layers = 28,
        .heads = 12,
        .keyValueHeads = 2,
        .feedForward = 8960,
        .extraTokens = qwenExtraTokens,
        .contextLength = 4096,
        .weights = Shape::Weights::q4k};
}

Shape halfBillion()
{
    return {.embedding = 896,
        .layers = 24,
        .heads = 14,
        .keyValueHeads = 2,
        .feedForward = 4864,
        .extraTokens = qwenExtraTokens,
        .contextLength = 4096,
        .weights = Shape::Weights::q4_0};
}

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

const QString &instructions()
{
    static const QString text = [] {
        RippletSettings settings;
        settings.language = RecognitionLanguage::japanese;
        return PromptBuilder::build(settings, std::nullopt, std::nullopt, 800);
    }();
    return text;
}

const QString &prompt()
{
    static const QString text = PromptBuilder::wrapUtterance(
        QStringLiteral("えーと明日の会議なんですけど、資料はたぶん午後までに送れると思います。よろしくお願いします"),
        RecognitionLanguage::japanese);
    return text;
}

struct Answer {
    double firstToken = 0;
    double total = 0;
    int generated = 0;
};

// One answer; with `stopAtFirst` the session is cancelled as soon as the first token is known.
Answer answer(LanguageModelSession &session, bool stopAtFirst)
{
    Answer result;
    int readAtFirst = 0;
    const Clock::time_point start = Clock::now();
    session.onFirstToken = [&] {
        result.firstToken = secondsSince(start);
        readAtFirst = LlamaLanguageModel::tokensRead(session);
        if (stopAtFirst)
            session.cancel();
    };
    benchmark::DoNotOptimize(session.respond(prompt()));
    result.total = secondsSince(start);
    result.generated = LlamaLanguageModel::tokensRead(session) - readAtFirst;
    return result;
}

// Seconds from `cancel` to the end of the work `run` does on a fresh session; `run` calls its second
// argument at the moment to cancel.
template<typename Run>
double cancelAfter(LlamaLanguageModel &model, Run run)
{
    std::shared_ptr<LanguageModelSession> session = model.makeSession(instructions());
    Clock::time_point cancelled;
    run(*session, [&] {
        cancelled = Clock::now();
        session->cancel();
    });
    return secondsSince(cancelled);
}

void firstTokenAndSpeed(benchmark::State &state, const QString &path)
{
    LlamaLanguageModel model({[path]() -> std::expected<QString, QString> { return path; }});
    // The model is loaded outside the measurement.
    if (const auto loaded = model.makeSession(QStringLiteral("x"))->prewarm(); !loaded) {
        state.SkipWithError(loaded.error().toStdString().c_str());
        return;
    }
    for (auto _ : state) {
        std::shared_ptr<LanguageModelSession> cold = model.makeSession(instructions());
        const Answer coldAnswer = answer(*cold, true);

        std::shared_ptr<LanguageModelSession> prepared = model.makeSession(instructions());
        const Clock::time_point prewarmStart = Clock::now();
        prepared->prewarm();
        const double prewarm = secondsSince(prewarmStart);
        const int instructionTokens = LlamaLanguageModel::tokensRead(*prepared);
        const Answer preparedAnswer = answer(*prepared, false);

        // A cancel from another thread, as the time limit sends it: while the session reads its
        // instructions (inside its second batch), and while it writes an answer.
        const double cancelWhileReading = cancelAfter(model, [](LanguageModelSession &session, auto started) {
            auto running = std::async(std::launch::async, [&] { return session.prewarm(); });
            while (LlamaLanguageModel::tokensRead(session) == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            // Into the middle of the next batch.
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            started();
            running.wait();
        });
        const double cancelWhileWriting = cancelAfter(model, [](LanguageModelSession &session, auto started) {
            session.prewarm();
            std::promise<void> first;
            session.onFirstToken = [&] { first.set_value(); };
            auto running = std::async(std::launch::async, [&] { return session.respond(prompt()); });
            first.get_future().wait();
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            started();
            running.wait();
        });

        state.SetIterationTime(preparedAnswer.firstToken);
        state.counters["cancel_reading_ms"] = cancelWhileReading * 1000;
        state.counters["cancel_writing_ms"] = cancelWhileWriting * 1000;
        state.counters["prewarm_ms"] = prewarm * 1000;
        state.counters["prompt_tokens_per_s"] = instructionTokens / prewarm;
        state.counters["cold_first_token_ms"] = coldAnswer.firstToken * 1000;
        state.counters["prepared_first_token_ms"] = preparedAnswer.firstToken * 1000;
        state.counters["cold_to_prepared_ratio"] = coldAnswer.firstToken / preparedAnswer.firstToken;
        state.counters["answer_tokens"] = preparedAnswer.generated;
        state.counters["tokens_per_s"]
            = double(preparedAnswer.generated) / std::max(preparedAnswer.total - preparedAnswer.firstToken, 1e-9);
    }
}

// The Japanese instructions with 400 characters of context; `recording` changes the context's
// first line, so recordings share the base instructions but not the context.
QString instructionsWithContext(int recording)
{
    RippletSettings settings;
    settings.language = RecognitionLanguage::japanese;
    settings.deepContextEnabled = true;
    const QString filler = QStringLiteral("来週の打ち合わせの件で資料をお送りします。");
    DeepContext context{QStringLiteral("メール %1").arg(recording), QStringLiteral("Re: 打ち合わせ"),
        QString(), filler.repeated(20)};
    return PromptBuilder::build(settings, std::nullopt, context, 400);
}

// The main thread waits in its event loop, as the application's does.
template<typename T>
void waitInLoop(const QFuture<T> &future)
{
    QFutureWatcher<T> watcher;
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
    watcher.setFuture(future);
    if (!future.isFinished())
        loop.exec();
}

void pause(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

// Not a Google Benchmark: one run of whole recordings, printed as lines.
// 1. The instructions read cold, again by the next session (cached), and with another context.
// 2. Ten recordings: the session is prepared at recording start, the utterance (about 60 tokens)
//    comes 3 s later with a 4 s limit; the time from `polish` to its outcome.
void rewriteLimit(const QString &path)
{
    LlamaLanguageModel model({[path]() -> std::expected<QString, QString> { return path; }});
    if (const auto loaded = model.makeSession(QStringLiteral("x"))->prewarm(); !loaded) {
        std::fprintf(stderr, "%s\n", qPrintable(loaded.error()));
        return;
    }
    const auto timedPrewarm = [&](const QString &instructions) {
        std::shared_ptr<LanguageModelSession> session = model.makeSession(instructions);
        const Clock::time_point start = Clock::now();
        session->prewarm();
        return std::pair{secondsSince(start) * 1000, LlamaLanguageModel::tokensRead(*session)};
    };
    const auto [cold, coldTokens] = timedPrewarm(instructionsWithContext(0));
    const auto [cached, cachedTokens] = timedPrewarm(instructionsWithContext(0));
    const auto [otherContext, otherTokens] = timedPrewarm(instructionsWithContext(1));
    std::printf("prepare of the first recording: %.0f ms (%d tokens); the second, same instructions: %.0f ms (%d "
                "tokens); another context: %.0f ms (%d tokens)\n",
        cold, coldTokens, cached, cachedTokens, otherContext, otherTokens);

    SystemClock clock;
    PolishingService service(model, clock);
    const double limit = 4.0;
    const QString utterance = QStringLiteral("明日の会議の資料は午後までに送ります");
    std::vector<double> outcomes;
    int timedOut = 0;
    for (int recording = 2; recording < 12; ++recording) {
        const QString instructions = instructionsWithContext(recording);
        waitInLoop(service.prepare(instructions, quint64(recording)));
        pause(3000);
        const Clock::time_point start = Clock::now();
        QFuture<PolishingOutcome::Value> outcome
            = service.polish(utterance, instructions, RecognitionLanguage::japanese, quint64(recording), limit);
        waitInLoop(outcome);
        outcomes.push_back(secondsSince(start) * 1000);
        timedOut += std::holds_alternative<PolishingOutcome::TimedOut>(outcome.result()) ? 1 : 0;
    }
    std::sort(outcomes.begin(), outcomes.end());
    std::printf("rewrite outcome after polish: p50 %.0f ms, max %.0f ms, limit %.0f ms\n",
        (outcomes[4] + outcomes[5]) / 2, outcomes.back(), limit * 1000);
    std::printf("(%d of %zu timed out; utterance of %d tokens in its tags)\n", timedOut, outcomes.size(),
        int(PromptBuilder::wrapUtterance(utterance, RecognitionLanguage::japanese).toUtf8().size()));
    std::fflush(stdout);
}

// Recognition of the 11 s recording at the pace of speech, from the end of the input to the final
// text, alone and with a rewrite's reading running beside it from the recording's start (idle
// priority, under the thread budget, as the application runs it). Three runs of each.
void besideRecognition(const QString &languageModelPath, const QString &speechModel)
{
    const QString testdata = QStringLiteral(SORAWEN_TESTDATA);
    const std::expected<AudioBuffer, QString> audio = WavFile::read(testdata + QStringLiteral("/jfk-en.wav"));
    if (!audio) {
        std::fprintf(stderr, "the shared test data is not beside the project\n");
        return;
    }
    LlamaLanguageModel model({[languageModelPath]() -> std::expected<QString, QString> { return languageModelPath; }});
    model.makeSession(QStringLiteral("x"))->prewarm();
    const auto endToText = [&](int run, bool withReading) {
        WhisperRecognizer recognizer({testdata + QLatin1Char('/') + speechModel,
            testdata + QStringLiteral("/silero-vad-v6.2.0.bin"), QStringLiteral("en"), 1.0, 0});
        if (!recognizer.prepare({}))
            return -1.0;
        auto recording = std::make_optional<ThreadBudget::Recording>();
        std::shared_ptr<LanguageModelSession> session = model.makeSession(instructionsWithContext(100 + run));
        QThread *reading = QThread::create([session] { session->prewarm(); });
        if (withReading)
            reading->start(QThread::IdlePriority);
        std::future<std::expected<void, QString>> running
            = std::async(std::launch::async, [&] { return recognizer.run([](const auto &) {}); });
        const Clock::time_point begin = Clock::now();
        const std::vector<float> &samples = audio->samples;
        for (size_t at = 0; at < samples.size(); at += 1024) {
            const size_t end = std::min(samples.size(), at + 1024);
            std::this_thread::sleep_until(begin + std::chrono::duration<double>(double(end) / 16000.0));
            recognizer.append(
                AudioBuffer{{16000, 1}, std::vector<float>(samples.begin() + long(at), samples.begin() + long(end))});
        }
        // The key is released: the recording ends, the reading may use the whole budget again.
        recording.reset();
        const Clock::time_point endOfInput = Clock::now();
        recognizer.finishInput();
        running.get();
        const double waited = secondsSince(endOfInput) * 1000;
        session->cancel();
        reading->wait();
        delete reading;
        return waited;
    };
    const auto median = [&](bool withReading) {
        std::vector<double> runs;
        for (int run = 0; run < 3; ++run)
            runs.push_back(endToText(run + (withReading ? 10 : 0), withReading));
        std::sort(runs.begin(), runs.end());
        return runs[1];
    };
    const double alone = median(false);
    const double beside = median(true);
    std::printf("recognition (%s) end of speech to text: alone p50 %.0f ms, with a rewrite reading beside it p50 %.0f "
                "ms, ratio %.2f\n",
        qPrintable(speechModel), alone, beside, beside / alone);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QString realModel;
    QByteArray shape;
    bool limitOnly = false;
    QString besideSpeechModel;
    std::vector<char *> rest;
    for (int i = 0; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument.startsWith("--model="))
            realModel = QFile::decodeName(argument.mid(8));
        else if (argument.startsWith("--shape="))
            shape = argument.mid(8);
        else if (argument == "--rewrite-limit")
            limitOnly = true;
        else if (argument.startsWith("--beside-recognition="))
            besideSpeechModel = QString::fromUtf8(argument.mid(21));
        else
            rest.push_back(argv[i]);
    }
    int restCount = int(rest.size());
    benchmark::Initialize(&restCount, rest.data());

    QTemporaryDir folder;
    const QString generated = folder.filePath(QStringLiteral("generated.gguf"));
    TinyLanguageModel::write(generated, TinyLanguageModel::Answer::neverEnds);
    benchmark::RegisterBenchmark("generatedModel", firstTokenAndSpeed, generated)->UseManualTime()->Iterations(3);
    if (shape.startsWith("1.5b") || shape.startsWith("0.5b")) {
        // "-q4_0" picks 4-bit blocks of 32 for the larger shape too.
        TinyLanguageModel::Shape chosen
            = shape.startsWith("1.5b") ? oneAndAHalfBillion() : halfBillion();
        if (shape.endsWith("-q4_0"))
            chosen.weights = TinyLanguageModel::Shape::Weights::q4_0;
        const QString large = folder.filePath(QStringLiteral("shaped.gguf"));
        TinyLanguageModel::write(large, TinyLanguageModel::Answer::neverEnds, chosen);
        // --rewrite-limit: the whole-recording figures on this shape, and nothing else.
        if (limitOnly) {
            rewriteLimit(large);
            return 0;
        }
        // --beside-recognition=whisper-test-tiny.bin: recognition's wait with this shape's reading beside it.
        if (!besideSpeechModel.isEmpty()) {
            besideRecognition(large, besideSpeechModel);
            return 0;
        }
        benchmark::RegisterBenchmark(("randomModelOfShape" + shape).constData(), firstTokenAndSpeed, large)
            ->UseManualTime()
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
    if (!realModel.isEmpty()) {
        benchmark::RegisterBenchmark("givenModel", firstTokenAndSpeed, realModel)
            ->UseManualTime()
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
