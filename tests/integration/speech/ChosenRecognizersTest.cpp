#include "engines/ChosenRecognizers.h"
#include "MemoryDefaultsStore.h"
#include "ScriptedRecognizer.h"
#include "engines/HttpModelStore.h"
#include "engines/OpenAiTranscriptionRecognizer.h"
#include "store/SpeechModelChoice.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QString testFile(const char *name)
{
    return QStringLiteral(SORAWEN_TESTDATA "/") + QLatin1StringView(name);
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

} // namespace
