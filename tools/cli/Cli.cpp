#include "CliCommand.h"

#include <QFile>
#include <QTextStream>

namespace Cli {

std::optional<QString> Options::value(const char *name) const
{
    const auto found = values.constFind(QLatin1StringView(name));
    if (found == values.cend())
        return std::nullopt;
    return found.value();
}

std::optional<Options> parse(
    const QStringList &arguments, const QStringList &valueOptions, const QStringList &flagOptions)
{
    Options options;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        const QString name = argument.startsWith(u"--") ? argument.mid(2) : QString();
        if (options.values.contains(name) || options.flags.contains(name)) {
            usageError(QStringLiteral("%1 is given twice").arg(argument));
            return std::nullopt;
        }
        if (flagOptions.contains(name)) {
            options.flags.insert(name);
        } else if (valueOptions.contains(name)) {
            if (i + 1 >= arguments.size()) {
                usageError(QStringLiteral("%1 needs a value").arg(argument));
                return std::nullopt;
            }
            options.values.insert(name, arguments[++i]);
        } else {
            usageError(QStringLiteral("unknown argument '%1'").arg(argument));
            return std::nullopt;
        }
    }
    return options;
}

QByteArray readStandardInput()
{
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly))
        return {};
    return input.readAll();
}

std::optional<QByteArray> readInput(const QString &path)
{
    if (path == u"-")
        return readStandardInput();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        usageError(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
        return std::nullopt;
    }
    return file.readAll();
}

QString text(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes);
}

std::optional<RecognitionLanguage> language(const Options &options)
{
    const std::optional<QString> name = options.value("language");
    if (!name) {
        usageError(QStringLiteral("--language ja_JP|en_US is required"));
        return std::nullopt;
    }
    const std::optional<RecognitionLanguage> language = RecognitionLanguage::fromRawValue(*name);
    if (!language)
        usageError(QStringLiteral("unknown language '%1' (ja_JP or en_US)").arg(*name));
    return language;
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
