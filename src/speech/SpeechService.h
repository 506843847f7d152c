#pragma once

#include "platform/AudioEngine.h"
#include "platform/Clock.h"
#include "platform/SerialExecutor.h"
#include "speech/SpeechServiceError.h"

#include <QObject>

#include <expected>
#include <functional>
#include <memory>
#include <mutex>

// One recording's microphone: starts capture at once, keeps what is heard in memory (at most 30 s)
// until the recogniser's format is known, then converts every buffer into that format and streams
// it on; reports the input level; survives up to 8 device changes and about 3 s without an input.
// Made on the main thread for one recording and thrown away after it. The level and interruption
// handlers are called on the main thread; everything else may be called from any thread.
//
// Lock order: engineLock before lock; lock is never held while engineLock is taken.
class SpeechService : public QObject
{
    Q_OBJECT

public:
    using Sink = std::function<void(AudioBuffer)>;

    SpeechService(AudioEngine &engine, AudioConverterFactory &converters, Clock &clock, QObject *parent = nullptr);
    ~SpeechService() override;

    std::function<void(double)> onLevel;
    std::function<void()> onInterruption;

    // Starts the microphone. Fails with noInput when the input has no usable format, cancelled when
    // the service was already started or stopped, engineFailed when the engine does not start.
    std::expected<void, SpeechServiceError> startCapture();
    // From now on every buffer is converted to `format` and handed to `sink`; what was captured
    // before goes first, in order. False when the service was already stopped.
    bool beginStreaming(const AudioFormat &format, Sink sink);
    // Stops for good: no more buffers, levels or restarts. Idempotent.
    void stopInput();
    // Stops, then calls `onInterruption` when restarts give up; overridable by the recognition side.
    virtual void cancel();

    bool isStopped() const;
    // Blocks until every restart already scheduled has run (shutdown and tests).
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

    void installTap(const AudioFormat &format);
    void consume(const AudioBuffer &buffer);
    void convertAndYield(const AudioBuffer &buffer);
    void scheduleRestart(Clock::Duration delay);
    RestartResult restartInput();
    void giveUp();

    AudioEngine &engine;
    AudioConverterFactory &converters;
    Clock &clock;

    // Guards the engine's start and stop, the tap, engineTap, tapFormat, restartCount, retryCount.
    std::mutex engineLock;
    bool engineTap = false;
    std::optional<AudioFormat> tapFormat;
    int restartCount = 0;
    int retryCount = 0;

    // Guards the data path: stopped, tapInstalled, sink, pending, pendingFrames, outputFormat,
    // converter.
    mutable std::mutex lock;
    bool stopped = false;
    bool tapInstalled = false;
    Sink sink;
    std::vector<AudioBuffer> pending;
    qint64 pendingFrames = 0;
    std::optional<AudioFormat> outputFormat;
    std::unique_ptr<AudioConverter> converter;

    // Last member: destroyed first, so no restart runs on a half-destroyed service.
    SerialExecutor restartQueue;
};
