#include "speech/SpeechService.h"
#include "ManualClock.h"
#include "ScriptedRecognizer.h"
#include "SimulatedAudioEngine.h"
#include "TaggingConverters.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <condition_variable>
#include <mutex>

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
    void stream()
    {
        ASSERT_TRUE(
            service.beginStreaming(recognizerFormat, [this](AudioBuffer b) { streamed.push_back(b.samples.front()); }));
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
        ASSERT_TRUE(f.service.startCapture().result());
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
    ASSERT_TRUE(f.service.startCapture().result());
    f.stream();
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
        bool isStopped;
        // The first start of "started twice" keeps its microphone; every failure closes its own.
        bool isTapped;
    };
    const SpeechServiceError cancelled{SpeechServiceError::cancelled, {}};
    const Case cases[] = {
        {"no usable format", [](Fixture &f) { f.engine.format = AudioFormat{0, 0}; },
            {SpeechServiceError::noInput, {}}, false, false},
        {"started twice", [](Fixture &f) { ASSERT_TRUE(f.service.startCapture().result()); }, cancelled, false, true},
        {"already stopped", [](Fixture &f) { f.service.stopInput(); }, cancelled, true, false},
        {"the engine does not start", [](Fixture &f) { f.engine.failingStarts = 1; },
            {SpeechServiceError::engineFailed, QStringLiteral("device busy")}, true, false},
        // Started, but nothing is ever heard: the microphone is not live.
        {"never heard", [](Fixture &f) { f.engine.isSilent = true; }, {SpeechServiceError::noInput, {}}, true, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        c.arrange(f);
        EXPECT_EQ(f.service.startCapture().result(), std::unexpected(c.expected));
        EXPECT_EQ(f.service.isStopped(), c.isStopped);
        EXPECT_EQ(bool(f.engine.tapFormat), c.isTapped);
        EXPECT_EQ(f.engine.running, c.isTapped);
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
    SimulatedAudioEngine shared;
    shared.makesStreams = true;
    TaggingConverters converters;
    ScriptedRecognizers recognizers;
    ManualClock clock;
    const SpeechService::Environment environment{shared, converters, recognizers, recognizers, clock};
    SpeechService first(environment);
    ASSERT_TRUE(first.startCapture().result());
    SpeechService second(environment);
    ASSERT_TRUE(second.startCapture().result());
    ASSERT_EQ(shared.streams.size(), 2u);
    // The first recording's cancel comes late, after the second one started.
    first.cancel().waitForFinished();
    EXPECT_FALSE(shared.streams[0]->running);
    EXPECT_TRUE(shared.streams[1]->running);
    EXPECT_TRUE(shared.streams[1]->tapFormat);
    EXPECT_FALSE(shared.running);
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
        ASSERT_TRUE(f.service.startCapture().result());
        ASSERT_TRUE(f.service.prepareAnalyzer(QStringLiteral("ja_JP"), {QStringLiteral("Sorawen")}).result());
        EXPECT_EQ(f.recognizers.last.load()->contextualStrings, QStringList{QStringLiteral("Sorawen")});
        f.recognizers.last.load()->say(c.results);
        EXPECT_EQ(f.service.finish().result(), c.transcript);
        QCoreApplication::processEvents();
        EXPECT_EQ(f.partials, c.partials);
        EXPECT_TRUE(f.service.isStopped());
    }
}

TEST(SpeechServiceRecognition, AudioFromBeforePreparationGoesFirst)
{
    Fixture f;
    ASSERT_TRUE(f.service.startCapture().result());
    f.engine.deliver(buffer(mic48k, 1024, 1));
    f.engine.deliver(buffer(mic48k, 1024, 2));
    ASSERT_TRUE(f.service.prepareAnalyzer(QStringLiteral("en_US"), {}).result());
    f.engine.deliver(buffer(mic48k, 1024, 3));
    ScriptedRecognizer *recognizer = f.recognizers.last.load();
    EXPECT_EQ(recognizer->heardSoFar(), (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(f.service.finish().result(), QString());
    f.engine.deliver(buffer(mic48k, 1024, 4));
    // The converter's tail (-1) ends the recording; nothing comes after the finish.
    EXPECT_EQ(recognizer->heardSoFar(), (std::vector<float>{1, 2, 3, -1}));
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
        {"no usable format", [](Fixture &f) { f.recognizers.hasFormat = false; },
            {SpeechServiceError::unsupportedFormat, {}}},
        {"cancelled during preparation",
            [](Fixture &f) { f.recognizers.whileInstalling = [&f] { f.service.cancel().waitForFinished(); }; },
            {SpeechServiceError::cancelled, {}}},
        {"finished during preparation",
            [](Fixture &f) {
                f.recognizers.whileInstalling = [&f] { EXPECT_EQ(f.service.finish().result(), QString()); };
            },
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
