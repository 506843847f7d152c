#pragma once

#include "platform/AudioEngine.h"

#include <QString>
#include <QStringList>

#include <expected>
#include <functional>
#include <memory>
#include <optional>

// One on-device recognition session: audio in (in the recogniser's own format), volatile and final
// results out, in order. `append` is called on the audio thread, `finishInput` and `cancel` on a
// worker thread, `run` on a thread of its own; implementations make these safe together.
class SpeechRecognizer
{
public:
    struct Result {
        QString text;
        bool isFinal = false;
    };

    virtual ~SpeechRecognizer() = default;

    // Loads what the session needs; `contextualStrings` are words to favour (the user's dictionary).
    virtual std::expected<void, QString> prepare(const QStringList &contextualStrings) = 0;
    // The format to convert the microphone's audio into; nothing when there is none.
    virtual std::optional<AudioFormat> bestAudioFormat(const AudioFormat &hardware) const = 0;
    virtual void append(const AudioBuffer &buffer) = 0;
    // No more audio: recognise the rest and end the results.
    virtual void finishInput() = 0;
    // Stop at once; `run` returns soon after.
    virtual void cancel() = 0;
    // Reports every result to `onResult` until the session ends; the error says why it failed.
    virtual std::expected<void, QString> run(const std::function<void(const Result &)> &onResult) = 0;
};

class SpeechRecognizerFactory
{
public:
    virtual ~SpeechRecognizerFactory() = default;
    // A session for "ja_JP" or "en_US"; nothing when that language has no recogniser.
    virtual std::unique_ptr<SpeechRecognizer> make(const QString &localeIdentifier) = 0;
    // Starts loading what a recording in this language needs, if it is installed, so the first
    // recording finds it ready; returns at once. A failure is left for the recording to report.
    virtual void prewarm(const QString &localeIdentifier) = 0;
};

// The recognition models on disk.
class SpeechModels
{
public:
    virtual ~SpeechModels() = default;
    // Installs the models of a locale when they are missing; the error is readable.
    virtual std::expected<void, QString> ensureInstalled(const QString &localeIdentifier) = 0;
};
