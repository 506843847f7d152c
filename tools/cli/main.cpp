#include "CliCommand.h"

#include <QCoreApplication>
#include <QTextStream>

#include <array>

namespace {

constexpr std::array commands{
    CliCommand{
        "clean", "clean --language ja_JP|en_US [--spoken-punctuation] [--dictionary FILE] < text", runCleanCommand},
    CliCommand{"merge", "merge --raw FILE --polished FILE", runMergeCommand},
    CliCommand{"validate", "validate --language ja_JP|en_US --raw FILE --polished FILE", runValidateCommand},
    CliCommand{"prompt",
        "prompt --language ja_JP|en_US [--settings FILE] [--bundle-id ID] [--context FILE] [--limit N] "
        "[--utterance < text]",
        runPromptCommand},
    CliCommand{"settings", "settings < stored.json", runSettingsCommand},
    CliCommand{"polish",
        "polish --language ja_JP|en_US [--model PATH | --endpoint URL [--endpoint-model NAME]] [--timeout S] "
        "< utterance",
        runPolishCommand},
    CliCommand{"install", "install ja_JP|en_US|language-model", runInstallCommand},
    CliCommand{"language-model", "language-model [--installed | --endpoint URL [--endpoint-model NAME]]",
        runLanguageModelCommand},
    CliCommand{"speech-model",
        "speech-model --language ja_JP|en_US [--catalogue | --file PATH | --endpoint URL [--endpoint-model NAME]]",
        runSpeechModelCommand},
    CliCommand{"transcribe",
        "transcribe FILE.wav [--model PATH [--engine whisper|parakeet] [--vad PATH]] [--language ja_JP|en_US] [--fast]",
        runTranscribeCommand},
    CliCommand{"dictate", "dictate FILE.wav [--language ja_JP|en_US] [--fast]", runDictateCommand},
    CliCommand{"update-feed",
        "update-feed --new-keys SECRET_FILE | --sign FEED.json --secret-key SECRET_FILE | --check FILE --public-key "
        "BASE64",
        runUpdateFeedCommand},
};

int printUsage(QTextStream &stream)
{
    stream << "usage: sorawen-cli <command> [arguments]\n\ncommands:\n";
    for (const CliCommand &command : commands)
        stream << "  " << command.usage << '\n';
    stream.flush();
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    QTextStream errors(stderr);
    if (arguments.isEmpty())
        return printUsage(errors);
    const QString name = arguments.takeFirst();
    if (name == u"--help" || name == u"help") {
        QTextStream out(stdout);
        printUsage(out);
        return 0;
    }
    for (const CliCommand &command : commands) {
        if (name == QLatin1StringView(command.name))
            return command.run(arguments);
    }
    errors << "sorawen-cli: unknown command '" << name << "'\n\n";
    return printUsage(errors);
}
