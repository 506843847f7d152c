#include "speech/SpeechService.h"
#include "ManualClock.h"
#include "ScriptedRecognizer.h"
#include "SimulatedAudioEngine.h"
#include "TaggingConverters.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <cmath>

using namespace std::chrono_literals;

namespace {

const AudioFormat mic44k{44100, 2};

AudioBuffer buffer(const AudioFormat &format, qint64 frames, float value)
{
    return AudioBuffer{format, std::vector<float>(size_t(frames * format.channelCount), value)};
}

struct Fixture {
    SimulatedAudioEngine engine;
    TaggingConverters converters;
    ScriptedRecognizers recognizers;
    ManualClock clock;
    // Before the service: stopping it at its end still streams the converter's tail.
    std::vector<float> streamed;
    SpeechService service{SpeechService::Environment{engine, converters, recognizers, recognizers, clock}};
    std::vector<double> levels;
    std::vector<QString> partials;
    int interruptions = 0;

    Fixture()
    {
        service.onLevel = [this](double level) { levels.push_back(level); };
        service.onPartialText = [this](const QString &text) { partials.push_back(text); };
        service.onInterruption = [this] { ++interruptions; };
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
    // First-channel RMS, times 8, summed in single precision.
    EXPECT_NEAR(SpeechService::level(buffer(mic48k, 1024, 0.05F)), 0.4, 1e-5);
}

TEST(SpeechServiceCapture, ConverterIsReusedUntilTheFormatChanges)
{
    Fixture f;
    ASSERT_TRUE(f.service.startCapture().result());
    ASSERT_TRUE(
        f.service.beginStreaming(recognizerFormat, [&](AudioBuffer b) { f.streamed.push_back(b.samples.front()); }));
    f.engine.deliver(buffer(mic48k, 1024, 1));
    f.engine.deliver(buffer(mic48k, 1024, 2));
    EXPECT_EQ(f.converters.made, 1);
    f.engine.deliver(buffer(mic44k, 1024, 3));
    EXPECT_EQ(f.converters.made, 2);
    // Room for every converted frame of each buffer, whatever its rate.
    ASSERT_EQ(f.converters.capacities.size(), 3u);
    EXPECT_GE(f.converters.capacities[1], std::ceil(1024 * 16000 / 48000.0));
    EXPECT_GE(f.converters.capacities[2], std::ceil(1024 * 16000 / 44100.0));
    // What a converter holds back (-1) follows its last buffer, when it is replaced and at the stop.
    EXPECT_EQ(f.streamed, (std::vector<float>{1, 2, -1, 3}));
    f.service.stopInput();
    f.service.stopInput();
    EXPECT_EQ(f.streamed, (std::vector<float>{1, 2, -1, 3, -1}));
}

TEST(SpeechServiceCapture, StartFailures)
{
    struct Case {
        const char *name;
        std::function<void(Fixture &)> arrange;
        SpeechServiceError expected;
    };
    const Case cases[] = {
        {"the engine does not start", [](Fixture &f) { f.engine.failsToStart = true; },
            {SpeechServiceError::engineFailed, QStringLiteral("device busy")}},
        // Started, but nothing is ever heard: the microphone is not live.
        {"never heard", [](Fixture &f) { f.engine.isSilent = true; }, {SpeechServiceError::noInput, {}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        c.arrange(f);
        EXPECT_EQ(f.service.startCapture().result(), std::unexpected(c.expected));
        EXPECT_TRUE(f.service.isStopped());
        // A failed start leaves no microphone open.
        EXPECT_FALSE(f.engine.tapFormat);
        EXPECT_FALSE(f.engine.running);
    }
}

TEST(SpeechServiceCapture, NothingIsReportedAfterACancel)
{
    Fixture f;
    ASSERT_TRUE(f.service.startCapture().result());
    SimulatedAudioEngine::TapHandler tap = f.engine.tap;
    // The level of this buffer is still on its way to the main thread when the cancel comes.
    f.engine.deliver(buffer(mic48k, 1024, 1));
    f.service.cancel().waitForFinished();
    tap(buffer(mic48k, 1024, 1));
    EXPECT_FALSE(f.service.beginStreaming(recognizerFormat, [](AudioBuffer) {}));
    QCoreApplication::processEvents();
    EXPECT_TRUE(f.levels.empty());
    EXPECT_FALSE(f.engine.running);
}

TEST(SpeechServiceCapture, EachRecordingStopsOnlyItsOwnStream)
{
    // The fixture's own service shares the engine; these two make a stream each.
    Fixture f;
    f.engine.makesStreams = true;
    const SpeechService::Environment environment{f.engine, f.converters, f.recognizers, f.recognizers, f.clock};
    SpeechService first(environment);
    ASSERT_TRUE(first.startCapture().result());
    SpeechService second(environment);
    ASSERT_TRUE(second.startCapture().result());
    ASSERT_EQ(f.engine.streams.size(), 2u);
    // The first recording's cancel comes late, after the second one started.
    first.cancel().waitForFinished();
    EXPECT_FALSE(f.engine.streams[0]->running);
    EXPECT_TRUE(f.engine.streams[1]->running);
    EXPECT_TRUE(f.engine.streams[1]->tapFormat);
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
        {"new format reinstalls the tap", [](Fixture &f) { f.change(mic44k); }, 2, 0, mic44k},
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
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        ASSERT_TRUE(f.service.startCapture().result());
        c.act(f);
        f.service.waitForRestarts();
        QCoreApplication::processEvents();
        EXPECT_EQ(f.engine.starts, c.starts);
        EXPECT_EQ(f.interruptions, c.interruptions);
        EXPECT_EQ(f.engine.tapFormat, c.tapFormat);
        EXPECT_EQ(f.service.isStopped(), c.interruptions > 0);
    }
}

TEST(SpeechServiceRecognition, AssemblesTheTranscript)
{
    Fixture f;
    ASSERT_TRUE(f.service.startCapture().result());
    ASSERT_TRUE(f.service.prepareAnalyzer(QStringLiteral("ja_JP"), {QStringLiteral("Sorawen")}).result());
    EXPECT_EQ(f.recognizers.last.load()->contextualStrings, QStringList{QStringLiteral("Sorawen")});
    // A volatile result is shown until the next replaces it; finals join without separators.
    f.recognizers.last.load()->say({{QStringLiteral("こん"), false}, {QStringLiteral("こんにちは。"), true},
        {QStringLiteral(" World"), true}, {QStringLiteral("今日"), false}});
    EXPECT_EQ(f.service.finish().result(), QStringLiteral("こんにちは。 World"));
    QCoreApplication::processEvents();
    EXPECT_EQ(f.partials,
        (std::vector<QString>{QStringLiteral("こん"), QStringLiteral("こんにちは。"), QStringLiteral("こんにちは。 World"),
            QStringLiteral("こんにちは。 World今日")}));
    EXPECT_TRUE(f.service.isStopped());
}

TEST(SpeechServiceRecognition, AudioFromBeforePreparationGoesFirstUpToItsBound)
{
    Fixture f;
    ASSERT_TRUE(f.service.startCapture().result());
    f.engine.deliver(buffer(mic48k, 1024, 1));
    // 30 s at 48 kHz is 1,440,000 frames: once that much waits, later buffers are dropped.
    f.engine.deliver(buffer(mic48k, 1'440'000 - 1024, 2));
    f.engine.deliver(buffer(mic48k, 1024, 3));
    ASSERT_TRUE(f.service.prepareAnalyzer(QStringLiteral("en_US"), {}).result());
    f.engine.deliver(buffer(mic48k, 1024, 4));
    ScriptedRecognizer *recognizer = f.recognizers.last.load();
    EXPECT_EQ(recognizer->heardSoFar(), (std::vector<float>{1, 2, 4}));
    EXPECT_EQ(f.service.finish().result(), QString());
    f.engine.deliver(buffer(mic48k, 1024, 5));
    // The converter's tail (-1) ends the recording; nothing comes after the finish.
    EXPECT_EQ(recognizer->heardSoFar(), (std::vector<float>{1, 2, 4, -1}));
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
        {"cancelled during preparation",
            [](Fixture &f) { f.recognizers.whileInstalling = [&f] { f.service.cancel().waitForFinished(); }; },
            {SpeechServiceError::cancelled, {}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        ASSERT_TRUE(f.service.startCapture().result());
        c.arrange(f);
        EXPECT_EQ(f.service.prepareAnalyzer(QStringLiteral("ja_JP"), {}).result(), std::unexpected(c.expected));
        QCoreApplication::processEvents();
        EXPECT_TRUE(f.partials.empty());
    }

    Fixture f;
    ASSERT_TRUE(f.service.startCapture().result());
    ASSERT_TRUE(f.service.prepareAnalyzer(QStringLiteral("ja_JP"), {}).result());
    f.recognizers.last.load()->failure = QStringLiteral("decoder crashed");
    EXPECT_EQ(f.service.finish().result(),
        std::unexpected(SpeechServiceError{SpeechServiceError::engineFailed, QStringLiteral("decoder crashed")}));
}

} // namespace
