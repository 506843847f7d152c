#include "CliCommand.h"

#include "text/TextPostProcessor.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

// A JSON array of {"spoken", "replacement"} objects, read like the settings' dictionary.
std::optional<QList<DictionaryEntry>> dictionaryFrom(const QByteArray &bytes)
{
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isArray())
        return std::nullopt;
    QList<DictionaryEntry> entries;
    for (const QJsonValue value : document.array()) {
        std::optional<DictionaryEntry> entry
            = value.isObject() ? DictionaryEntry::decoded(value.toObject()) : std::nullopt;
        if (!entry)
            return std::nullopt;
        entries.append(std::move(*entry));
    }
    return entries;
}

} // namespace

// clean: the post-processed text of standard input.
int runCleanCommand(const QStringList &arguments)
{
    const auto options = Cli::parse(
        arguments, {QStringLiteral("language"), QStringLiteral("dictionary")}, {QStringLiteral("spoken-punctuation")});
    if (!options)
        return 2;
    const std::optional<RecognitionLanguage> language = Cli::language(*options);
    if (!language)
        return 2;
    QList<DictionaryEntry> dictionary;
    if (const std::optional<QString> path = options->value("dictionary")) {
        const std::optional<QByteArray> bytes = Cli::readInput(*path);
        if (!bytes)
            return 2;
        std::optional<QList<DictionaryEntry>> entries = dictionaryFrom(*bytes);
        if (!entries)
            return Cli::usageError(
                QStringLiteral("%1 is not a JSON array of {\"spoken\", \"replacement\"} objects").arg(*path));
        dictionary = std::move(*entries);
    }
    const QString input = Cli::text(Cli::readStandardInput());
    Cli::writeStandardOutput(
        TextPostProcessor::process(input, dictionary, options->has("spoken-punctuation"), *language).toUtf8());
    return 0;
}
