#include "engines/ChosenRecognizers.h"
#include "FakeSpeechModels.h"
#include "FakeOpenAiServer.h"
#include "MemoryDefaultsStore.h"
#include "WaitFor.h"
#include "engines/HttpModelStore.h"
#include "store/SpeechModelChoice.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <future>

namespace {

QString testFile(const char *name)
{
    return QStringLiteral(SORAWEN_TESTDATA "/") + QLatin1StringView(name);
}

// Empty when it went well.
QString reasonOf(const std::expected<void, QString> &outcome)
{
    return outcome ? QString() : outcome.error();
}

TEST(ChosenRecognizers, EachLanguageGetsTheEngineTheUserChose)
{
    if (!QFile::exists(testFile("whisper-test-tiny.bin")) || !QFile::exists(testFile("parakeet-test-tdt.bin")))
        GTEST_SKIP() << "the shared test data is not beside the project";
    // The catalogue holds the English model (the tiny test model under its name) and the VAD; the
    // Japanese one is not installed.
    QTemporaryDir folder;
    ASSERT_TRUE(QFile::link(testFile("whisper-test-tiny.bin"), folder.filePath(QStringLiteral("ggml-base.en.bin"))));
    ASSERT_TRUE(
        QFile::link(testFile("silero-vad-v6.2.0.bin"), folder.filePath(QStringLiteral("ggml-silero-v6.2.0.bin"))));
    const HttpModelStore installed(folder.path());
    FakeSpeechModels catalogue;
    MemoryDefaultsStore defaults;
    FakeOpenAiServer server;
    // One object for every case: the choice is read again at each call.
    ChosenRecognizers recognizers(defaults, catalogue, installed);

    using Choice = SpeechModelChoice;
    const QString gone = folder.filePath(QStringLiteral("gone.bin"));
    struct Case {
        const char *name;
        const char *locale;
        Choice::Source source;
        // Why ensureInstalled fails, if it does, and whether it asked the catalogue.
        QString installation;
        bool asksCatalogue;
        // Why prepare fails for the recogniser made, if it does.
        QString preparation;
    };
    const Case cases[] = {
        {"catalogue", "en_US", Choice::Catalogue{}, {}, true, {}},
        {"catalogue not installed", "ja_JP", Choice::Catalogue{}, {}, true,
            QCoreApplication::translate("WhisperModel", "音声認識モデルがありません: %1")
                .arg(folder.filePath(QStringLiteral("ggml-small.bin")))},
        {"own whisper file", "ja_JP", Choice::File{testFile("whisper-test-tiny.bin")}, {}, false, {}},
        {"own parakeet file", "en_US", Choice::File{testFile("parakeet-test-tdt.bin")}, {}, false, {}},
        {"own file gone", "en_US", Choice::File{gone},
            QCoreApplication::translate("SpeechModelChoice", "音声認識モデルのファイルがありません: %1").arg(gone),
            false, {}},
        {"server", "en_US", Choice::Endpoint{server.base("good"), QStringLiteral("base.en")}, {}, false, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const QString locale = QLatin1StringView(c.locale);
        Choice choice;
        choice.of(*RecognitionLanguage::fromRawValue(locale)) = c.source;
        ASSERT_TRUE(choice.save(defaults));

        EXPECT_EQ(reasonOf(recognizers.ensureInstalled(locale)), c.installation);
        EXPECT_EQ(catalogue.takeAsked(), c.asksCatalogue ? QStringList{locale} : QStringList{});
        if (!c.installation.isEmpty())
            continue;
        std::unique_ptr<SpeechRecognizer> recognizer = recognizers.make(locale);
        ASSERT_NE(recognizer, nullptr);
        EXPECT_EQ(reasonOf(recognizer->prepare({})), c.preparation);
        if (!std::holds_alternative<Choice::Endpoint>(c.source))
            continue;
        // The server's recogniser sends the recording there once input ends.
        auto ended = std::async(std::launch::async, [&] { return recognizer->run([](const auto &) {}); });
        recognizer->append(AudioBuffer{AudioFormat{16000, 1}, std::vector<float>(1600, 0.1F)});
        recognizer->finishInput();
        ASSERT_TRUE(waitFor([&] { return ended.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
        EXPECT_TRUE(ended.get());
        ASSERT_EQ(server.requests.size(), 1);
        EXPECT_EQ(server.requests[0].fields.value("model"), "base.en");
        EXPECT_EQ(server.requests[0].fields.value("language"), "en");
    }
    EXPECT_EQ(recognizers.make(QStringLiteral("fr_FR")), nullptr);
}

} // namespace
