#pragma once

#include "platform/SerialExecutor.h"
#include "platform/SpeechRecognizer.h"

#include <QSet>
#include <QString>

#include <functional>

class SpeechModelStore;

// Makes sure the models of a recognition language are on disk, downloading what is missing, once per
// language and run: a language confirmed installed is not checked again until the next start.
// Installations run one at a time on the manager's own thread; ensureInstalled blocks its caller (a
// worker thread) until done. `onProgress` is called on that thread.
class SpeechAssetManager final : public SpeechModels
{
public:
    explicit SpeechAssetManager(SpeechModelStore &store);

    std::function<void(const QString &localeIdentifier, double fraction)> onProgress;

    std::expected<void, QString> ensureInstalled(const QString &localeIdentifier) override;
    bool isInstalled(const QString &localeIdentifier) const;

private:
    SpeechModelStore &store;
    // Touched only on the executor's thread.
    QSet<QString> installed;
    SerialExecutor executor;
};
