#pragma once

#include "platform/SpeechRecognizer.h"
#include "speech/ModelCatalogue.h"

#include <QObject>
#include <QSet>
#include <QString>

#include <future>
#include <map>
#include <mutex>

class SpeechModelStore;

// Makes sure the models of a recognition language, and the language model, are on disk, downloading
// what is missing, once per language and run: a language confirmed installed is not checked again
// until the next start.
// An installation runs on its caller's thread (a worker thread), which it blocks until done.
// Installations of different files run side by side, so a recording's model never waits behind the
// language model's download; callers that need the same file share one download of it.
// `progressed` and `failed` are emitted on the installing thread, so a receiver of the main thread
// gets them there, queued.
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
    // Downloads `file` for `key`, or waits for the download of it that another caller started.
    std::expected<void, QString> fetch(const QString &key, const ModelFile &file, double from, double share);

    SpeechModelStore &store;
    mutable std::mutex lock;
    QSet<QString> installed;
    // The files downloaded in this run, and the downloads running, by file name.
    QSet<QString> placed;
    std::map<QString, std::shared_future<std::expected<void, QString>>> running;
};
