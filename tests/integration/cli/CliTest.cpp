#include "FakeOpenAiServer.h"
#include "TestFiles.h"
#include "TinyLanguageModel.h"
#include "WaitFor.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <span>

namespace {

struct CliRun {
    int exitCode;
    QByteArray out;
};

// The words of `line`, each placeholder %1…%9 replaced by that value.
QStringList words(const char *line, const QStringList &values = {})
{
    QStringList found = QString::fromUtf8(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (QString &word : found) {
        for (qsizetype i = 0; i < values.size(); ++i)
            word.replace(QLatin1Char('%') + QString::number(i + 1), values[i]);
    }
    return found;
}

// One run of the tool and what it must print, whole or (`isStart`) at the start.
struct Case {
    const char *name;
    const char *arguments;
    int exitCode;
    QByteArray printed;
    QByteArray input = {};
    bool isStart = false;
};

// Runs the command-line tool with its settings and data kept in a folder of its own, and keeps the
// event loop going meanwhile, so that a server of the test's answers it.
struct Cli {
    QTemporaryDir home;

    QString write(const char *name, const QByteArray &bytes)
    {
        EXPECT_TRUE(writeFile(home.filePath(QLatin1StringView(name)), bytes));
        return home.filePath(QLatin1StringView(name));
    }
    CliRun operator()(const QStringList &arguments, const QByteArray &input = {})
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LANGUAGE"), QStringLiteral("ja_JP"));
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("config")));
        environment.insert(QStringLiteral("XDG_DATA_HOME"), home.filePath(QStringLiteral("data")));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(SORAWEN_CLI), arguments);
        process.write(input);
        process.closeWriteChannel();
        EXPECT_TRUE(waitFor([&] { return process.state() == QProcess::NotRunning; }, 60000));
        return {process.exitCode(), process.readAllStandardOutput()};
    }
    // Runs each case in turn, its placeholders replaced by `values`.
    void expect(std::span<const Case> cases, const QStringList &values)
    {
        for (const Case &c : cases) {
            SCOPED_TRACE(c.name);
            const CliRun run = (*this)(words(c.arguments, values), c.input);
            EXPECT_EQ(run.exitCode, c.exitCode);
            EXPECT_EQ(c.isStart ? run.out.left(c.printed.size()) : run.out, c.printed);
        }
    }
};

TEST(Cli, TextCommandsPolishAndTheLanguageModelChoice)
{
    Cli cli;
    const QString ends = cli.home.filePath(QStringLiteral("ends.gguf"));
    ASSERT_TRUE(TinyLanguageModel::write(ends, TinyLanguageModel::Answer::endsAtOnce));
    const QStringList files{
        cli.write("dictionary.json",
            R"([{"spoken":"くらうど","replacement":"クラウド"},{"spoken":"クラウド","replacement":"Cloud"}])"),
        cli.write("homophone.txt", "漢字の誤字が多い"),
        ends,
    };
    const QByteArray utterance = "so um we meet at noon";
    // Nothing listens on port 9 of this machine.
    const Case cases[] = {
        {"dictionary order", "clean --language ja_JP --dictionary %1", 0, "Cloud", "くらうど", true},
        {"homophone merge", "merge --raw - --polished %2", 0, "漢字の誤字が多い", "漢字の5時が多い", true},
        // The untrained model ends its answer at once: an empty rewrite.
        {"answer", "polish --language en_US --timeout 50 --model %3", 0, "", utterance},
        {"endpoint elsewhere", "polish --language en_US --endpoint http://example.com/v1", 2, "", utterance},
        {"endpoint chosen", "language-model --endpoint http://127.0.0.1:9/v1 --endpoint-model qwen2.5:3b", 0,
            "endpoint http://127.0.0.1:9/v1 model qwen2.5:3b\n"},
        {"the choice is kept", "language-model", 0, "endpoint http://127.0.0.1:9/v1 model qwen2.5:3b\n"},
        {"polish asks the endpoint", "polish --language en_US", 1, "unavailable: ", utterance, true},
        {"installed again", "language-model --installed", 0, "installed\n"},
    };
    cli.expect(cases, files);
}

TEST(Cli, TranscribeAndDictateWithTheChosenSpeechModel)
{
    const QString data = QStringLiteral(SORAWEN_TESTDATA);
    if (!QFile::exists(data + QStringLiteral("/whisper-test-tiny.bin")))
        GTEST_SKIP() << "the shared test data is not beside the project";
    Cli cli;
    const QString model = data + QStringLiteral("/whisper-test-tiny.bin");
    const QString own = cli.home.filePath(QStringLiteral("own.bin"));
    ASSERT_TRUE(QFile::copy(model, own));
    const QString wav = data + QStringLiteral("/jfk-en.wav");
    FakeOpenAiServer server;
    const QString endpoint = server.base("good").toString();

    const QStringList values{wav, model, own, endpoint};
    const Case cases[] = {
        {"own file", "speech-model --language en_US --file %3", 0, "file " + own.toUtf8() + "\n"},
        {"server", "speech-model --language ja_JP --endpoint %4 --endpoint-model small", 0,
            "endpoint " + endpoint.toUtf8() + " model small\n"},
        {"two choices at once", "speech-model --language en_US --catalogue --file %3", 2, ""},
        {"refusals change nothing", "speech-model --language en_US", 0, "file " + own.toUtf8() + "\n"},
        {"server transcribes", "transcribe %1 --fast --language ja_JP", 0, "We meet at noon."},
        // The whole dictation, the chosen server recognising, standard output as the field. No language
        // model is installed here: the raw text is pasted.
        {"dictate", "dictate %1 --fast --language ja_JP", 0, "We meet at noon.\n"},
    };
    cli.expect(cases, values);
    ASSERT_EQ(server.requests.size(), 2);
    EXPECT_EQ(server.requests[0].fields.value("model"), "small");
    EXPECT_EQ(server.requests[0].fields.value("language"), "ja");
}

TEST(Cli, NewKeysSignAnUpdateFeedTheApplicationAccepts)
{
    Cli cli;
    const QString secret = cli.home.filePath(QStringLiteral("secret"));
    const CliRun keys = cli(words("update-feed --new-keys %1", {secret}));
    ASSERT_EQ(keys.exitCode, 0);
    EXPECT_EQ(
        QFile(secret).permissions() & (QFileDevice::ReadGroup | QFileDevice::ReadOther), QFileDevice::Permissions());
    // An existing key is never overwritten.
    EXPECT_EQ(cli(words("update-feed --new-keys %1", {secret})).exitCode, 2);

    const CliRun signedFeed = cli(words("update-feed --sign - --secret-key %1", {secret}),
        R"({"version": "0.2.0", "page": "https://example.org/sorawen", "notes": ""})");
    ASSERT_EQ(signedFeed.exitCode, 0);
    const QString document = cli.write("feed.json", signedFeed.out);
    const CliRun accepted
        = cli(words("update-feed --check %1 --public-key %2", {document, QString::fromLatin1(keys.out.trimmed())}));
    EXPECT_EQ(accepted.exitCode, 0);
    EXPECT_EQ(accepted.out, "0.2.0 https://example.org/sorawen\n");
}

} // namespace
