#pragma once

#include "platform/SpeechRecognizer.h"

#include <QString>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

class VoiceActivity;

// The session logic of an engine that decodes 16 kHz mono audio a stretch at a time: the voice
// detector decides what is decoded (SpeechGate), each segment it closes is decoded once and given
// as a final result, and the segment still open is decoded for the running transcript once the
// decode before has returned and new speech has come since, at least as much audio after it as came
// in while it ran (so a slow model shows fewer running results instead of falling behind). The end of input stops a
// running-transcript decode at once: the finals never wait behind one. A final decode is given the recording's earlier
// final text. Silence is never decoded, and a stock phrase decoded from little speech is dropped. run() decodes on the
// thread that calls it; append, finishInput and cancel may come from others.
class GatedRecognizer : public SpeechRecognizer
{
public:
    static constexpr int sampleRate = 16000;

    void append(const AudioBuffer &buffer) override;
    void finishInput() override;
    void cancel() override;
    std::expected<void, QString> run(const std::function<void(const Result &)> &onResult) override;

protected:
    // `pace`: the least new audio, in seconds, between two running-transcript decodes.
    explicit GatedRecognizer(double pace);

    // The text of `samples`; `earlier` is what the recording's final results said before them, and
    // `isFinal` says whether the text is a final result or only the running transcript.
    // A decode polls shouldStop() and may return early (with any text) once it is true.
    virtual std::expected<QString, QString> decode(
        const std::vector<float> &samples, const QString &earlier, bool isFinal) = 0;
    // The voice detector run() follows; none counts every window as speech.
    virtual VoiceActivity *voiceActivity() = 0;
    // True once the decode under way is no longer wanted: the session was cancelled, or input ended
    // during a running-transcript decode. Safe from any thread (an engine's abort callback).
    bool shouldStop() const;

private:
    double pace;
    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<float> incoming;
    std::atomic<bool> isInputFinished{false};
    std::atomic<bool> isCancelled{false};
    std::atomic<bool> isDecodingVolatile{false};
};
