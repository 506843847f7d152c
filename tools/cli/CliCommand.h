#pragma once

#include "store/RecognitionLanguage.h"

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QStringList>

#include <optional>

// One subcommand of sorawen-cli. `run` gets the arguments after the subcommand's name and returns
// the process exit status. To add a subcommand: write its run function in a file of its own,
// declare it below, and add one row to the table in main.cpp.
struct CliCommand {
    const char *name;
    const char *usage;
    int (*run)(const QStringList &arguments);
};

namespace Cli {

// "--name value" options and "--flag" switches, each at most once.
struct Options {
    QHash<QString, QString> values;
    QSet<QString> flags;

    std::optional<QString> value(const char *name) const;
    bool has(const char *name) const { return flags.contains(QLatin1StringView(name)); }
};
// Nothing (after printing why) when an argument is unknown, repeated or lacks its value.
std::optional<Options> parse(
    const QStringList &arguments, const QStringList &valueOptions, const QStringList &flagOptions);

QByteArray readStandardInput();
// A file's bytes; "-" reads standard input. Nothing (after printing why) when it cannot be read.
std::optional<QByteArray> readInput(const QString &path);
// UTF-8 text; invalid sequences become U+FFFD.
QString text(const QByteArray &bytes);
std::optional<RecognitionLanguage> language(const Options &options);
void writeStandardOutput(const QByteArray &bytes);
// Prints "sorawen-cli: <message>" on standard error and returns exit status 2.
int usageError(const QString &message);

} // namespace Cli

int runCleanCommand(const QStringList &arguments);
int runDictateCommand(const QStringList &arguments);
int runInstallCommand(const QStringList &arguments);
int runLanguageModelCommand(const QStringList &arguments);
int runMergeCommand(const QStringList &arguments);
int runPolishCommand(const QStringList &arguments);
int runPromptCommand(const QStringList &arguments);
int runSettingsCommand(const QStringList &arguments);
int runSpeechModelCommand(const QStringList &arguments);
int runTranscribeCommand(const QStringList &arguments);
int runUpdateFeedCommand(const QStringList &arguments);
int runValidateCommand(const QStringList &arguments);
