#pragma once

#include "core/SerialExecutor.h"
#include "platform/SpeechRecognizer.h"
#include "speech/ModelCatalogue.h"

#include <QObject>
#include <QSet>
#include <QString>

#include <mutex>

class SpeechModelStore;

// Makes sure the models of a recognition language, and the language model, are on disk, downloading
// what is missing, once per language and run: a language confirmed installed is not checked again
// until the next start.
// Installations run one at a time on the manager's own thread; ensureInstalled blocks its caller (a
// worker thread) until done. `progressed` and `failed` are emitted on that thread, so a receiver of
// the main thread gets them there, queued.
class SpeechAssetManager final : public QObject, public SpeechModels
{
    Q_OBJECT

public:
    explicit SpeechAssetManager(SpeechModelStore &store);

    std::expected<void, QString> ensureInstalled(const QString &localeIdentifier) override;
    // Answers at once, also while a download runs.
    bool isInstalled(const QString &localeIdentifier) const;

    // The language model is large and optional: it is downloaded only when asked for.
    std::expected<void, QString> ensureLanguageModelInstalled();
    // Its file when installed (a file is only ever in place once verified), else why not.
    std::expected<QString, QString> installedLanguageModel() const;
    static inline const QString languageModelKey = QStringLiteral("languageModel");

Q_SIGNALS:
    // `what` is the locale identifier, or languageModelKey.
    void progressed(const QString &what, double fraction);
    // An installation ended without the files, with the reason.
    void failed(const QString &what, const QString &message);

private:
    std::expected<void, QString> ensureFiles(const QString &key, const std::vector<ModelFile> &files);

    SpeechModelStore &store;
    // Written only on the executor's thread.
    mutable std::mutex installedLock;
    QSet<QString> installed;
    SerialExecutor executor;
};
