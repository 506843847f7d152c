#include "engines/WhisperRecognizer.h"
#include "speech/WavFile.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QFile>

#include <chrono>
#include <future>
#include <thread>

// Real-time factor of the whisper recogniser on the 11 s recording, with the test models of the
// tiny and large architectures (untrained weights: the cost is real, the words are not), and the
// time from the end of a real-time stream to the final text with the default pace.
namespace {

QString testFile(const char *name)
{
    return QStringLiteral(SORAWEN_TESTDATA "/") + QLatin1StringView(name);
}

const AudioBuffer &recording()
{
    static const AudioBuffer audio = WavFile::read(testFile("jfk-en.wav")).value_or(AudioBuffer{});
    return audio;
}

void realTimeFactor(benchmark::State &state, const char *model)
{
    if (recording().samples.empty() || !QFile::exists(testFile(model))) {
        state.SkipWithError("the shared test data is not beside the project");
        return;
    }
    const double seconds = double(recording().frameLength()) / 16000.0;
    for (auto _ : state) {
        WhisperRecognizer recognizer(
            {testFile(model), testFile("silero-vad-v6.2.0.bin"), QStringLiteral("en"), 1.0, 0});
        if (!recognizer.prepare({})) {
            state.SkipWithError("the model did not load");
            return;
        }
        recognizer.append(recording());
        recognizer.finishInput();
        const auto start = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(recognizer.run([](const auto &) {}));
        const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(elapsed);
        state.counters["real_time_factor"] = elapsed / seconds;
    }
}

void tinyRealTimeFactor(benchmark::State &state)
{
    realTimeFactor(state, "whisper-test-tiny.bin");
}
BENCHMARK(tinyRealTimeFactor)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(2);

void largeRealTimeFactor(benchmark::State &state)
{
    realTimeFactor(state, "whisper-test-large.bin");
}
BENCHMARK(largeRealTimeFactor)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);

// The audio arrives at the pace of speech; what counts is how long the user waits after it ends.
void endOfInputToText(benchmark::State &state)
{
    if (recording().samples.empty()) {
        state.SkipWithError("the shared test data is not beside the project");
        return;
    }
    for (auto _ : state) {
        WhisperRecognizer recognizer(
            {testFile("whisper-test-tiny.bin"), testFile("silero-vad-v6.2.0.bin"), QStringLiteral("en"), 1.0, 0});
        if (!recognizer.prepare({})) {
            state.SkipWithError("the model did not load");
            return;
        }
        std::future<std::expected<void, QString>> running
            = std::async(std::launch::async, [&] { return recognizer.run([](const auto &) {}); });
        const auto begin = std::chrono::steady_clock::now();
        const std::vector<float> &samples = recording().samples;
        for (size_t at = 0; at < samples.size(); at += 1024) {
            const size_t end = std::min(samples.size(), at + 1024);
            std::this_thread::sleep_until(begin + std::chrono::duration<double>(double(end) / 16000.0));
            recognizer.append(
                AudioBuffer{{16000, 1}, std::vector<float>(samples.begin() + long(at), samples.begin() + long(end))});
        }
        const auto endOfInput = std::chrono::steady_clock::now();
        recognizer.finishInput();
        running.get();
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - endOfInput).count());
    }
}
BENCHMARK(endOfInputToText)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);

// A recording's preparation: the first one of a run loads the model, its decoding state and the
// voice detector; the next one takes what the first left loaded.
void preparation(benchmark::State &state, const char *model)
{
    if (!QFile::exists(testFile(model))) {
        state.SkipWithError("the shared test data is not beside the project");
        return;
    }
    const WhisperRecognizer::Options options{
        testFile(model), testFile("silero-vad-v6.2.0.bin"), QStringLiteral("en"), 1.0, 0};
    auto prepareOnce = [&] {
        const auto start = std::chrono::steady_clock::now();
        WhisperRecognizer recognizer(options);
        const bool isPrepared = bool(recognizer.prepare({}));
        const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        return isPrepared ? elapsed : -1.0;
    };
    for (auto _ : state) {
        WhisperRecognizer::releaseWarm();
        const double first = prepareOnce();
        const double second = prepareOnce();
        if (first < 0 || second < 0) {
            state.SkipWithError("the model did not load");
            return;
        }
        state.SetIterationTime(second);
        state.counters["first_ms"] = first * 1000;
        state.counters["second_ms"] = second * 1000;
        state.counters["first_over_second"] = first / second;
    }
}

void tinyPreparation(benchmark::State &state)
{
    preparation(state, "whisper-test-tiny.bin");
}
BENCHMARK(tinyPreparation)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

void largePreparation(benchmark::State &state)
{
    preparation(state, "whisper-test-large.bin");
}
BENCHMARK(largePreparation)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
