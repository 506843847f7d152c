#pragma once

#include "engines/BlockingHttp.h"
#include "platform/SpeechRecognizer.h"

#include <QUrl>

#include <condition_variable>
#include <mutex>
#include <vector>

// Recognition by a transcription server on the user's machine through the OpenAI-compatible API
// (whisper.cpp's whisper-server answers it when started with --inference-path
// /v1/audio/transcriptions): the whole recording is sent once input ends, as one POST
// <base>/audio/transcriptions, and its text comes back as one final result; there are no volatile
// results. `run` blocks its own thread for the request; `cancel` (any thread) aborts it.
// A refused connection, an HTTP error, an unreadable answer or no answer in time ends `run` with a
// readable message.
class OpenAiTranscriptionRecognizer final : public SpeechRecognizer
{
public:
    struct Options {
        // For example http://127.0.0.1:8080/v1
        QUrl baseUrl;
        // Empty: defaultModel.
        QString model;
        // "ja" or "en"
        QString language;
        // How long the server may take beyond the recording's own length. A server on this machine
        // with a model fit for dictation transcribes faster than real time; 15 s more covers a
        // server that loads its model on the first request.
        int timeoutMs = 15000;
    };

    // The name OpenAI-compatible clients send when the user names none: servers that hold one
    // model (whisper.cpp's) ignore the name, and servers that route by name commonly accept it.
    static inline const QString defaultModel = QStringLiteral("whisper-1");
    static constexpr int sampleRate = 16000;

    explicit OpenAiTranscriptionRecognizer(Options options);

    std::expected<void, QString> prepare(const QStringList &contextualStrings) override;
    std::optional<AudioFormat> bestAudioFormat(const AudioFormat &hardware) const override;
    void append(const AudioBuffer &buffer) override;
    void finishInput() override;
    void cancel() override;
    std::expected<void, QString> run(const std::function<void(const Result &)> &onResult) override;

private:
    std::expected<QString, QString> transcribe(const std::vector<float> &samples);

    const Options options;
    QString prompt;
    BlockingHttp::Cancellation cancellation;

    // Guards samples, isInputFinished and isCancelled.
    std::mutex mutex;
    std::condition_variable ended;
    std::vector<float> samples;
    bool isInputFinished = false;
    bool isCancelled = false;
};
