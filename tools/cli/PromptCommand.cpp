#include "CliCommand.h"

#include "text/PromptBuilder.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace {

std::optional<DeepContext> contextFrom(const QByteArray &bytes)
{
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    auto field = [&](const char *name) { return object.value(QLatin1StringView(name)).toString(); };
    return DeepContext{field("applicationName"), field("windowTitle"), field("selectedText"), field("focusedText")};
}

} // namespace

// prompt: the rewrite instructions, or with --utterance the wrapped utterance of standard input.
int runPromptCommand(const QStringList &arguments)
{
    const auto options = Cli::parse(arguments,
        {QStringLiteral("language"), QStringLiteral("settings"), QStringLiteral("bundle-id"), QStringLiteral("context"),
            QStringLiteral("limit")},
        {QStringLiteral("utterance")});
    const std::optional<RecognitionLanguage> language = options ? Cli::language(*options) : std::nullopt;
    if (!language)
        return 2;
    if (options->has("utterance")) {
        const QString utterance = Cli::text(Cli::readStandardInput());
        Cli::writeStandardOutput(PromptBuilder::wrapUtterance(utterance, *language).toUtf8());
        return 0;
    }

    RippletSettings settings;
    if (const std::optional<QString> path = options->value("settings")) {
        const std::optional<QByteArray> bytes = Cli::readInput(*path);
        if (!bytes)
            return 2;
        settings = RippletSettings::load(*bytes);
    }
    settings.language = *language;

    std::optional<DeepContext> context;
    if (const std::optional<QString> path = options->value("context")) {
        const std::optional<QByteArray> bytes = Cli::readInput(*path);
        if (!bytes)
            return 2;
        context = contextFrom(*bytes);
        if (!context)
            return Cli::usageError(QStringLiteral("%1 is not a JSON object").arg(*path));
    }

    qint64 limit = 800;
    if (const std::optional<QString> text = options->value("limit")) {
        bool isNumber = false;
        limit = text->toLongLong(&isNumber);
        if (!isNumber)
            return Cli::usageError(QStringLiteral("--limit takes a whole number"));
    }
    Cli::writeStandardOutput(PromptBuilder::build(settings, options->value("bundle-id"), context, limit).toUtf8());
    return 0;
}
