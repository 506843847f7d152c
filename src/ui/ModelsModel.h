#pragma once

#include <QObject>
#include <QSet>
#include <QVariantList>
#include <QVariantMap>
#include <qcoro/qcorotask.h>

class DefaultsStore;
class SpeechAssetManager;
class SpeechModelStore;

// Which models recognise and rewrite, as the settings window shows them: for each recognition
// language the catalogue's model (installed or not, with its size and a download), a model file
// of the user's own, or a transcription server on this machine; and for the rewrite the installed
// language model or a chat endpoint on this machine. Choices are stored at once; a recogniser
// choice applies from the next dictation, and so does a language model choice. Downloads
// run on the long-work pool and go on when the window closes. Main thread only.
class ModelsModel : public QObject
{
    Q_OBJECT
    // One map per recognition language (Japanese, English): {title, source (0 catalogue, 1 file,
    // 2 server), isInstalled, size, progress (-1 when not downloading), problem, path, url, model}.
    Q_PROPERTY(QVariantList speechModels READ speechModels NOTIFY changed)
    // {source (0 installed, 1 endpoint), isInstalled, size, progress, problem, url, model}.
    Q_PROPERTY(QVariantMap languageModel READ languageModel NOTIFY changed)

public:
    ModelsModel(SpeechAssetManager &assets, const SpeechModelStore &store, DefaultsStore &defaults,
        QObject *parent = nullptr);

    QVariantList speechModels() const;
    QVariantMap languageModel() const;

    Q_INVOKABLE void useCatalogueModel(int language);
    // The file is kept only when it can be read; otherwise the row says why.
    Q_INVOKABLE void useModelFile(int language, const QString &path);
    // The address is kept only when it is on this machine; otherwise the row says why.
    Q_INVOKABLE void useTranscriptionServer(int language, const QString &url, const QString &model);
    Q_INVOKABLE void downloadSpeechModel(int language);

    Q_INVOKABLE void useInstalledLanguageModel();
    Q_INVOKABLE void useLanguageModelEndpoint(const QString &url, const QString &model);
    Q_INVOKABLE void downloadLanguageModel();

Q_SIGNALS:
    void changed();

private:
    QCoro::Task<> download(QString key);
    void setProblem(const QString &key, const QString &problem);

    SpeechAssetManager &assets;
    const SpeechModelStore &store;
    DefaultsStore &defaults;
    // Keyed by locale identifier, or the language model's key.
    QHash<QString, double> progress;
    QHash<QString, QString> problems;
};
