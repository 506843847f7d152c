#include "ui/ModelsModel.h"

#include "WindowFixture.h"
#include "store/LanguageModelChoice.h"
#include "store/SpeechModelChoice.h"

#include <gtest/gtest.h>

namespace {

QVariantMap row(const ModelsModel &models, int language)
{
    return models.speechModels().value(language).toMap();
}

TEST(ModelsModel, OnlyUsableChoicesAreStoredAndAProblemSaysWhy)
{
    WindowFixture f;
    ModelsModel &m = f.models;
    const QString ownModel = f.folder.filePath(QStringLiteral("own.bin"));
    QFile(ownModel).open(QIODevice::WriteOnly);

    struct Case {
        const char *name;
        std::function<void()> choose;
        int language;
        int source;
        bool hasProblem;
    };
    const Case cases[] = {
        {"a file that is not there", [&] { m.useModelFile(0, QStringLiteral("/nowhere/model.bin")); }, 0, 0, true},
        {"the user's own file", [&] { m.useModelFile(0, ownModel); }, 0, 1, false},
        {"a server elsewhere", [&] { m.useTranscriptionServer(1, QStringLiteral("http://example.com/v1"), {}); }, 1, 0,
            true},
        {"a server here",
            [&] { m.useTranscriptionServer(1, QStringLiteral("http://127.0.0.1:8080/v1"), QStringLiteral("whisper")); },
            1, 2, false},
        {"back to the catalogue", [&] { m.useCatalogueModel(0); }, 0, 0, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        c.choose();
        EXPECT_EQ(row(m, c.language).value(QStringLiteral("source")).toInt(), c.source);
        EXPECT_EQ(!row(m, c.language).value(QStringLiteral("problem")).toString().isEmpty(), c.hasProblem);
    }
    const SpeechModelChoice stored = SpeechModelChoice::load(f.defaults);
    EXPECT_EQ(stored.japanese, SpeechModelChoice::Source(SpeechModelChoice::Catalogue {}));
    EXPECT_EQ(stored.english,
        SpeechModelChoice::Source(
            SpeechModelChoice::Endpoint{QUrl(QStringLiteral("http://127.0.0.1:8080/v1")), QStringLiteral("whisper")}));

    m.useLanguageModelEndpoint(QStringLiteral("http://localhost:11434/v1"), QStringLiteral("qwen"));
    EXPECT_EQ(m.languageModel().value(QStringLiteral("source")).toInt(), 1);
    EXPECT_EQ(LanguageModelChoice::load(f.defaults).model, QStringLiteral("qwen"));
    m.useInstalledLanguageModel();
    EXPECT_FALSE(LanguageModelChoice::load(f.defaults).usesEndpoint());
}

TEST(ModelsModel, DownloadsEndInstalled)
{
    WindowFixture f;
    ModelsModel &m = f.models;
    ASSERT_FALSE(row(m, 1).value(QStringLiteral("isInstalled")).toBool());

    m.downloadSpeechModel(1);
    m.downloadLanguageModel();
    // A download's progress goes once its worker has returned; the fixture's services go after that.
    EXPECT_TRUE(waitFor([&] {
        return row(m, 1).value(QStringLiteral("progress")).toDouble() < 0
            && m.languageModel().value(QStringLiteral("progress")).toDouble() < 0;
    }));
    EXPECT_TRUE(row(m, 1).value(QStringLiteral("isInstalled")).toBool());
    EXPECT_TRUE(m.languageModel().value(QStringLiteral("isInstalled")).toBool());
}

} // namespace
