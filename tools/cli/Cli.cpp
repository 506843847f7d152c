#include "CliCommand.h"

#include <QFile>
#include <QTextStream>

namespace Cli {

QByteArray readStandardInput()
{
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly))
        return {};
    return input.readAll();
}

void writeStandardOutput(const QByteArray &bytes)
{
    QFile output;
    if (output.open(stdout, QIODevice::WriteOnly))
        output.write(bytes);
}

int usageError(const QString &message)
{
    QTextStream(stderr) << "sorawen-cli: " << message << Qt::endl;
    return 2;
}

} // namespace Cli
