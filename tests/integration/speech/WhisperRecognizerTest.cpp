#include "engines/WhisperRecognizer.h"
#include "engines/SoxrConverter.h"
#include "speech/WavFile.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <future>

// The real engines on the test files of ../shared/testdata (models with the real architectures
// but untrained weights: what they say is meaningless, how they run is not).
namespace {

QString testFile(const char *name)
{
    return QStringLiteral(SORAWEN_TESTDATA "/") + QLatin1StringView(name);
}

class WithTestData : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!QFile::exists(testFile("whisper-test-tiny.bin")))
            GTEST_SKIP() << "the shared test data is not beside the project";
    }
};

AudioBuffer jfk()
{
    std::expected<AudioBuffer, QString> audio = WavFile::read(testFile("jfk-en.wav"));
    EXPECT_TRUE(audio) << audio.error().toStdString();
    return audio.value_or(AudioBuffer{});
}

TEST_F(WithTestData, WavFilesAreReadOrRefused)
{
    const AudioBuffer audio = jfk();
    EXPECT_EQ(audio.format, (AudioFormat{16000, 1}));
    EXPECT_NEAR(double(audio.frameLength()) / 16000.0, 11.0, 0.01);

    EXPECT_FALSE(WavFile::decode(QByteArray()));
    EXPECT_FALSE(WavFile::decode(QByteArray("RIFF\x04\x00\x00\x00WAVE", 12)));
    EXPECT_EQ(WavFile::decode("not a wav file at all").error(), QStringLiteral("WAV ファイルではありません。"));
    EXPECT_FALSE(WavFile::read(QStringLiteral("/nonexistent.wav")));
}

TEST_F(WithTestData, SileroFindsTheFourPhrasesOfTheRecording)
{
    std::expected<std::unique_ptr<VoiceActivity>, QString> voice
        = VoiceActivity::load(testFile("silero-vad-v6.2.0.bin"));
    ASSERT_TRUE(voice) << voice.error().toStdString();
    const std::vector<VoiceActivity::Segment> segments = (*voice)->segments(jfk().samples);
    const std::vector<VoiceActivity::Segment> expected{{0.32, 2.27}, {3.27, 4.41}, {5.38, 7.68}, {8.16, 10.62}};
    ASSERT_EQ(segments.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_NEAR(segments[i].start, expected[i].start, 0.05);
        EXPECT_NEAR(segments[i].end, expected[i].end, 0.05);
    }
}

WhisperRecognizer::Options tinyOptions()
{
    return {testFile("whisper-test-tiny.bin"), testFile("silero-vad-v6.2.0.bin"), QStringLiteral("en"), 1.0, 2};
}

TEST_F(WithTestData, TheRealEngineRunsThroughARecording)
{
    WhisperRecognizer recognizer(tinyOptions());
    ASSERT_TRUE(recognizer.prepare({QStringLiteral("Sorawen")}));
    EXPECT_EQ(recognizer.bestAudioFormat(AudioFormat{48000, 2}), (AudioFormat{16000, 1}));
    EXPECT_EQ(recognizer.bestAudioFormat(AudioFormat{0, 0}), std::nullopt);
    std::vector<SpeechRecognizer::Result> results;
    std::future<std::expected<void, QString>> running = std::async(
        std::launch::async, [&] { return recognizer.run([&](const auto &result) { results.push_back(result); }); });
    const AudioBuffer audio = jfk();
    for (size_t at = 0; at < audio.samples.size(); at += 1024) {
        const auto end = std::min(audio.samples.size(), at + 1024);
        recognizer.append(AudioBuffer{
            audio.format, std::vector<float>(audio.samples.begin() + long(at), audio.samples.begin() + long(end))});
    }
    recognizer.finishInput();
    ASSERT_TRUE(running.get());
    // The four phrases close four segments: each ends in a final result.
    EXPECT_EQ(std::count_if(results.begin(), results.end(), [](const auto &r) { return r.isFinal; }), 4);
}

TEST_F(WithTestData, TheParakeetEngineRunsThroughARecording)
{
    WhisperRecognizer::Options options = tinyOptions();
    options.modelFile = testFile("parakeet-test-tdt.bin");
    options.engine = WhisperRecognizer::Engine::parakeet;
    WhisperRecognizer recognizer(options);
    ASSERT_TRUE(recognizer.prepare({}));
    std::vector<SpeechRecognizer::Result> results;
    std::future<std::expected<void, QString>> running = std::async(
        std::launch::async, [&] { return recognizer.run([&](const auto &result) { results.push_back(result); }); });
    recognizer.append(jfk());
    recognizer.finishInput();
    ASSERT_TRUE(running.get());
    EXPECT_EQ(std::count_if(results.begin(), results.end(), [](const auto &r) { return r.isFinal; }), 4);

    // Each engine refuses the other's files instead of failing inside the library.
    options.modelFile = testFile("whisper-test-tiny.bin");
    EXPECT_FALSE(WhisperRecognizer(options).prepare({}));
    options.modelFile = testFile("parakeet-test-tdt.bin");
    options.engine = WhisperRecognizer::Engine::whisper;
    EXPECT_FALSE(WhisperRecognizer(options).prepare({}));
}

TEST_F(WithTestData, CancellingEndsTheSessionWithoutResults)
{
    WhisperRecognizer::Options options = tinyOptions();
    options.vadModelFile.clear();
    WhisperRecognizer recognizer(options);
    ASSERT_TRUE(recognizer.prepare({}));
    const AudioBuffer audio = jfk();
    recognizer.append(audio);
    recognizer.append(audio);
    std::atomic<int> afterCancel{0};
    std::atomic<bool> isCancelled{false};
    std::future<std::expected<void, QString>> running = std::async(std::launch::async, [&] {
        return recognizer.run([&](const auto &) {
            if (isCancelled)
                ++afterCancel;
        });
    });
    // The first volatile decode of 22 s is under way.
    ASSERT_EQ(running.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    isCancelled = true;
    recognizer.cancel();
    EXPECT_TRUE(running.get());
    EXPECT_EQ(afterCancel.load(), 0);
}

TEST_F(WithTestData, BadModelFilesAreRefusedWithAReason)
{
    QTemporaryDir folder;
    QFile tiny(testFile("whisper-test-tiny.bin"));
    ASSERT_TRUE(tiny.open(QIODevice::ReadOnly));
    const QByteArray model = tiny.readAll();
    struct Case {
        const char *name;
        QByteArray bytes;
    };
    const Case cases[] = {
        {"not a model", QByteArray("this is not a model").repeated(100)},
        {"empty", QByteArray()},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const QString path = folder.filePath(QLatin1StringView(c.name));
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(c.bytes);
        file.close();
        WhisperRecognizer recognizer({path, {}, QStringLiteral("en"), 1.0, 1});
        const std::expected<void, QString> prepared = recognizer.prepare({});
        ASSERT_FALSE(prepared);
        EXPECT_TRUE(prepared.error().contains(path));
    }
    WhisperRecognizer missing({QStringLiteral("/nonexistent/model.bin"), {}, QStringLiteral("en"), 1.0, 1});
    EXPECT_EQ(missing.prepare({}).error(), QStringLiteral("音声認識モデルがありません: /nonexistent/model.bin"));
}

TEST(SoxrConverter, ResamplesAndMixesDown)
{
    SoxrConverterFactory factory;
    std::unique_ptr<AudioConverter> converter = factory.make(AudioFormat{44100, 2}, AudioFormat{16000, 1});
    ASSERT_TRUE(converter);
    qint64 produced = 0;
    for (int i = 0; i < 100; ++i) {
        AudioBuffer input{AudioFormat{44100, 2}, std::vector<float>(2048, 0.25F)};
        std::optional<AudioBuffer> output = converter->convert(input, 373);
        ASSERT_TRUE(output);
        EXPECT_LE(output->frameLength(), 373);
        produced += output->frameLength();
    }
    // 102,400 frames at 44.1 kHz are 37,152 at 16 kHz; the filter holds back its delay (tens of ms).
    EXPECT_NEAR(double(produced), 37152.0, 37152.0 * 0.03);
    EXPECT_FALSE(converter->convert(AudioBuffer{AudioFormat{48000, 1}, std::vector<float>(10)}, 10));
    EXPECT_EQ(factory.make(AudioFormat{0, 0}, AudioFormat{16000, 1}), nullptr);
}

} // namespace
