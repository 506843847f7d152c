#include "CliCommand.h"

#include "engines/MecabTokenizer.h"
#include "text/JapaneseEditFilter.h"
#include "text/PolishedTextValidator.h"

namespace {

struct Texts {
    QString raw;
    QString polished;
};

std::optional<Texts> rawAndPolished(const Cli::Options &options)
{
    const std::optional<QString> rawPath = options.value("raw");
    const std::optional<QString> polishedPath = options.value("polished");
    if (!rawPath || !polishedPath) {
        Cli::usageError(QStringLiteral("--raw FILE and --polished FILE are required"));
        return std::nullopt;
    }
    if (*rawPath == u"-" && *polishedPath == u"-") {
        Cli::usageError(QStringLiteral("only one of --raw and --polished can read standard input"));
        return std::nullopt;
    }
    const std::optional<QByteArray> raw = Cli::readInput(*rawPath);
    const std::optional<QByteArray> polished = raw ? Cli::readInput(*polishedPath) : std::nullopt;
    if (!raw || !polished)
        return std::nullopt;
    return Texts{Cli::text(*raw), Cli::text(*polished)};
}

std::unique_ptr<MecabTokenizer> loadedTokenizer()
{
    auto tokenizer = std::make_unique<MecabTokenizer>();
    if (!tokenizer->isAvailable()) {
        Cli::usageError(tokenizer->errorMessage());
        return nullptr;
    }
    return tokenizer;
}

} // namespace

// merge: the Japanese edit filter's merge of the two files.
int runMergeCommand(const QStringList &arguments)
{
    const auto options = Cli::parse(arguments, {QStringLiteral("raw"), QStringLiteral("polished")}, {});
    const std::optional<Texts> texts = options ? rawAndPolished(*options) : std::nullopt;
    if (!texts)
        return 2;
    const std::unique_ptr<MecabTokenizer> tokenizer = loadedTokenizer();
    if (!tokenizer)
        return 3;
    Cli::writeStandardOutput(JapaneseEditFilter(*tokenizer).merge(texts->raw, texts->polished).toUtf8());
    return 0;
}

// validate: the accepted text, or nothing and status 1 when the rewrite is rejected.
int runValidateCommand(const QStringList &arguments)
{
    const auto options
        = Cli::parse(arguments, {QStringLiteral("language"), QStringLiteral("raw"), QStringLiteral("polished")}, {});
    const std::optional<RecognitionLanguage> language = options ? Cli::language(*options) : std::nullopt;
    const std::optional<Texts> texts = language ? rawAndPolished(*options) : std::nullopt;
    if (!texts)
        return 2;
    const std::unique_ptr<MecabTokenizer> tokenizer = loadedTokenizer();
    if (!tokenizer)
        return 3;
    const std::optional<QString> accepted
        = PolishedTextValidator::accepted(texts->raw, texts->polished, *language, *tokenizer);
    if (!accepted)
        return 1;
    Cli::writeStandardOutput(accepted->toUtf8());
    return 0;
}
