#pragma once

#include <QByteArray>
#include <QStringList>

// One subcommand of sorawen-cli. `run` gets the arguments after the subcommand's name and returns
// the process exit status. To add a subcommand: write its run function in a file of its own,
// declare it below, and add one row to the table in main.cpp.
struct CliCommand {
    const char *name;
    const char *usage;
    int (*run)(const QStringList &arguments);
};

namespace Cli {
QByteArray readStandardInput();
void writeStandardOutput(const QByteArray &bytes);
// Prints "sorawen-cli: <message>" on standard error and returns exit status 2.
int usageError(const QString &message);
} // namespace Cli

int runSettingsCommand(const QStringList &arguments);
