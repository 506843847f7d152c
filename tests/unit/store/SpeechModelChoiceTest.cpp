#include "store/SpeechModelChoice.h"
#include "MemoryDefaultsStore.h"
#include "TestFiles.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using Choice = SpeechModelChoice;

TEST(SpeechModelChoice, StoredChoicesRoundTripAndUnusableEntriesMeanTheCatalogue)
{
    MemoryDefaultsStore defaults;
    EXPECT_EQ(Choice::load(defaults), Choice{});

    const Choice chosen{Choice::File{QStringLiteral("/home/u/ggml-ja.bin")},
        Choice::Endpoint{QUrl(QStringLiteral("http://127.0.0.1:8080/v1")), QStringLiteral("base.en")}};
    ASSERT_TRUE(chosen.save(defaults));
    EXPECT_EQ(defaults.values.value(DefaultsKeys::speechModel),
        R"({"en_US":{"endpoint":"http://127.0.0.1:8080/v1","model":"base.en"},"ja_JP":{"file":"/home/u/ggml-ja.bin"}})");
    EXPECT_EQ(Choice::load(defaults), chosen);
    ASSERT_TRUE(Choice{}.save(defaults));
    EXPECT_EQ(Choice::load(defaults), Choice{});

    const Choice::Source catalogue = Choice::Catalogue{};
    const Choice::Source file = Choice::File{QStringLiteral("/models/b.bin")};
    struct Case {
        const char *name;
        QByteArray stored;
        Choice::Source japanese;
        Choice::Source english;
    };
    const Case cases[] = {
        {"not JSON", "{\"ja_JP\": {\"file\": ", catalogue, catalogue},
        {"server elsewhere", R"({"en_US": {"endpoint": "http://192.168.1.5:8080/v1"}})", catalogue, catalogue},
        {"relative file", R"({"ja_JP": {"file": "models/b.bin"}})", catalogue, catalogue},
        {"file and server at once", R"({"ja_JP": {"file": "/models/b.bin", "endpoint": "http://127.0.0.1/v1"}})",
            catalogue, catalogue},
        {"one bad language leaves the other", R"({"en_US": "/models/a.bin", "ja_JP": {"file": "/models/b.bin"}})", file,
            catalogue},
        {"model name of the wrong type", R"({"en_US": {"endpoint": "http://localhost:9/v1", "model": 7}})", catalogue,
            Choice::Endpoint{QUrl(QStringLiteral("http://localhost:9/v1")), QString()}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        defaults.values.insert(DefaultsKeys::speechModel, c.stored);
        const Choice loaded = Choice::load(defaults);
        EXPECT_EQ(loaded.japanese, c.japanese);
        EXPECT_EQ(loaded.english, c.english);
    }
}

TEST(SpeechModelChoice, OnlyAbsolutePathsOfFilesThatAreThereAreModelFiles)
{
    QTemporaryDir folder;
    const QString model = folder.filePath(QStringLiteral("own.bin"));
    ASSERT_TRUE(writeFile(model, "lmgg"));
    const QString missing = folder.filePath(QStringLiteral("gone.bin"));

    auto translated = [](const char *text, const QString &path) {
        return QCoreApplication::translate("SpeechModelChoice", text).arg(path);
    };
    struct Case {
        QString path;
        std::expected<QString, QString> expected;
    };
    const Case cases[] = {
        {model, model},
        {missing, std::unexpected(translated("音声認識モデルのファイルがありません: %1", missing))},
        {QStringLiteral("own.bin"),
            std::unexpected(
                translated("音声認識モデルのファイルは絶対パスで指定してください: %1", QStringLiteral("own.bin")))},
        {QString(), std::unexpected(translated("音声認識モデルのファイルは絶対パスで指定してください: %1", {}))},
    };
    for (const Case &c : cases)
        EXPECT_EQ(Choice::modelFile(c.path), c.expected) << c.path.toStdString();
}

} // namespace
