#pragma once

#include "platform/AudioEngine.h"
#include "core/Clock.h"
#include "core/SerialExecutor.h"
#include "core/TaskPools.h"
#include "platform/SpeechRecognizer.h"
#include "speech/SpeechServiceError.h"

#include <QFuture>
#include <QObject>

#include <atomic>
#include <expected>
#include <functional>
#include <memory>
#include <mutex>

// One recording's microphone and recognition session. Capture starts at once and what is heard is
// kept in memory (at most 30 s) until the recogniser is ready; then every buffer is converted into
// the recogniser's format and streamed to it, the earlier ones first. The running transcript and
// the input level go to their handlers; up to 8 device changes and about 3 s without an input are
// survived. Made on the main thread for one recording and thrown away after it with release().
// The handlers are called on the main thread. startCapture, prepareAnalyzer, finish and cancel
// return at once with a future; their blocking work runs on the task pools.
//
// Lock order: engineLock before lock; lock is never held while engineLock is taken.
class SpeechService : public QObject
{
    Q_OBJECT

public:
    using Sink = std::function<void(AudioBuffer)>;

    struct Environment {
        AudioEngine &engine;
        AudioConverterFactory &converters;
        SpeechRecognizerFactory &recognizers;
        SpeechModels &models;
        Clock &clock;
    };

    explicit SpeechService(const Environment &environment, QObject *parent = nullptr);
    // Only once no job of the service runs any more (release() sees to that); a service still
    // capturing is stopped here.
    ~SpeechService() override;

    std::function<void(double)> onLevel;
    std::function<void(const QString &)> onPartialText;
    std::function<void()> onInterruption;

    // Makes the recogniser for "ja_JP" or "en_US" favouring `contextualStrings`, then streams the
    // audio captured so far and from now on into it. Fails with modelInstallationFailed, noInput,
    // unsupportedFormat, cancelled (the session was stopped meanwhile) or engineFailed.
    QFuture<std::expected<void, SpeechServiceError>> prepareAnalyzer(
        const QString &localeIdentifier, const QStringList &contextualStrings);
    // Ends the input; the final transcript (empty when recognition never started).
    QFuture<std::expected<QString, SpeechServiceError>> finish();
    // Starts the microphone and returns once it is heard. Fails with noInput when the input has no
    // usable format or delivers nothing within a few seconds, cancelled when
    // the service was already started or stopped, engineFailed when the engine does not start.
    QFuture<std::expected<void, SpeechServiceError>> startCapture();
    // Stops the input and the recogniser: from now on no text, level or interruption is delivered.
    // The future finishes once the microphone is closed and the recogniser has returned (a decode
    // in progress runs to its end and is dropped). Never fails.
    QFuture<void> cancel();
    // Deletes the service on its thread once every job it started has returned. The owner calls it
    // instead of deleting; the service must have been finished or cancelled.
    void release();

    // From now on every buffer is converted to `format` and handed to `sink`; what was captured
    // before goes first, in order. False when the service was already stopped.
    bool beginStreaming(const AudioFormat &format, Sink sink);
    // Stops for good: no more buffers, levels or restarts. Idempotent. Blocks on the audio engine.
    void stopInput();
    bool isStopped() const;
    // Blocks until every restart already scheduled has run (tests).
    void waitForRestarts();

    // The level of one buffer: first-channel RMS × 8, at most 1.
    static double level(const AudioBuffer &buffer);
    // Frames an output buffer needs for `frames` input frames: ceil(out/in × frames) + 1.
    static qint64 outputCapacity(const AudioFormat &from, const AudioFormat &to, qint64 frames);

    static constexpr int maximumRestarts = 8;
    static constexpr int maximumRetries = 60;
    static constexpr double pendingSeconds = 30;

private:
    enum class RestartResult { handled, retry, giveUp };
    using Transcript = std::expected<QString, QString>;

    std::expected<void, SpeechServiceError> startCaptureNow();
    std::expected<void, SpeechServiceError> prepareAnalyzerNow(
        const QString &localeIdentifier, const QStringList &contextualStrings);
    std::expected<QString, SpeechServiceError> finishNow();
    void cancelNow();
    // Runs `job` on `pool`, counted, so that release() waits for it.
    template<typename Job>
    auto onPool(QThreadPool &pool, Job job)
    {
        jobStarted();
        return TaskPools::run(pool, [this, job = std::move(job)]() mutable {
            struct Done {
                SpeechService *service;
                ~Done() { service->jobEnded(); }
            } done{this};
            return job();
        });
    }
    void jobStarted();
    void jobEnded();

    // With engineLock held.
    void installTap(const AudioFormat &format);
    void removeTap();
    // Runs `call` on the service's (main) thread later; dropped if the service is gone by then.
    template<typename Call>
    void onMainThread(Call call)
    {
        QMetaObject::invokeMethod(this, std::move(call), Qt::QueuedConnection);
    }
    void consume(const AudioBuffer &buffer);
    void convertAndYield(const AudioBuffer &buffer);
    // With `lock` held: what the converter still holds goes to the sink.
    void flushConverter();
    void scheduleRestart(Clock::Duration delay);
    RestartResult restartInput();
    void giveUp();
    // The recogniser and its results, once prepareAnalyzer has published them.
    std::pair<SpeechRecognizer *, QFuture<Transcript>> currentSession() const;

    // The recording's own stream when the environment's engine makes one, else that engine.
    std::unique_ptr<AudioEngine> ownStream;
    AudioEngine &engine;
    AudioConverterFactory &converters;
    SpeechRecognizerFactory &recognizers;
    SpeechModels &models;
    Clock &clock;

    // Set together, once, by prepareAnalyzer under `lock`.
    std::unique_ptr<SpeechRecognizer> recognizer;
    QFuture<Transcript> results;

    // Guards the engine's start and stop, the tap, engineTap, tapFormat, restartCount, retryCount.
    std::mutex engineLock;
    bool engineTap = false;
    std::optional<AudioFormat> tapFormat;
    int restartCount = 0;
    int retryCount = 0;

    // Guards the data path: stopped, tapInstalled, sink, pending, pendingFrames, outputFormat,
    // converter, and the recogniser with its results.
    mutable std::mutex lock;
    bool stopped = false;
    bool tapInstalled = false;
    Sink sink;
    std::vector<AudioBuffer> pending;
    qint64 pendingFrames = 0;
    std::optional<AudioFormat> outputFormat;
    std::unique_ptr<AudioConverter> converter;

    // The owner's hold (until release()) plus the jobs on the pools and the restart queue that have
    // not returned yet; whoever takes it to zero deletes the service.
    std::atomic<int> holds{1};
    // Set at once by cancel(), before its blocking part runs: nothing more reaches the handlers.
    std::atomic<bool> isSilenced{false};

    // Last member: destroyed first, so no restart runs on a half-destroyed service.
    SerialExecutor restartQueue;
};
