#include "CliCommand.h"

#include "platform/linux/FileDefaultsStore.h"
#include "store/LanguageModelChoice.h"

#include <QTextStream>

// language-model: shows or sets which language model rewrites dictations, the installed one or a
// chat endpoint on this machine. Kept beside the settings, where the application reads it.
int runLanguageModelCommand(const QStringList &arguments)
{
    const auto options = Cli::parse(
        arguments, {QStringLiteral("endpoint"), QStringLiteral("endpoint-model")}, {QStringLiteral("installed")});
    if (!options)
        return 2;
    FileDefaultsStore defaults;
    LanguageModelChoice choice = LanguageModelChoice::load(defaults);
    if (options->has("installed") && options->value("endpoint"))
        return Cli::usageError(QStringLiteral("give --installed or --endpoint, not both"));
    if (options->has("installed")) {
        choice = {};
    } else if (const std::optional<QString> endpoint = options->value("endpoint")) {
        const std::expected<QUrl, QString> url = LanguageModelChoice::endpointUrl(*endpoint);
        if (!url)
            return Cli::usageError(url.error());
        choice = {*url, options->value("endpoint-model").value_or(QString())};
    } else if (options->value("endpoint-model")) {
        return Cli::usageError(QStringLiteral("--endpoint-model needs --endpoint"));
    }
    if ((options->has("installed") || options->value("endpoint")) && !choice.save(defaults)) {
        QTextStream(stderr) << "sorawen-cli: the choice could not be written to "
                            << FileDefaultsStore::defaultFileName() << '\n';
        return 1;
    }
    QTextStream out(stdout);
    if (choice.usesEndpoint())
        out << "endpoint " << choice.endpoint.toString() << " model "
            << (choice.model.isEmpty() ? QStringLiteral("(the first it lists)") : choice.model) << '\n';
    else
        out << "installed\n";
    return 0;
}
