#pragma once

#include "platform/SpeechRecognizer.h"

class DefaultsStore;
class SpeechModelStore;

// The recogniser of each language as the user chose it (SpeechModelChoice): whisper.cpp with the
// catalogue's model or with a model file of the user's own, or a transcription server on this
// machine. The choice is read from the defaults store at every call, so a change applies from the
// next recording. Called on worker threads, which read `defaults` there; ensureInstalled blocks while
// the catalogue installs, and fails with a readable message, as for an own file that is gone.
class ChosenRecognizers final : public SpeechRecognizerFactory, public SpeechModels
{
public:
    // `catalogue` installs the catalogue's models (the SpeechAssetManager); `installed` says where
    // they are.
    ChosenRecognizers(const DefaultsStore &defaults, SpeechModels &catalogue, const SpeechModelStore &installed);

    std::expected<void, QString> ensureInstalled(const QString &localeIdentifier) override;
    std::unique_ptr<SpeechRecognizer> make(const QString &localeIdentifier) override;
    void prewarm(const QString &localeIdentifier) override;

private:
    const DefaultsStore &defaults;
    SpeechModels &catalogue;
    const SpeechModelStore &installed;
};
