#include "engines/EngineModels.h"
#include "engines/WhisperRecognizer.h"
#include "speech/WavFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <future>
#include <thread>

// The wait a user has after speaking: audio goes to the recogniser in 20 ms pieces at the pace of
// speech, as the microphone delivers it, and the time from the last piece to the final text is
// measured (p50 of several runs). The models are written here with the real dimensions of whisper
// base (the English default) and small (the Japanese default) and random weights: their compute is
// a real model's, their words are noise. As the baseline the same files, whole, go through
// whisper.cpp's own command-line program (bench/build-whisper-cli) in the same run.
// Both decode greedily, without temperature fallback (random weights fail every check that would
// start one), with whisper's own limit of tokens per window, on the same number of threads.
//
// Usage: bench_recognition_latency [--cli=PATH] [--runs=N] [--models=FOLDER] [--only=base|small]
// (--runs=0: only the start-up load of each model)
namespace {

using Clock = std::chrono::steady_clock;

QString testFile(const char *name)
{
    return QStringLiteral(SORAWEN_TESTDATA "/") + QLatin1StringView(name);
}

struct Architecture {
    const char *name;
    const char *language;
    qint32 vocabulary;
    qint32 state;
    qint32 heads;
    qint32 layers;
};

const Architecture architectures[] = {
    {"base", "en", 51864, 512, 8, 6},
    {"small", "ja", 51865, 768, 12, 12},
};

quint16 half(float value)
{
    quint32 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const quint16 sign = quint16((bits >> 16) & 0x8000U);
    const int exponent = int((bits >> 23) & 0xffU) - 127 + 15;
    if (exponent <= 0)
        return sign;
    if (exponent >= 31)
        return quint16(sign | 0x7c00U);
    return quint16(sign | quint32(exponent) << 10 | ((bits >> 13) & 0x3ffU));
}

// whisper.cpp's model file: magic, dimensions, mel filters, vocabulary, then each tensor with its
// dimensions, name and data (16-bit floats for the matrices, 32-bit for the rest).
class ModelWriter
{
public:
    explicit ModelWriter(QFile &file)
        : file(file)
    { }

    void integer(qint32 value) { file.write(reinterpret_cast<const char *>(&value), sizeof value); }

    // `fill`: 1 for a layer norm's gain, 0 for its bias, otherwise random values of about 1/√fan-in.
    void tensor(const QByteArray &name, bool isHalf, std::vector<qint32> dimensions, std::optional<float> fill = {})
    {
        integer(qint32(dimensions.size()));
        integer(qint32(name.size()));
        integer(isHalf ? 1 : 0);
        qint64 count = 1;
        for (const qint32 dimension : dimensions) {
            integer(dimension);
            count *= dimension;
        }
        file.write(name);
        const float scale = 1.0F / std::sqrt(float(dimensions.front()));
        std::vector<char> chunk;
        for (qint64 done = 0; done < count;) {
            const qint64 now = std::min<qint64>(count - done, 1 << 20);
            chunk.resize(size_t(now) * (isHalf ? 2 : 4));
            for (qint64 i = 0; i < now; ++i) {
                seed = seed * 1664525U + 1013904223U;
                const float value = fill ? *fill : (float(seed >> 8) / 16777216.0F - 0.5F) * 2 * scale;
                if (isHalf) {
                    const quint16 stored = half(value);
                    std::memcpy(chunk.data() + i * 2, &stored, 2);
                } else {
                    std::memcpy(chunk.data() + i * 4, &value, 4);
                }
            }
            file.write(chunk.data(), qint64(chunk.size()));
            done += now;
        }
    }

private:
    QFile &file;
    quint32 seed = 1;
};

// The mel filters and the 50,257 text tokens come from the test model of the shared data; whisper
// adds the special tokens itself.
std::expected<void, QString> writeModel(const QString &path, const Architecture &a)
{
    QFile source(testFile("whisper-test-tiny.bin"));
    if (!source.open(QIODevice::ReadOnly))
        return std::unexpected(QStringLiteral("cannot read ") + source.fileName());
    const QByteArray tiny = source.readAll();
    auto at = [&](qsizetype offset) {
        qint32 value = 0;
        std::memcpy(&value, tiny.constData() + offset, 4);
        return value;
    };
    const qsizetype filters = 48;
    const qsizetype vocabulary = filters + 8 + qsizetype(at(filters)) * at(filters + 4) * 4;
    qsizetype end = vocabulary + 4;
    const int textTokens = 50257;
    for (int i = 0; i < textTokens; ++i)
        end += 4 + at(end);

    QFile file(path + QStringLiteral(".part"));
    if (!file.open(QIODevice::WriteOnly))
        return std::unexpected(QStringLiteral("cannot write ") + file.fileName());
    ModelWriter writer(file);
    const qint32 s = a.state;
    for (const qint32 value : {0x67676d6c, a.vocabulary, 1500, s, a.heads, a.layers, 448, s, a.heads, a.layers, 80, 1})
        writer.integer(value);
    file.write(tiny.mid(filters, vocabulary - filters));
    writer.integer(textTokens);
    file.write(tiny.mid(vocabulary + 4, end - vocabulary - 4));

    auto block = [&](const QByteArray &prefix, bool hasCrossAttention) {
        auto attention = [&](const QByteArray &kind) {
            writer.tensor(prefix + kind + "_ln.weight", false, {s}, 1.0F);
            writer.tensor(prefix + kind + "_ln.bias", false, {s}, 0.0F);
            writer.tensor(prefix + kind + ".query.weight", true, {s, s});
            writer.tensor(prefix + kind + ".query.bias", false, {s});
            writer.tensor(prefix + kind + ".key.weight", true, {s, s});
            writer.tensor(prefix + kind + ".value.weight", true, {s, s});
            writer.tensor(prefix + kind + ".value.bias", false, {s});
            writer.tensor(prefix + kind + ".out.weight", true, {s, s});
            writer.tensor(prefix + kind + ".out.bias", false, {s});
        };
        attention("attn");
        if (hasCrossAttention)
            attention("cross_attn");
        writer.tensor(prefix + "mlp_ln.weight", false, {s}, 1.0F);
        writer.tensor(prefix + "mlp_ln.bias", false, {s}, 0.0F);
        writer.tensor(prefix + "mlp.0.weight", true, {s, 4 * s});
        writer.tensor(prefix + "mlp.0.bias", false, {4 * s});
        writer.tensor(prefix + "mlp.2.weight", true, {4 * s, s});
        writer.tensor(prefix + "mlp.2.bias", false, {s});
    };
    writer.tensor("encoder.positional_embedding", false, {s, 1500});
    writer.tensor("encoder.conv1.weight", true, {3, 80, s});
    writer.tensor("encoder.conv1.bias", false, {1, s});
    writer.tensor("encoder.conv2.weight", true, {3, s, s});
    writer.tensor("encoder.conv2.bias", false, {1, s});
    for (int i = 0; i < a.layers; ++i)
        block("encoder.blocks." + QByteArray::number(i) + ".", false);
    writer.tensor("encoder.ln_post.weight", false, {s}, 1.0F);
    writer.tensor("encoder.ln_post.bias", false, {s}, 0.0F);
    writer.tensor("decoder.positional_embedding", false, {s, 448});
    writer.tensor("decoder.token_embedding.weight", true, {s, a.vocabulary});
    for (int i = 0; i < a.layers; ++i)
        block("decoder.blocks." + QByteArray::number(i) + ".", true);
    writer.tensor("decoder.ln.weight", false, {s}, 1.0F);
    writer.tensor("decoder.ln.bias", false, {s}, 0.0F);
    if (!file.flush())
        return std::unexpected(QStringLiteral("cannot write ") + file.fileName());
    file.close();
    QFile::remove(path);
    if (!QFile::rename(file.fileName(), path))
        return std::unexpected(QStringLiteral("cannot place ") + path);
    return {};
}

// The shared recordings one after another with 0.3 s between them, cut at `seconds` (the last
// phrase is cut off, as by a release while speaking); the 11 s recording as it is for 0.
AudioBuffer recording(double seconds)
{
    const AudioBuffer jfk = WavFile::read(testFile("jfk-en.wav")).value_or(AudioBuffer{});
    if (seconds == 0)
        return jfk;
    std::vector<AudioBuffer> parts{jfk};
    for (const char *name : {"speech-en-fillers.wav", "speech-ja-correction.wav"}) {
        if (std::expected<AudioBuffer, QString> part = WavFile::read(testFile(name)); part && part->format == jfk.format)
            parts.push_back(*part);
    }
    AudioBuffer joined{{16000, 1}, {}};
    const size_t wanted = size_t(seconds * 16000);
    for (size_t i = 0; joined.samples.size() < wanted; ++i) {
        const std::vector<float> &next = parts[i % parts.size()].samples;
        joined.samples.insert(joined.samples.end(), next.begin(), next.end());
        joined.samples.insert(joined.samples.end(), size_t(0.3 * 16000), 0.0F);
    }
    joined.samples.resize(wanted);
    return joined;
}

struct Ours {
    double afterEnd = 0;
    int runningDecodes = 0;
    int finals = 0;
};

// One dictation at the pace of speech.
std::expected<Ours, QString> ours(const WhisperRecognizer::Options &options, const AudioBuffer &audio)
{
    WhisperRecognizer recognizer(options);
    if (std::expected<void, QString> prepared = recognizer.prepare({}); !prepared)
        return std::unexpected(prepared.error());
    Ours measured;
    std::future<std::expected<void, QString>> running = std::async(std::launch::async, [&] {
        return recognizer.run([&](const SpeechRecognizer::Result &result) {
            ++(result.isFinal ? measured.finals : measured.runningDecodes);
        });
    });
    const size_t piece = 320;
    const Clock::time_point begin = Clock::now();
    for (size_t at = 0; at < audio.samples.size(); at += piece) {
        const size_t end = std::min(audio.samples.size(), at + piece);
        std::this_thread::sleep_until(begin + std::chrono::duration<double>(double(end) / 16000.0));
        recognizer.append(AudioBuffer{
            audio.format, std::vector<float>(audio.samples.begin() + long(at), audio.samples.begin() + long(end))});
    }
    const Clock::time_point endOfSpeech = Clock::now();
    recognizer.finishInput();
    if (std::expected<void, QString> ran = running.get(); !ran)
        return std::unexpected(ran.error());
    measured.afterEnd = std::chrono::duration<double>(Clock::now() - endOfSpeech).count();
    return measured;
}

struct Baseline {
    double wall = 0;
    double withoutLoad = 0;
};

// The whole file through whisper.cpp's command-line program.
std::expected<Baseline, QString> baseline(
    const QString &program, const QString &model, const QString &wav, const char *language, int threads)
{
    QProcess cli;
    const Clock::time_point start = Clock::now();
    cli.start(program,
        {QStringLiteral("-m"), model, QStringLiteral("-f"), wav, QStringLiteral("-l"), QLatin1StringView(language),
            QStringLiteral("-t"), QString::number(threads), QStringLiteral("-bs"), QStringLiteral("1"),
            QStringLiteral("-nf"), QStringLiteral("-nt"), QStringLiteral("-sns")});
    if (!cli.waitForFinished(-1) || cli.exitCode() != 0)
        return std::unexpected(QStringLiteral("%1 failed: %2").arg(program, QString::fromUtf8(cli.readAllStandardError().right(400))));
    Baseline measured;
    measured.wall = std::chrono::duration<double>(Clock::now() - start).count();
    const QString log = QString::fromUtf8(cli.readAllStandardError());
    auto timing = [&](const char *what) {
        const QRegularExpression pattern(QLatin1StringView(what) + QStringLiteral(R"(\s*=\s*([0-9.]+) ms)"));
        return pattern.match(log).captured(1).toDouble() / 1000.0;
    };
    measured.withoutLoad = timing("total time") - timing("load time");
    return measured;
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

QString option(const QStringList &arguments, const QString &name, const QString &fallback)
{
    for (const QString &argument : arguments) {
        if (argument.startsWith(name + QLatin1Char('=')))
            return argument.mid(name.size() + 1);
    }
    return fallback;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    const int runs = option(arguments, QStringLiteral("--runs"), QStringLiteral("5")).toInt();
    const QString cli = option(arguments, QStringLiteral("--cli"), {});
    const QString only = option(arguments, QStringLiteral("--only"), {});
    const QString folder = option(arguments, QStringLiteral("--models"),
        QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/sorawen/bench-models"));
    if (!QFile::exists(testFile("jfk-en.wav"))) {
        std::fprintf(stderr, "the shared test data is not beside the project\n");
        return 1;
    }
    QDir().mkpath(folder);

    struct File {
        const char *name;
        AudioBuffer audio;
        QString wav;
    };
    std::vector<File> files{{"jfk-en.wav", recording(0), {}}, {"30 s", recording(30), {}}, {"60 s", recording(60), {}}};
    for (File &file : files) {
        file.wav = folder + QStringLiteral("/%1.wav").arg(double(file.audio.frameLength()) / 16000.0);
        QFile out(file.wav);
        if (!out.open(QIODevice::WriteOnly) || out.write(WavFile::encode(file.audio)) < 0) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(file.wav));
            return 1;
        }
    }

    const int threads = EngineModels::threadCount(0);
    QFile load(QStringLiteral("/proc/loadavg"));
    const QByteArray loadAverage = load.open(QIODevice::ReadOnly) ? load.readLine() : QByteArray("?\n");
    std::printf("%d runs each, %d threads, %u cores, load average at the start %s", runs, threads,
        std::thread::hardware_concurrency(), loadAverage.constData());
    std::printf("%-6s %-10s %7s | %-14s %9s %7s | %-14s %-14s\n", "model", "file", "audio s", "ours: end→final",
        "running", "finals", "cli: whole run", "cli: w/o load");
    for (const Architecture &a : architectures) {
        if (!only.isEmpty() && only != QLatin1StringView(a.name))
            continue;
        const QString model = folder + QStringLiteral("/random-%1.bin").arg(QLatin1StringView(a.name));
        if (!QFile::exists(model)) {
            std::fprintf(stderr, "writing %s\n", qPrintable(model));
            if (std::expected<void, QString> written = writeModel(model, a); !written) {
                std::fprintf(stderr, "%s\n", qPrintable(written.error()));
                return 1;
            }
        }
        WhisperRecognizer::Options options{
            model, testFile("silero-vad-v6.2.0.bin"), QLatin1StringView(a.language), 0.25, threads};
        options.isFallbackAllowed = false;
        // What the application does at start-up: the model, a decoding state and the voice detector.
        WhisperRecognizer::releaseWarm();
        const Clock::time_point loading = Clock::now();
        if (std::expected<void, QString> warm = WhisperRecognizer::prewarm(options); !warm) {
            std::fprintf(stderr, "%s\n", qPrintable(warm.error()));
            return 1;
        }
        std::printf("%-6s prewarm: %.2f s\n", a.name, std::chrono::duration<double>(Clock::now() - loading).count());
        for (const File &file : files) {
            if (runs == 0)
                break;
            std::vector<double> afterEnd, wall, withoutLoad;
            double running = 0, finals = 0;
            for (int run = 0; run < runs; ++run) {
                std::expected<Ours, QString> measured = ours(options, file.audio);
                if (!measured) {
                    std::fprintf(stderr, "%s\n", qPrintable(measured.error()));
                    return 1;
                }
                afterEnd.push_back(measured->afterEnd);
                running += double(measured->runningDecodes) / runs;
                finals += double(measured->finals) / runs;
                if (!cli.isEmpty()) {
                    std::expected<Baseline, QString> whole = baseline(cli, model, file.wav, a.language, threads);
                    if (!whole) {
                        std::fprintf(stderr, "%s\n", qPrintable(whole.error()));
                        return 1;
                    }
                    wall.push_back(whole->wall);
                    withoutLoad.push_back(whole->withoutLoad);
                }
            }
            std::printf("%-6s %-10s %7.1f | %12.2f s %9.1f %7.1f | %12.2f s %12.2f s\n", a.name, file.name,
                double(file.audio.frameLength()) / 16000.0, median(afterEnd), running, finals, median(wall),
                median(withoutLoad));
            std::fflush(stdout);
        }
        WhisperRecognizer::releaseWarm();
    }
    return 0;
}
