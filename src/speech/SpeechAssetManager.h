#pragma once

#include "core/SerialExecutor.h"
#include "platform/SpeechRecognizer.h"
#include "speech/ModelCatalogue.h"

#include <QSet>
#include <QString>

#include <functional>

class SpeechModelStore;

// Makes sure the models of a recognition language, and the language model, are on disk, downloading
// what is missing, once per language and run: a language confirmed installed is not checked again
// until the next start.
// Installations run one at a time on the manager's own thread; ensureInstalled blocks its caller (a
// worker thread) until done. `onProgress` is called on that thread.
class SpeechAssetManager final : public SpeechModels
{
public:
    explicit SpeechAssetManager(SpeechModelStore &store);

    // `what` is the locale identifier, or languageModelKey.
    std::function<void(const QString &what, double fraction)> onProgress;

    std::expected<void, QString> ensureInstalled(const QString &localeIdentifier) override;
    bool isInstalled(const QString &localeIdentifier) const;

    // The language model is large and optional: it is downloaded only when asked for.
    std::expected<void, QString> ensureLanguageModelInstalled();
    // Its file when installed (a file is only ever in place once verified), else why not.
    std::expected<QString, QString> installedLanguageModel() const;
    static inline const QString languageModelKey = QStringLiteral("languageModel");

private:
    std::expected<void, QString> ensureFiles(const QString &key, const std::vector<ModelFile> &files);

    SpeechModelStore &store;
    // Touched only on the executor's thread.
    QSet<QString> installed;
    SerialExecutor executor;
};
