#include "TinyLanguageModel.h"
#include "engines/LlamaLanguageModel.h"
#include "store/RippletSettings.h"
#include "text/PromptBuilder.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <chrono>
#include <future>
#include <thread>

// The rewrite engine's cost: time to the first token of a prepared session (instructions read
// ahead) against a cold one, and tokens per second while answering. Models: a small random one
// generated here; with --shape=1.5b, 1.5b-q4_0 or 0.5b a random model of that size and quantisation
// (its figures are such a model's cost on this machine; its vocabulary spells text byte by byte, so
// its prompts have more tokens than a real tokenizer's); with --model=PATH a real GGUF.
namespace {

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

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QString realModel;
    QByteArray shape;
    std::vector<char *> rest;
    for (int i = 0; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument.startsWith("--model="))
            realModel = QFile::decodeName(argument.mid(8));
        else if (argument.startsWith("--shape="))
            shape = argument.mid(8);
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
            = shape.startsWith("1.5b") ? TinyLanguageModel::oneAndAHalfBillion() : TinyLanguageModel::halfBillion();
        if (shape.endsWith("-q4_0"))
            chosen.weights = TinyLanguageModel::Shape::Weights::q4_0;
        const QString large = folder.filePath(QStringLiteral("shaped.gguf"));
        TinyLanguageModel::write(large, TinyLanguageModel::Answer::neverEnds, chosen);
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
