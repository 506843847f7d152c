#include "engines/WhisperRecognizer.h"
#include "engines/SoxrConverter.h"
#include "engines/SpeechGate.h"
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

// A quiet microphone's noise floor (about -54 dBFS), the same every run.
std::vector<float> silence(double seconds)
{
    std::vector<float> samples(size_t(seconds * 16000));
    unsigned seed = 1;
    for (float &sample : samples) {
        seed = seed * 1664525U + 1013904223U;
        sample = (float(seed >> 8) / 16777216.0F - 0.5F) * 0.004F;
    }
    return samples;
}

std::vector<float> joined(std::initializer_list<std::vector<float>> parts)
{
    std::vector<float> all;
    for (const std::vector<float> &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::vector<float> jfkBetween(double from, double to)
{
    const std::vector<float> all = jfk().samples;
    return std::vector<float>(
        all.begin() + long(from * 16000), all.begin() + long(std::min(to * 16000, double(all.size()))));
}

TEST_F(WithTestData, OnlyHeardSpeechIsDecoded)
{
    struct Case {
        const char *name;
        std::vector<float> audio;
        size_t segments;
        // Where the speech starts and ends in `audio`: the segments must cover it whole.
        double speechStart = 0;
        double speechEnd = 0;
    };
    const Case cases[] = {
        {"a minute of silence, hands-free", silence(60), 0},
        // The detector hears four windows of speech in this burst, as it would a start sound picked up.
        {"a burst then silence", joined({silence(1), jfkBetween(1.0, 1.1), silence(4)}), 0},
        {"speech after two seconds of silence", joined({silence(2), jfkBetween(0, 11)}), 4, 2.32, 12.62},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::expected<std::unique_ptr<VoiceActivity>, QString> voice
            = VoiceActivity::load(testFile("silero-vad-v6.2.0.bin"));
        ASSERT_TRUE(voice);
        SpeechGate gate(voice->get());
        std::vector<SpeechGate::Segment> segments;
        for (size_t at = 0; at < c.audio.size(); at += 1000) {
            const std::vector<SpeechGate::Segment> closed
                = gate.follow(c.audio.data() + at, std::min<size_t>(1000, c.audio.size() - at));
            segments.insert(segments.end(), closed.begin(), closed.end());
            ASSERT_LE(gate.keepFrom(), at + 1000);
        }
        if (std::optional<SpeechGate::Segment> last = gate.finish())
            segments.push_back(*last);
        EXPECT_EQ(segments.size(), c.segments);
        if (!segments.empty()) {
            // The first word is kept whole, and so is the last; the silence before is not decoded.
            EXPECT_LE(double(segments.front().start) / 16000, c.speechStart - 0.1);
            EXPECT_GE(double(segments.front().start) / 16000, c.speechStart - 1.0);
            EXPECT_GE(double(segments.back().end) / 16000, c.speechEnd);
            for (const SpeechGate::Segment &segment : segments)
                EXPECT_GE(segment.speech, SpeechGate::minimumSpeech);
        }

        // The recogniser decodes what the gate lets through and nothing else, with a session
        // loaded afresh and again with the one the first recording left loaded.
        WhisperRecognizer::releaseWarm();
        std::vector<QString> texts[2];
        for (std::vector<QString> &heard : texts) {
            WhisperRecognizer recognizer(tinyOptions());
            ASSERT_TRUE(recognizer.prepare({}));
            recognizer.append(AudioBuffer{AudioFormat{16000, 1}, c.audio});
            recognizer.finishInput();
            ASSERT_TRUE(recognizer.run([&](const auto &result) { heard.push_back(result.text); }));
        }
        EXPECT_EQ(texts[0].empty(), c.segments == 0);
        // Nothing of the first recording lingers in the kept decoding state or voice detector.
        EXPECT_EQ(texts[1], texts[0]);
    }
}

TEST(SilencePhrases, StockAnswersToNoiseAreKnown)
{
    struct Case {
        const char *text;
        bool isSilence;
    };
    const Case cases[] = {
        {"ご視聴ありがとうございました", true},
        {" ご視聴ありがとうございました。", true},
        {" Thank you.", true},
        {" Thank you. Thank you.", true},
        {"[BLANK_AUDIO]", true},
        {"(拍手)", true},
        {"（拍手）ありがとうございました", true},
        {" [Music] ♪", true},
        {" Thank you for the report.", false},
        {"会議は三時からです。", false},
        {" YouTube", false},
        {"", false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(isSilencePhrase(QString::fromUtf8(c.text)), c.isSilence);
    }
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
    // 102,400 frames at 44.1 kHz are 37,152 at 16 kHz; the filter holds back its delay (tens of ms)
    // until it is flushed.
    EXPECT_NEAR(double(produced), 37152.0, 37152.0 * 0.03);
    EXPECT_LT(double(produced), 37152.0 - 100);
    const AudioBuffer tail = converter->flush();
    EXPECT_EQ(tail.format, (AudioFormat{16000, 1}));
    EXPECT_NEAR(double(produced + tail.frameLength()), 37152.0, 2.0);
    EXPECT_EQ(converter->flush().frameLength(), 0);
    EXPECT_FALSE(converter->convert(AudioBuffer{AudioFormat{48000, 1}, std::vector<float>(10)}, 10));
    EXPECT_EQ(factory.make(AudioFormat{0, 0}, AudioFormat{16000, 1}), nullptr);
}

} // namespace
