#include "core/SystemClock.h"
#include "platform/linux/PulseAudioEngine.h"
#include "engines/SoxrConverter.h"
#include "speech/SpeechService.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>

#include "WaitFor.h"

#include <gtest/gtest.h>

// Runs inside tests/e2e/with-audio: a private PulseAudio server whose default source
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

TEST(AudioCapture, AMicrophoneThatDisappearsEndsTheRecording)
{
    if (!QFile::exists(recording))
        GTEST_SKIP() << "the shared test data is not beside the project";
    PulseAudioEngine engine;
    SoxrConverterFactory converters;
    NoRecognition recognition;
    SystemClock clock;
    SpeechService service{SpeechService::Environment{engine, converters, recognition, recognition, clock}};
    double loudest = 0;
    int interruptions = 0;
    service.onLevel = [&](double level) { loudest = std::max(loudest, level); };
    service.onInterruption = [&] { ++interruptions; };
    ASSERT_TRUE(service.startCapture().result());
    QProcess player;
    player.start(QStringLiteral("paplay"), {QStringLiteral("-d"), QStringLiteral("mic_feed"), recording});
    ASSERT_TRUE(waitFor([&] { return loudest > 0.1; }, 10000));
    // Without the null sinks only the fallback sink's monitor is left as the default source: it hears
    // the machine's own output, not a microphone, so after about three seconds of retries the
    // recording ends.
    const QStringList unload{QStringLiteral("unload-module"), QStringLiteral("module-null-sink")};
    ASSERT_EQ(QProcess::execute(QStringLiteral("pactl"), unload), 0);
    EXPECT_TRUE(waitFor([&] { return interruptions == 1; }, 10000));
    EXPECT_TRUE(service.isStopped());
    player.kill();
    player.waitForFinished();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
