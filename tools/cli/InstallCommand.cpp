#include "CliCommand.h"

#include "engines/HttpModelStore.h"
#include "speech/SpeechAssetManager.h"

#include <QTextStream>

// install: downloads and verifies the models of a recognition language, or the language model.
int runInstallCommand(const QStringList &arguments)
{
    if (arguments.size() != 1)
        return Cli::usageError(QStringLiteral("install takes one of ja_JP, en_US, language-model"));
    const QString what = arguments.first();
    if (what != u"language-model" && !RecognitionLanguage::fromRawValue(what))
        return Cli::usageError(QStringLiteral("unknown model set '%1' (ja_JP, en_US, language-model)").arg(what));
    HttpModelStore store;
    SpeechAssetManager assets(store);
    QTextStream errors(stderr);
    int shown = -1;
    // This command waits for the installation, so the figures are printed where they are made.
    QObject::connect(&assets, &SpeechAssetManager::progressed, &assets, [&](const QString &, double fraction) {
        if (const int percent = int(fraction * 100); percent != shown) {
            shown = percent;
            errors << "\r" << percent << " %";
            errors.flush();
        }
    }, Qt::DirectConnection);
    const std::expected<void, QString> done
        = what == u"language-model" ? assets.ensureLanguageModelInstalled() : assets.ensureInstalled(what);
    errors << '\n';
    if (!done) {
        errors << "sorawen-cli: " << done.error() << '\n';
        return 1;
    }
    errors << "installed in " << HttpModelStore::defaultFolder() << '\n';
    return 0;
}
