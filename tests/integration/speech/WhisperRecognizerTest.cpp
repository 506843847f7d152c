#include "engines/ChosenRecognizers.h"
#include "engines/GatedRecognizer.h"
#include "engines/HttpModelStore.h"
#include "engines/OpenAiTranscriptionRecognizer.h"
#include "engines/SoxrConverter.h"
#include "engines/SpeechGate.h"
#include "engines/WhisperRecognizer.h"
#include "speech/WavFile.h"
#include "store/SpeechModelChoice.h"
#include "MemoryDefaultsStore.h"
#include "ScriptedRecognizer.h"
#include "TestFiles.h"

#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <condition_variable>
#include <future>
#include <mutex>

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

WhisperRecognizer::Options tinyOptions()
{
    return {testFile("whisper-test-tiny.bin"), testFile("silero-vad-v6.2.0.bin"), QStringLiteral("en"), 1.0, 2};
}

TEST_F(WithTestData, BothEnginesRunThroughARecording)
{
    using Engine = WhisperRecognizer::Engine;
    for (const auto &[model, engine] :
        {std::pair{"whisper-test-tiny.bin", Engine::whisper}, std::pair{"parakeet-test-tdt.bin", Engine::parakeet}}) {
        SCOPED_TRACE(model);
        WhisperRecognizer::Options options = tinyOptions();
        options.modelFile = testFile(model);
        options.engine = engine;
        WhisperRecognizer recognizer(options);
        // The user's word and, from the second segment on, the earlier text are the prompt.
        ASSERT_TRUE(recognizer.prepare({QStringLiteral("Sorawen")}));
        EXPECT_EQ(recognizer.bestAudioFormat(AudioFormat{48000, 2}), (AudioFormat{16000, 1}));
        std::vector<SpeechRecognizer::Result> results;
        std::future<std::expected<void, QString>> running = std::async(std::launch::async,
            [&] { return recognizer.run([&](const auto &result) { results.push_back(result); }); });
        const AudioBuffer audio = jfk();
        for (size_t at = 0; at < audio.samples.size(); at += 1024) {
            const auto end = std::min(audio.samples.size(), at + 1024);
            recognizer.append(AudioBuffer{audio.format,
                std::vector<float>(audio.samples.begin() + long(at), audio.samples.begin() + long(end))});
        }
        recognizer.finishInput();
        ASSERT_TRUE(running.get());
        // The four phrases close four segments: each ends in a final result.
        EXPECT_EQ(std::count_if(results.begin(), results.end(), [](const auto &r) { return r.isFinal; }), 4);
    }
}

TEST_F(WithTestData, BadModelFilesAreRefused)
{
    QTemporaryDir folder;
    const QByteArray model = contentsOf(testFile("whisper-test-tiny.bin"));
    struct Case {
        const char *name;
        QByteArray bytes;
        QString vadModel;
    };
    const Case cases[] = {
        {"truncated", model.left(300000), {}},
        {"a Parakeet model for whisper", contentsOf(testFile("parakeet-test-tdt.bin")), {}},
        {"no voice detector", model, QStringLiteral("/nonexistent/vad.bin")},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const QString path = folder.filePath(QLatin1StringView(c.name));
        ASSERT_TRUE(writeFile(path, c.bytes));
        WhisperRecognizer::releaseWarm();
        WhisperRecognizer recognizer({path, c.vadModel, QStringLiteral("en"), 1.0, 1});
        EXPECT_FALSE(recognizer.prepare({}));
    }
}

TEST_F(WithTestData, ChosenRecognizersGiveEachLanguageTheEngineTheUserChose)
{
    // The catalogue holds the English model (the tiny test model under its name) and the VAD; the
    // Japanese one is not installed.
    QTemporaryDir folder;
    ASSERT_TRUE(QFile::link(testFile("whisper-test-tiny.bin"), folder.filePath(QStringLiteral("ggml-base.en.bin"))));
    ASSERT_TRUE(
        QFile::link(testFile("silero-vad-v6.2.0.bin"), folder.filePath(QStringLiteral("ggml-silero-v6.2.0.bin"))));
    const HttpModelStore installed(folder.path());
    ScriptedRecognizers catalogue;
    int catalogueAsked = 0;
    catalogue.whileInstalling = [&] { ++catalogueAsked; };
    MemoryDefaultsStore defaults;
    // One object for every case: the choice is read again at each call.
    ChosenRecognizers recognizers(defaults, catalogue, installed);

    using Choice = SpeechModelChoice;
    struct Case {
        const char *name;
        const char *locale;
        Choice::Source source;
        bool isInstalled;
        bool asksCatalogue;
        bool isPrepared;
    };
    const Case cases[] = {
        {"catalogue", "en_US", Choice::Catalogue{}, true, true, true},
        {"catalogue not installed", "ja_JP", Choice::Catalogue{}, true, true, false},
        {"own whisper file", "ja_JP", Choice::File{testFile("whisper-test-tiny.bin")}, true, false, true},
        {"own parakeet file", "en_US", Choice::File{testFile("parakeet-test-tdt.bin")}, true, false, true},
        {"own file gone", "en_US", Choice::File{folder.filePath(QStringLiteral("gone.bin"))}, false, false, false},
        // What the server's recogniser sends is checked by the desktop runs.
        {"server", "en_US", Choice::Endpoint{QUrl(QStringLiteral("http://127.0.0.1:9/v1")), {}}, true, false, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const QString locale = QLatin1StringView(c.locale);
        Choice choice;
        choice.of(*RecognitionLanguage::fromRawValue(locale)) = c.source;
        ASSERT_TRUE(choice.save(defaults));

        catalogueAsked = 0;
        EXPECT_EQ(bool(recognizers.ensureInstalled(locale)), c.isInstalled);
        EXPECT_EQ(catalogueAsked, c.asksCatalogue ? 1 : 0);
        if (!c.isInstalled)
            continue;
        std::unique_ptr<SpeechRecognizer> recognizer = recognizers.make(locale);
        ASSERT_NE(recognizer, nullptr);
        EXPECT_EQ(bool(recognizer->prepare({})), c.isPrepared);
        EXPECT_EQ(dynamic_cast<OpenAiTranscriptionRecognizer *>(recognizer.get()) != nullptr,
            std::holds_alternative<Choice::Endpoint>(c.source));
    }
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

// `before` seconds of silence, then the recording from `from` to `to` seconds, then `after` of silence.
std::vector<float> heard(double before, double from, double to, double after)
{
    const std::vector<float> speech = jfk().samples;
    std::vector<float> all = silence(before);
    all.insert(all.end(), speech.begin() + long(from * 16000), speech.begin() + long(to * 16000));
    std::ranges::copy(silence(after), std::back_inserter(all));
    return all;
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
        {"a burst then silence", heard(1, 1.0, 1.1, 4), 0},
        {"speech after two seconds of silence", heard(2, 0, 11, 0), 4, 2.32, 12.62},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const auto voice = VoiceActivity::load(testFile("silero-vad-v6.2.0.bin"));
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

// A recogniser without a voice detector (every window is speech) whose decodes the test holds:
// each waits until the test lets it return or the recogniser says to stop.
class HeldDecodes final : public GatedRecognizer
{
public:
    struct Decode {
        bool isFinal;
        double seconds;
        QString earlier;
        bool wasStopped = false;
        bool operator==(const Decode &) const = default;
    };

    HeldDecodes()
        : GatedRecognizer(0.25)
    { }
    std::expected<void, QString> prepare(const QStringList &) override { return {}; }
    std::optional<AudioFormat> bestAudioFormat(const AudioFormat &) const override { return AudioFormat{16000, 1}; }

    // Makes `change` under the lock, then waits until `until` holds (false after ten seconds).
    bool await(const std::function<bool()> &until, const std::function<void()> &change = [] {})
    {
        std::unique_lock guard(mutex);
        change();
        changed.notify_all();
        return changed.wait_for(guard, std::chrono::seconds(10), until);
    }

    bool isHolding = true;
    std::vector<Decode> decodes;
    std::vector<QString> reported;
    size_t released = 0;
    size_t ended = 0;

protected:
    std::expected<QString, QString> decode(
        const std::vector<float> &samples, const QString &earlier, bool isFinal) override
    {
        std::unique_lock guard(mutex);
        EXPECT_EQ(ended, decodes.size()) << "a decode started while another ran";
        decodes.push_back({isFinal, std::round(double(samples.size()) / 1600.0) / 10.0, earlier});
        const size_t index = decodes.size();
        changed.notify_all();
        // The engine polls its stop as whisper's abort callback does.
        while (isHolding && released < index && !shouldStop())
            changed.wait_for(guard, std::chrono::milliseconds(1));
        decodes[index - 1].wasStopped = shouldStop();
        ++ended;
        changed.notify_all();
        return QStringLiteral("<%1>").arg(index);
    }
    VoiceActivity *voiceActivity() override { return nullptr; }

private:
    std::mutex mutex;
    std::condition_variable changed;
};

// An even sound (every window of the gate holds the same samples), with a quieter gap of 64 ms at
// each of `gaps` (second, level).
std::vector<float> sound(double seconds, std::vector<std::pair<double, float>> gaps = {})
{
    std::vector<float> samples(size_t(seconds * 16000));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = 0.3F * float(std::sin(double(i % 32) * 2 * M_PI / 32));
    for (const auto &[at, level] : gaps) {
        for (size_t i = size_t(at * 16000); i < size_t((at + 0.064) * 16000); ++i)
            samples[i] *= level;
    }
    return samples;
}

TEST(GatedRecognizer, DecodesArePacedAndTheEndOfInputStopsARunningOne)
{
    using Decode = HeldDecodes::Decode;
    // A step: append audio, await the n-th decode's start, let the decode under way return, await
    // the n-th result, finish the input, cancel.
    enum class Act { append, await, release, reported, finish, cancel };
    struct Step {
        Act act;
        double value = 0;
        std::vector<std::pair<double, float>> gaps = {};
    };
    struct Case {
        const char *name;
        bool isHolding;
        std::vector<Step> steps;
        std::vector<Decode> decodes;
        std::vector<QString> reported;
    };
    const QString first = QStringLiteral("<1>");
    const std::vector<QString> three{first, QStringLiteral("<2>"), QStringLiteral("<3>")};
    const Case cases[] = {
        {"a decode that took 3 s of audio waits for 3 s more after it; none without new audio", true,
            {{Act::append, 1}, {Act::await, 1}, {Act::append, 3}, {Act::release}, {Act::reported, 1}, {Act::append, 2},
                {Act::append, 1},
                {Act::await, 2}, {Act::release}, {Act::reported, 2}, {Act::finish}, {Act::await, 3}, {Act::release}},
            {{false, 1.0, {}}, {false, 7.0, {}}, {true, 7.0, {}}}, three},
        {"the end of input stops the running decode and the final follows at once", true,
            {{Act::append, 2}, {Act::await, 1}, {Act::finish}, {Act::await, 2}, {Act::release}},
            {{false, 2.0, {}, true}, {true, 2.0, {}}}, {QStringLiteral("<2>")}},
        {"a cancel stops the running decode and reports nothing", true,
            {{Act::append, 2}, {Act::await, 1}, {Act::cancel}}, {{false, 2.0, {}, true}}, {}},
        // A long segment is cut after its quietest window of the last eight seconds, and the final
        // after the cut is decoded with the text before it.
        {"the quieter of two gaps before the limit", false,
            {{Act::append, 34, {{21.0, 0.05F}, {25.0, 0.2F}}}, {Act::finish}},
            {{true, 21.1, {}}, {true, 12.9, first}}, {}},
        {"an even sound at the limit", false, {{Act::append, 30}, {Act::finish}},
            {{true, 28.0, {}}, {true, 2.0, first}}, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        HeldDecodes r;
        r.isHolding = c.isHolding;
        auto report = [&](const auto &result) {
            r.await([] { return true; }, [&] { r.reported.push_back(result.text); });
        };
        auto running = std::async(std::launch::async, [&] { return r.run(report); });
        // A failed step leaves the run to a cancel, not to a wait for ever.
        const auto stopper = qScopeGuard([&] { r.cancel(); });
        for (const Step &step : c.steps) {
            switch (step.act) {
            case Act::append: r.append(AudioBuffer{{16000, 1}, sound(step.value, step.gaps)}); break;
            case Act::await: ASSERT_TRUE(r.await([&] { return r.decodes.size() >= size_t(step.value); })); break;
            case Act::release:
                ASSERT_TRUE(r.await([&] { return r.ended >= r.released; }, [&] { r.released = r.decodes.size(); }));
                break;
            case Act::reported: ASSERT_TRUE(r.await([&] { return r.reported.size() >= size_t(step.value); })); break;
            case Act::finish: r.finishInput(); break;
            case Act::cancel: r.cancel(); break;
            }
        }
        ASSERT_EQ(running.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        EXPECT_TRUE(running.get());
        std::vector<Decode> decodes = r.decodes;
        if (!c.isHolding) {
            // Running decodes of a stream that came all at once depend on the thread's timing.
            std::erase_if(decodes, [](const Decode &d) { return !d.isFinal; });
            for (Decode &d : decodes)
                d.earlier = d.earlier.isEmpty() ? QString() : first;
        } else {
            EXPECT_EQ(r.reported, c.reported);
        }
        EXPECT_EQ(decodes, c.decodes);
    }
}

TEST(SilencePhrases, StockAnswersToNoiseAreKnown)
{
    // Several stock phrases in a row, whatever their case and punctuation.
    EXPECT_TRUE(isSilencePhrase(QStringLiteral(" Thank you. Thank you.")));
    EXPECT_TRUE(isSilencePhrase(QStringLiteral("（拍手）ありがとうございました")));
    // A stock phrase that only begins the text.
    EXPECT_FALSE(isSilencePhrase(QStringLiteral(" Thank you for the report.")));
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
    // 102,400 frames at 44.1 kHz are 37,152 at 16 kHz; the filter's delay comes with the flush.
    EXPECT_NEAR(double(produced), 37152.0, 37152.0 * 0.03);
    const AudioBuffer tail = converter->flush();
    EXPECT_EQ(tail.format, (AudioFormat{16000, 1}));
    EXPECT_NEAR(double(produced + tail.frameLength()), 37152.0, 2.0);
}

} // namespace
