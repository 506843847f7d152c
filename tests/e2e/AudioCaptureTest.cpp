#include "core/SystemClock.h"
#include "platform/linux/PulseAudioEngine.h"
#include "engines/SoxrConverter.h"
#include "speech/SpeechService.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

#include "WaitFor.h"

#include <gtest/gtest.h>

#include <atomic>

// These tests run inside tests/e2e/with-audio: a private PulseAudio server whose default source
// hears what is played into the null sink "mic_feed".
namespace {

const QString recording = QStringLiteral(SORAWEN_TESTDATA "/jfk-en.wav");

// Nothing to recognise here: the session is never prepared.
class NoRecognition final : public SpeechRecognizerFactory, public SpeechModels
{
public:
    std::unique_ptr<SpeechRecognizer> make(const QString &) override { return nullptr; }
    void prewarm(const QString &) override { }
    std::expected<void, QString> ensureInstalled(const QString &) override { return {}; }
};

class AudioCapture : public ::testing::Test
{
protected:
    PulseAudioEngine engine;
    SoxrConverterFactory converters;
    NoRecognition recognition;
    SystemClock clock;
    SpeechService service{SpeechService::Environment{engine, converters, recognition, recognition, clock}};
    std::atomic<int> streamedFrames{0};
    double loudest = 0;
    int interruptions = 0;
    QProcess player;

    void SetUp() override
    {
        if (!QFile::exists(recording))
            GTEST_SKIP() << "the shared test data is not beside the project";
        service.onLevel = [this](double level) { loudest = std::max(loudest, level); };
        service.onInterruption = [this] { ++interruptions; };
    }
    void TearDown() override
    {
        player.kill();
        player.waitForFinished();
    }
    void play()
    {
        player.start(QStringLiteral("paplay"), {QStringLiteral("-d"), QStringLiteral("mic_feed"), recording});
    }
};

TEST_F(AudioCapture, TheDefaultSourceIsHeardAndConverted)
{
    const AudioFormat format = engine.inputFormat();
    ASSERT_TRUE(format.isUsable());
    ASSERT_TRUE(service.startCapture().result());
    play();
    ASSERT_TRUE(service.beginStreaming(
        AudioFormat{16000, 1}, [this](AudioBuffer buffer) { streamedFrames += int(buffer.frameLength()); }));
    ASSERT_TRUE(waitFor([&] { return streamedFrames > 16000 * 2 && loudest > 0.3; }, 10000))
        << streamedFrames << " frames, loudest " << loudest;
    service.stopInput();
    EXPECT_FALSE(engine.isRunning());
}

TEST_F(AudioCapture, AMicrophoneThatDisappearsEndsTheRecording)
{
    ASSERT_TRUE(service.startCapture().result());
    play();
    ASSERT_TRUE(waitFor([&] { return loudest > 0.1; }, 10000));
    auto pactl = [](const char *module) {
        return QProcess::execute(QStringLiteral("pactl"), {QStringLiteral("unload-module"), QLatin1StringView(module)});
    };
    // Without the null sinks only the fallback sink's monitor is left as the default source: it hears
    // the machine's own output, not a microphone, so after about three seconds of retries the
    // recording ends.
    ASSERT_EQ(pactl("module-null-sink"), 0);
    EXPECT_TRUE(waitFor([&] { return interruptions == 1; }, 10000));
    EXPECT_TRUE(service.isStopped());
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
