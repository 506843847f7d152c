#include "engines/OpenAiTranscriptionRecognizer.h"
#include "FakeOpenAiServer.h"
#include "WaitFor.h"
#include "speech/WavFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <future>

namespace {

AudioBuffer tone(double seconds)
{
    AudioBuffer buffer{AudioFormat{16000, 1}, std::vector<float>(size_t(seconds * 16000))};
    for (size_t i = 0; i < buffer.samples.size(); ++i)
        buffer.samples[i] = 0.5F * float(std::sin(double(i) * 0.05));
    return buffer;
}

// A recogniser whose `run` goes on a thread of its own, as in a recording.
struct Session {
    OpenAiTranscriptionRecognizer recognizer;
    std::vector<SpeechRecognizer::Result> results;
    std::future<std::expected<void, QString>> ended;

    explicit Session(OpenAiTranscriptionRecognizer::Options options, const QStringList &words = {})
        : recognizer(std::move(options))
    {
        EXPECT_TRUE(recognizer.prepare(words));
        ended = std::async(std::launch::async,
            [this] { return recognizer.run([this](const SpeechRecognizer::Result &r) { results.push_back(r); }); });
    }
    // Keeps the server's event loop going until `run` returns.
    std::expected<void, QString> outcome(int milliseconds = 20000)
    {
        EXPECT_TRUE(waitFor(ended, milliseconds));
        return ended.get();
    }
};

TEST(OpenAiTranscriptionRecognizer, SendsTheRecordingAsAWavFormAndReportsTheText)
{
    FakeOpenAiServer server;
    struct Case {
        const char *model;
        const char *language;
        QStringList words;
        const char *sentModel;
        std::optional<QByteArray> prompt;
    };
    const Case cases[] = {
        {"base.en", "en", {QStringLiteral("Sorawen"), QStringLiteral("Kubernetes")}, "base.en", "Sorawen, Kubernetes"},
        {"", "ja", {}, "whisper-1", std::nullopt},
    };
    const AudioBuffer audio = tone(0.75);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.language);
        Session session({server.base("good"), QLatin1StringView(c.model), QLatin1StringView(c.language)}, c.words);
        // Two halves, and a buffer in another format, which is not the recogniser's and is left out.
        const auto half = audio.samples.begin() + std::ptrdiff_t(audio.samples.size() / 2);
        session.recognizer.append(AudioBuffer{audio.format, {audio.samples.begin(), half}});
        session.recognizer.append(AudioBuffer{AudioFormat{48000, 1}, std::vector<float>(4800, 0.9F)});
        session.recognizer.append(AudioBuffer{audio.format, {half, audio.samples.end()}});
        session.recognizer.finishInput();
        const std::expected<void, QString> outcome = session.outcome();
        ASSERT_TRUE(outcome) << outcome.error().toStdString();
        ASSERT_EQ(session.results.size(), 1U);
        EXPECT_EQ(session.results[0].text, u"We meet at noon.");
        EXPECT_TRUE(session.results[0].isFinal);

        // The form's other fields and the path are checked by the desktop runs against a real server.
        const FakeOpenAiServer::Request request = server.requests.last();
        EXPECT_EQ(request.fields.value("model"), c.sentModel);
        EXPECT_EQ(request.fields.value("language"), c.language);
        EXPECT_EQ(
            request.fields.contains("prompt") ? std::optional(request.fields.value("prompt")) : std::nullopt, c.prompt);
        const std::expected<AudioBuffer, QString> sent = WavFile::decode(request.fields.value("file"));
        ASSERT_TRUE(sent) << sent.error().toStdString();
        EXPECT_EQ(sent->format, (AudioFormat{16000, 1}));
        ASSERT_EQ(sent->samples.size(), audio.samples.size());
        for (size_t i = 0; i < audio.samples.size(); ++i)
            ASSERT_NEAR(sent->samples[i], audio.samples[i], 1.0 / 16000) << i;
    }
}

TEST(OpenAiTranscriptionRecognizer, FailuresEndTheSessionWithNoText)
{
    FakeOpenAiServer server;
    // A refused connection, and a server that never answers: with 0.3 s of leeway and 0.2 s of
    // audio, cut after half a second. A server's error reply is met by the desktop runs.
    const QUrl refused(QStringLiteral("http://127.0.0.1:%1/v1").arg(LoopbackServer::closedPort()));
    for (const QUrl &base : {refused, server.base("hang")}) {
        SCOPED_TRACE(base.toString().toStdString());
        Session session({base, QStringLiteral("m"), QStringLiteral("en"), 300});
        session.recognizer.append(tone(0.2));
        session.recognizer.finishInput();
        EXPECT_FALSE(session.outcome(5000));
        EXPECT_TRUE(session.results.empty());
    }
}

TEST(OpenAiTranscriptionRecognizer, CancelEndsTheSessionAtOnce)
{
    FakeOpenAiServer server;
    // Once the request is in flight to a server that never answers (the limit far away), and while
    // the recording still runs.
    for (const bool isSent : {true, false}) {
        SCOPED_TRACE(isSent);
        Session session({server.base(isSent ? "hang" : "good"), {}, QStringLiteral("en")});
        session.recognizer.append(tone(0.2));
        if (isSent) {
            session.recognizer.finishInput();
            ASSERT_TRUE(waitFor([&] { return server.requests.size() == 1; }));
        }
        session.recognizer.cancel();
        EXPECT_TRUE(session.outcome(2000));
        EXPECT_TRUE(session.results.empty());
    }
    EXPECT_EQ(server.requests.size(), 1);
}

} // namespace
