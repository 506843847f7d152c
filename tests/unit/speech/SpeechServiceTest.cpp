#include "speech/SpeechService.h"
#include "ManualClock.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

using namespace std::chrono_literals;

namespace {

const AudioFormat mic48k{48000, 1};
const AudioFormat mic44k{44100, 2};
const AudioFormat recognizer{16000, 1};

// A microphone the test controls: its format, whether it starts, and the buffers it delivers.
class SimulatedEngine final : public AudioEngine
{
public:
    AudioFormat format = mic48k;
    int failingStarts = 0;
    int starts = 0;
    bool running = false;
    std::optional<AudioFormat> tapFormat;
    TapHandler tap;
    std::function<void()> configurationChanged;

    AudioFormat inputFormat() const override { return format; }
    void installTap(const AudioFormat &given, TapHandler handler) override
    {
        tapFormat = given;
        tap = std::move(handler);
    }
    void removeTap() override
    {
        tapFormat.reset();
        tap = nullptr;
    }
    std::expected<void, QString> start() override
    {
        ++starts;
        if (failingStarts > 0) {
            --failingStarts;
            return std::unexpected(QStringLiteral("device busy"));
        }
        running = true;
        return {};
    }
    void stop() override { running = false; }
    bool isRunning() const override { return running; }
    void setConfigurationChangeHandler(std::function<void()> handler) override
    {
        configurationChanged = std::move(handler);
    }

    void deliver(const AudioBuffer &buffer)
    {
        if (tap)
            tap(buffer);
    }
    // The device changed: a new format (or none), and the notice.
    void change(AudioFormat next)
    {
        format = next;
        running = running && next.isUsable();
        if (configurationChanged)
            configurationChanged();
    }
};

// Converts by tagging: the output's first sample is the input's first sample, so order shows.
class TaggingConverters final : public AudioConverterFactory
{
public:
    int made = 0;
    std::vector<qint64> capacities;

    std::unique_ptr<AudioConverter> make(const AudioFormat &from, const AudioFormat &to) override
    {
        ++made;
        class Converter final : public AudioConverter
        {
        public:
            Converter(TaggingConverters &owner, AudioFormat from, AudioFormat to)
                : owner(owner)
                , from(from)
                , to(to)
            { }
            AudioFormat inputFormat() const override { return from; }
            std::optional<AudioBuffer> convert(const AudioBuffer &input, qint64 capacityFrames) override
            {
                owner.capacities.push_back(capacityFrames);
                return AudioBuffer{to, {input.samples.empty() ? 0.0F : input.samples.front()}};
            }

        private:
            TaggingConverters &owner;
            AudioFormat from;
            AudioFormat to;
        };
        return std::make_unique<Converter>(*this, from, to);
    }
};

// A recogniser whose results the test scripts; it records the first sample of every buffer.
class ScriptedRecognizer final : public SpeechRecognizer
{
public:
    std::optional<AudioFormat> format = recognizer;
    std::optional<QString> failure;

    std::expected<void, QString> prepare(const QStringList &strings) override
    {
        contextualStrings = strings;
        return {};
    }
    std::optional<AudioFormat> bestAudioFormat(const AudioFormat &) const override { return format; }
    void append(const AudioBuffer &buffer) override
    {
        std::scoped_lock guard(mutex);
        heard.push_back(buffer.samples.front());
    }
    void finishInput() override { end(false); }
    void cancel() override { end(true); }
    std::expected<void, QString> run(const std::function<void(const Result &)> &onResult) override
    {
        std::unique_lock guard(mutex);
        for (;;) {
            changed.wait(guard, [&] { return !script.empty() || finished; });
            if (cancelled)
                return {};
            if (script.empty())
                break;
            const Result next = script.front();
            script.erase(script.begin());
            guard.unlock();
            onResult(next);
            guard.lock();
        }
        if (failure)
            return std::unexpected(*failure);
        return {};
    }

    void say(std::vector<Result> results)
    {
        std::scoped_lock guard(mutex);
        script.insert(script.end(), results.begin(), results.end());
        changed.notify_all();
    }
    std::vector<float> heardSoFar()
    {
        std::scoped_lock guard(mutex);
        return heard;
    }

    QStringList contextualStrings;

private:
    void end(bool isCancel)
    {
        std::scoped_lock guard(mutex);
        finished = true;
        cancelled = cancelled || isCancel;
        changed.notify_all();
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Result> script;
    std::vector<float> heard;
    bool finished = false;
    bool cancelled = false;
};

class ScriptedRecognizers final : public SpeechRecognizerFactory, public SpeechModels
{
public:
    ScriptedRecognizer *last = nullptr;
    std::optional<QString> installFailure;
    std::function<void()> whileInstalling;
    bool hasFormat = true;

    std::unique_ptr<SpeechRecognizer> make(const QString &) override
    {
        auto made = std::make_unique<ScriptedRecognizer>();
        if (!hasFormat)
            made->format.reset();
        last = made.get();
        return made;
    }
    std::expected<void, QString> ensureInstalled(const QString &) override
    {
        if (whileInstalling)
            whileInstalling();
        if (installFailure)
            return std::unexpected(*installFailure);
        return {};
    }
};

AudioBuffer buffer(const AudioFormat &format, qint64 frames, float value)
{
    return AudioBuffer{format, std::vector<float>(size_t(frames * format.channelCount), value)};
}

struct Fixture {
    SimulatedEngine engine;
    TaggingConverters converters;
    ScriptedRecognizers recognizers;
    ManualClock clock;
    SpeechService service{SpeechService::Environment{engine, converters, recognizers, recognizers, clock}};
    std::vector<float> streamed;
    std::vector<double> levels;
    std::vector<QString> partials;
    int interruptions = 0;

    Fixture()
    {
        service.onLevel = [this](double level) { levels.push_back(level); };
        service.onPartialText = [this](const QString &text) { partials.push_back(text); };
        service.onInterruption = [this] { ++interruptions; };
    }
    void stream()
    {
        ASSERT_TRUE(
            service.beginStreaming(recognizer, [this](AudioBuffer b) { streamed.push_back(b.samples.front()); }));
    }
    void change(AudioFormat next)
    {
        engine.change(next);
        service.waitForRestarts();
    }
    // Lets the retry timers run: 50 ms at a time, each followed by the restart it schedules.
    void advanceRetries(int count)
    {
        for (int i = 0; i < count; ++i) {
            clock.advance(50ms);
            service.waitForRestarts();
        }
        QCoreApplication::processEvents();
    }
};

TEST(SpeechServiceCapture, Level)
{
    struct Case {
        const char *name;
        AudioBuffer input;
        double expected;
    };
    AudioBuffer stereo{AudioFormat{48000, 2}, {}};
    for (int i = 0; i < 1024; ++i)
        stereo.samples.insert(stereo.samples.end(), {0.05F, 0.9F});
    const Case cases[] = {
        {"constant 0.05", buffer(mic48k, 1024, 0.05F), 0.4},
        {"constant 0.2 is capped", buffer(mic48k, 1024, 0.2F), 1.0},
        {"silence", buffer(mic48k, 1024, 0.0F), 0.0},
        {"no frames", buffer(mic48k, 0, 0.0F), 0.0},
        {"first channel only", stereo, 0.4},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        // Summed in single precision.
        EXPECT_NEAR(SpeechService::level(c.input), c.expected, 1e-5);
    }
    EXPECT_EQ(SpeechService::outputCapacity(AudioFormat{44100, 1}, recognizer, 1024), 373);
    EXPECT_EQ(SpeechService::outputCapacity(mic48k, recognizer, 1024), 343);
}

TEST(SpeechServiceCapture, PendingAudioIsBoundedAndReplayedInOrder)
{
    struct Case {
        const char *name;
        qint64 firstFrames;
        std::vector<float> expected;
    };
    // 30 s at 48 kHz is 1,440,000 frames.
    const Case cases[] = {
        {"just under the bound keeps the next buffer", 1'439'999, {1, 2, 4}},
        {"at the bound drops it", 1'440'000, {1, 4}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        ASSERT_TRUE(f.service.startCapture());
        f.engine.deliver(buffer(mic48k, c.firstFrames, 1));
        f.engine.deliver(buffer(mic48k, 1024, 2));
        f.engine.deliver(buffer(mic48k, 1024, 3));
        f.stream();
        f.engine.deliver(buffer(mic48k, 1024, 4));
        EXPECT_EQ(f.streamed, c.expected);
        // Levels are reported for every buffer, kept or dropped.
        QCoreApplication::processEvents();
        EXPECT_EQ(f.levels.size(), 4u);
    }
}

TEST(SpeechServiceCapture, ConverterIsReusedUntilTheFormatChanges)
{
    Fixture f;
    ASSERT_TRUE(f.service.startCapture());
    f.stream();
    f.engine.deliver(buffer(mic48k, 1024, 1));
    f.engine.deliver(buffer(mic48k, 1024, 2));
    EXPECT_EQ(f.converters.made, 1);
    f.engine.deliver(buffer(mic44k, 1024, 3));
    EXPECT_EQ(f.converters.made, 2);
    EXPECT_EQ(f.converters.capacities, (std::vector<qint64>{343, 343, 373}));
    EXPECT_EQ(f.streamed, (std::vector<float>{1, 2, 3}));
}

TEST(SpeechServiceCapture, StartFailures)
{
    {
        Fixture f;
        f.engine.format = AudioFormat{0, 0};
        EXPECT_EQ(f.service.startCapture(), std::unexpected(SpeechServiceError{SpeechServiceError::noInput, {}}));
    }
    {
        Fixture f;
        ASSERT_TRUE(f.service.startCapture());
        EXPECT_EQ(f.service.startCapture(), std::unexpected(SpeechServiceError{SpeechServiceError::cancelled, {}}));
    }
    {
        Fixture f;
        f.service.stopInput();
        EXPECT_EQ(f.service.startCapture(), std::unexpected(SpeechServiceError{SpeechServiceError::cancelled, {}}));
    }
    {
        Fixture f;
        f.engine.failingStarts = 1;
        EXPECT_EQ(f.service.startCapture(),
            std::unexpected(SpeechServiceError{SpeechServiceError::engineFailed, QStringLiteral("device busy")}));
        EXPECT_TRUE(f.service.isStopped());
        EXPECT_FALSE(f.engine.tapFormat);
    }
}

TEST(SpeechServiceCapture, LateBuffersAfterStopChangeNothing)
{
    Fixture f;
    ASSERT_TRUE(f.service.startCapture());
    SimulatedEngine::TapHandler tap = f.engine.tap;
    f.service.stopInput();
    f.service.stopInput();
    tap(buffer(mic48k, 1024, 1));
    EXPECT_FALSE(f.service.beginStreaming(recognizer, [](AudioBuffer) {}));
    QCoreApplication::processEvents();
    EXPECT_TRUE(f.levels.empty());
    EXPECT_FALSE(f.engine.running);
}

TEST(SpeechServiceCapture, DeviceChanges)
{
    struct Case {
        const char *name;
        std::function<void(Fixture &)> act;
        int starts;
        int interruptions;
        std::optional<AudioFormat> tapFormat;
    };
    const Case cases[] = {
        {"same format while running is no restart", [](Fixture &f) { f.change(mic48k); }, 1, 0, mic48k},
        {"new format reinstalls the tap", [](Fixture &f) { f.change(mic44k); }, 2, 0, mic44k},
        {"eight changes are survived",
            [](Fixture &f) {
                for (int i = 0; i < 8; ++i)
                    f.change(i % 2 == 0 ? mic44k : mic48k);
            },
            9, 0, mic48k},
        {"the ninth change gives up",
            [](Fixture &f) {
                for (int i = 0; i < 9; ++i)
                    f.change(i % 2 == 0 ? mic44k : mic48k);
            },
            9, 1, std::nullopt},
        {"input comes back within the retries",
            [](Fixture &f) {
                f.change(AudioFormat{0, 0});
                f.advanceRetries(30);
                f.engine.format = mic44k;
                f.advanceRetries(1);
            },
            2, 0, mic44k},
        {"no input for 60 retries gives up",
            [](Fixture &f) {
                f.change(AudioFormat{0, 0});
                f.advanceRetries(60);
            },
            1, 1, std::nullopt},
        {"a failing start is retried",
            [](Fixture &f) {
                f.engine.failingStarts = 2;
                f.change(mic44k);
                f.advanceRetries(1);
                f.advanceRetries(1);
            },
            4, 0, mic44k},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        ASSERT_TRUE(f.service.startCapture());
        c.act(f);
        f.service.waitForRestarts();
        QCoreApplication::processEvents();
        EXPECT_EQ(f.engine.starts, c.starts);
        EXPECT_EQ(f.interruptions, c.interruptions);
        EXPECT_EQ(f.engine.tapFormat, c.tapFormat);
        EXPECT_EQ(f.service.isStopped(), c.interruptions > 0);
    }
}

using Result = SpeechRecognizer::Result;

TEST(SpeechServiceRecognition, AssemblesTheTranscript)
{
    struct Case {
        const char *name;
        std::vector<Result> results;
        std::vector<QString> partials;
        QString transcript;
    };
    const Case cases[] = {
        {"volatile results are shown until replaced",
            {{QStringLiteral("こん"), false}, {QStringLiteral("こんにちは"), false},
                {QStringLiteral("こんにちは。"), true}, {QStringLiteral("今日"), false}},
            {QStringLiteral("こん"), QStringLiteral("こんにちは"), QStringLiteral("こんにちは。"),
                QStringLiteral("こんにちは。今日")},
            QStringLiteral("こんにちは。")},
        {"final results join without separators", {{QStringLiteral("Hello."), true}, {QStringLiteral(" World"), true}},
            {QStringLiteral("Hello."), QStringLiteral("Hello. World")}, QStringLiteral("Hello. World")},
        {"no results", {}, {}, QString()},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        ASSERT_TRUE(f.service.startCapture());
        ASSERT_TRUE(f.service.prepareAnalyzer(QStringLiteral("ja_JP"), {QStringLiteral("Sorawen")}));
        EXPECT_EQ(f.recognizers.last->contextualStrings, QStringList{QStringLiteral("Sorawen")});
        f.recognizers.last->say(c.results);
        EXPECT_EQ(f.service.finish(), c.transcript);
        QCoreApplication::processEvents();
        EXPECT_EQ(f.partials, c.partials);
        EXPECT_TRUE(f.service.isStopped());
    }
}

TEST(SpeechServiceRecognition, AudioFromBeforePreparationGoesFirst)
{
    Fixture f;
    ASSERT_TRUE(f.service.startCapture());
    f.engine.deliver(buffer(mic48k, 1024, 1));
    f.engine.deliver(buffer(mic48k, 1024, 2));
    ASSERT_TRUE(f.service.prepareAnalyzer(QStringLiteral("en_US"), {}));
    f.engine.deliver(buffer(mic48k, 1024, 3));
    ScriptedRecognizer *recognizer = f.recognizers.last;
    EXPECT_EQ(recognizer->heardSoFar(), (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(f.service.finish(), QString());
    f.engine.deliver(buffer(mic48k, 1024, 4));
    EXPECT_EQ(recognizer->heardSoFar(), (std::vector<float>{1, 2, 3}));
}

TEST(SpeechServiceRecognition, Failures)
{
    struct Case {
        const char *name;
        std::function<void(Fixture &)> arrange;
        SpeechServiceError expected;
    };
    const Case cases[] = {
        {"model installation fails",
            [](Fixture &f) { f.recognizers.installFailure = QStringLiteral("The network connection was lost."); },
            {SpeechServiceError::modelInstallationFailed, QStringLiteral("The network connection was lost.")}},
        {"no input",
            [](Fixture &f) {
                f.engine.format = AudioFormat{0, 0};
            },
            {SpeechServiceError::noInput, {}}},
        {"no usable format", [](Fixture &f) { f.recognizers.hasFormat = false; },
            {SpeechServiceError::unsupportedFormat, {}}},
        {"cancelled during preparation",
            [](Fixture &f) { f.recognizers.whileInstalling = [&f] { f.service.cancel(); }; },
            {SpeechServiceError::cancelled, {}}},
        {"finished during preparation",
            [](Fixture &f) { f.recognizers.whileInstalling = [&f] { EXPECT_EQ(f.service.finish(), QString()); }; },
            {SpeechServiceError::cancelled, {}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        ASSERT_TRUE(f.service.startCapture());
        c.arrange(f);
        EXPECT_EQ(f.service.prepareAnalyzer(QStringLiteral("ja_JP"), {}), std::unexpected(c.expected));
        QCoreApplication::processEvents();
        EXPECT_TRUE(f.partials.empty());
    }

    Fixture f;
    ASSERT_TRUE(f.service.startCapture());
    ASSERT_TRUE(f.service.prepareAnalyzer(QStringLiteral("ja_JP"), {}));
    f.recognizers.last->failure = QStringLiteral("decoder crashed");
    EXPECT_EQ(f.service.finish(),
        std::unexpected(SpeechServiceError{SpeechServiceError::engineFailed, QStringLiteral("decoder crashed")}));
}

TEST(SpeechServiceError, Messages)
{
    EXPECT_EQ((SpeechServiceError{
                   SpeechServiceError::modelInstallationFailed, QStringLiteral("The network connection was lost.")})
                  .description(),
        QStringLiteral(
            "音声認識モデルを導入できませんでした。ネット接続を確認してください。\nThe network connection was lost."));
    EXPECT_EQ((SpeechServiceError{SpeechServiceError::noInput, {}}).description(),
        QStringLiteral("利用できるマイクがありません。"));
    EXPECT_EQ((SpeechServiceError{SpeechServiceError::unsupportedFormat, {}}).description(),
        QStringLiteral("音声認識で使える音声形式がありません。"));
}

} // namespace
