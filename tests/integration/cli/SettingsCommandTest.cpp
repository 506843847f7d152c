#include "store/RippletSettings.h"

#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct CliRun {
    int exitCode;
    QByteArray out;
};

CliRun runCli(const QStringList &arguments, const QByteArray &input)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LANGUAGE"), QStringLiteral("ja_JP"));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(SORAWEN_CLI), arguments);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(30000);
    return {process.exitCode(), process.readAllStandardOutput()};
}

TEST(SettingsCommand, PrintsTheLoadedRecordsStoredForm)
{
    RippletSettings defaults;
    defaults.language = RecognitionLanguage::japanese;
    RippletSettings custom = defaults;
    custom.historyLimit = 10000;
    custom.hotkey = HotkeyChoice::rightControl;

    struct Case {
        const char *name;
        QByteArray input;
        QByteArray expected;
    };
    const Case cases[] = {
        {"empty input", QByteArray(), *defaults.encoded()},
        {"not JSON", QByteArray("\xff\xfe garbage"), *defaults.encoded()},
        {"clamped and partial", QByteArray(R"({"historyLimit": 99999, "hotkey": "rightControl", "language": 7})"),
            *custom.encoded()},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const CliRun run = runCli({QStringLiteral("settings")}, c.input);
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(run.out, c.expected);
    }
}

TEST(SettingsCommand, UnknownCommandsAndArgumentsAreRefused)
{
    EXPECT_EQ(runCli({QStringLiteral("settingz")}, {}).exitCode, 2);
    EXPECT_EQ(runCli({QStringLiteral("settings"), QStringLiteral("--extra")}, {}).exitCode, 2);
    EXPECT_EQ(runCli({}, {}).exitCode, 2);
}

} // namespace
