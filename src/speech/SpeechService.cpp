#include "speech/SpeechService.h"

#include <QMetaObject>

#include <cmath>

using namespace std::chrono_literals;

namespace {
constexpr Clock::Duration retryDelay = 50ms;
// How long a started microphone may take to be heard: a suspended source resumes in tens to
// hundreds of milliseconds, a Bluetooth headset switching profiles in one to two seconds.
constexpr std::chrono::milliseconds liveLimit = 3s;
} // namespace

SpeechService::SpeechService(const Environment &environment, QObject *parent)
    : QObject(parent)
    , ownStream(environment.engine.makeStream())
    , engine(ownStream ? *ownStream : environment.engine)
    , converters(environment.converters)
    , recognizers(environment.recognizers)
    , models(environment.models)
    , clock(environment.clock)
{ }

SpeechService::~SpeechService()
{
    if (!isStopped())
        cancelNow();
}

void SpeechService::jobStarted()
{
    ++holds;
}

void SpeechService::jobEnded()
{
    // deleteLater may be called from any thread.
    if (--holds == 0)
        deleteLater();
}

void SpeechService::release()
{
    jobEnded();
}

QFuture<std::expected<void, SpeechServiceError>> SpeechService::startCapture()
{
    return onPool(TaskPools::shortWork(), [this] { return startCaptureNow(); });
}

QFuture<std::expected<void, SpeechServiceError>> SpeechService::prepareAnalyzer(
    const QString &localeIdentifier, const QStringList &contextualStrings)
{
    return onPool(TaskPools::longWork(), [this, localeIdentifier, contextualStrings] {
        return prepareAnalyzerNow(localeIdentifier, contextualStrings);
    });
}

QFuture<std::expected<QString, SpeechServiceError>> SpeechService::finish()
{
    return onPool(TaskPools::longWork(), [this] { return finishNow(); });
}

QFuture<void> SpeechService::cancel()
{
    isSilenced = true;
    return onPool(TaskPools::shortWork(), [this] { cancelNow(); });
}

double SpeechService::level(const AudioBuffer &buffer)
{
    const qint64 frames = buffer.frameLength();
    if (frames == 0)
        return 0;
    float sum = 0;
    const int stride = buffer.format.channelCount;
    for (qint64 frame = 0; frame < frames; ++frame) {
        const float sample = buffer.samples[size_t(frame * stride)];
        sum += sample * sample;
    }
    return std::min(double(std::sqrt(sum / float(frames))) * 8.0, 1.0);
}

qint64 SpeechService::outputCapacity(const AudioFormat &from, const AudioFormat &to, qint64 frames)
{
    return qint64(std::ceil(to.sampleRate / from.sampleRate * double(frames))) + 1;
}

std::expected<void, SpeechServiceError> SpeechService::startCaptureNow()
{
    std::expected<void, QString> started;
    bool installedHere = false;
    {
        std::scoped_lock engineGuard(engineLock);
        const AudioFormat format = engine.inputFormat();
        if (!format.isUsable())
            return std::unexpected(SpeechServiceError{SpeechServiceError::noInput, {}});
        {
            std::scoped_lock guard(lock);
            if (stopped || tapInstalled)
                return std::unexpected(SpeechServiceError{SpeechServiceError::cancelled, {}});
            tapInstalled = true;
            installedHere = true;
        }
        engine.setConfigurationChangeHandler([this] { scheduleRestart(0ms); });
        installTap(format);
        started = engine.start();
    }
    if (!started) {
        if (installedHere)
            stopInput();
        return std::unexpected(SpeechServiceError{SpeechServiceError::engineFailed, started.error()});
    }
    // The microphone is live once it is heard, not once it was asked for.
    const bool isHeard = !isStopped() && engine.awaitFirstBuffer(liveLimit);
    if (isStopped()) {
        // A cancel raced the start.
        stopInput();
        return std::unexpected(SpeechServiceError{SpeechServiceError::cancelled, {}});
    }
    if (!isHeard) {
        stopInput();
        return std::unexpected(SpeechServiceError{SpeechServiceError::noInput, {}});
    }
    return {};
}

void SpeechService::installTap(const AudioFormat &format)
{
    engine.installTap(format, [this](const AudioBuffer &buffer) { consume(buffer); });
    engineTap = true;
    tapFormat = format;
}

bool SpeechService::isStopped() const
{
    std::scoped_lock guard(lock);
    return stopped;
}

void SpeechService::consume(const AudioBuffer &buffer)
{
    {
        std::scoped_lock guard(lock);
        if (stopped)
            return;
        if (!outputFormat) {
            // A buffer that starts below the bound is kept whole, even if it crosses it.
            if (double(pendingFrames) < buffer.format.sampleRate * pendingSeconds) {
                pending.push_back(buffer);
                pendingFrames += buffer.frameLength();
            }
        } else {
            convertAndYield(buffer);
        }
    }
    const double value = level(buffer);
    onMainThread([this, value] {
        if (onLevel && !isSilenced)
            onLevel(value);
    });
}

void SpeechService::convertAndYield(const AudioBuffer &buffer)
{
    if (!outputFormat)
        return;
    if (!converter || converter->inputFormat() != buffer.format) {
        flushConverter();
        converter = converters.make(buffer.format, *outputFormat);
    }
    if (!converter)
        return;
    std::optional<AudioBuffer> converted
        = converter->convert(buffer, outputCapacity(buffer.format, *outputFormat, buffer.frameLength()));
    // A buffer that cannot be converted is dropped; the recording goes on.
    if (converted && sink)
        sink(std::move(*converted));
}

void SpeechService::flushConverter()
{
    if (!converter || !sink)
        return;
    AudioBuffer tail = converter->flush();
    if (tail.frameLength() > 0)
        sink(std::move(tail));
}

bool SpeechService::beginStreaming(const AudioFormat &format, Sink given)
{
    std::scoped_lock guard(lock);
    if (stopped)
        return false;
    sink = std::move(given);
    outputFormat = format;
    // Under the tap's own lock, so no new buffer can come between the replayed ones.
    for (const AudioBuffer &buffer : pending)
        convertAndYield(buffer);
    pending.clear();
    pendingFrames = 0;
    return true;
}

void SpeechService::stopInput()
{
    engine.setConfigurationChangeHandler(nullptr);
    {
        std::scoped_lock guard(lock);
        // The last tens of milliseconds of the recording are still inside the converter.
        if (!stopped)
            flushConverter();
        stopped = true;
        tapInstalled = false;
        sink = nullptr;
        pending.clear();
        pendingFrames = 0;
    }
    std::scoped_lock engineGuard(engineLock);
    removeTap();
    engine.stop();
}

void SpeechService::removeTap()
{
    if (engineTap) {
        engine.removeTap();
        engineTap = false;
        tapFormat.reset();
    }
}

std::pair<SpeechRecognizer *, QFuture<SpeechService::Transcript>> SpeechService::currentSession() const
{
    std::scoped_lock guard(lock);
    return {recognizer.get(), results};
}

void SpeechService::cancelNow()
{
    isSilenced = true;
    stopInput();
    auto [session, running] = currentSession();
    if (session != nullptr)
        session->cancel();
    if (running.isValid())
        running.waitForFinished();
}

std::expected<void, SpeechServiceError> SpeechService::prepareAnalyzerNow(
    const QString &localeIdentifier, const QStringList &contextualStrings)
{
    if (std::expected<void, QString> installed = models.ensureInstalled(localeIdentifier); !installed)
        return std::unexpected(SpeechServiceError{SpeechServiceError::modelInstallationFailed, installed.error()});
    std::unique_ptr<SpeechRecognizer> made = recognizers.make(localeIdentifier);
    if (!made)
        return std::unexpected(SpeechServiceError{SpeechServiceError::unsupportedFormat, {}});
    if (std::expected<void, QString> prepared = made->prepare(contextualStrings); !prepared)
        return std::unexpected(SpeechServiceError{SpeechServiceError::engineFailed, prepared.error()});
    if (isStopped())
        return std::unexpected(SpeechServiceError{SpeechServiceError::cancelled, {}});
    const AudioFormat hardware = engine.inputFormat();
    if (!hardware.isUsable())
        return std::unexpected(SpeechServiceError{SpeechServiceError::noInput, {}});
    const std::optional<AudioFormat> format = made->bestAudioFormat(hardware);
    if (!format)
        return std::unexpected(SpeechServiceError{SpeechServiceError::unsupportedFormat, {}});

    SpeechRecognizer *session = made.get();
    QFuture<Transcript> running = onPool(TaskPools::longWork(), [this, session] {
        QString finalText;
        const std::expected<void, QString> ended = session->run([&](const SpeechRecognizer::Result &result) {
            if (result.isFinal)
                finalText += result.text;
            const QString shown = result.isFinal ? finalText : finalText + result.text;
            // Queued calls to one receiver keep their order, so the bar never goes back in time.
            onMainThread([this, shown] {
                if (onPartialText && !isSilenced)
                    onPartialText(shown);
            });
        });
        if (!ended)
            return Transcript(std::unexpected(ended.error()));
        return Transcript(finalText);
    });
    bool isPublished = false;
    {
        std::scoped_lock guard(lock);
        if (!stopped) {
            recognizer = std::move(made);
            results = running;
            isPublished = true;
        }
    }
    if (!isPublished) {
        session->cancel();
        running.waitForFinished();
        return std::unexpected(SpeechServiceError{SpeechServiceError::cancelled, {}});
    }
    if (!beginStreaming(*format, [session](AudioBuffer buffer) { session->append(buffer); })) {
        session->cancel();
        return std::unexpected(SpeechServiceError{SpeechServiceError::cancelled, {}});
    }
    return {};
}

std::expected<QString, SpeechServiceError> SpeechService::finishNow()
{
    stopInput();
    const auto [session, running] = currentSession();
    if (session == nullptr || !running.isValid())
        return QString();
    session->finishInput();
    const Transcript text = running.result();
    if (!text)
        return std::unexpected(SpeechServiceError{SpeechServiceError::engineFailed, text.error()});
    return *text;
}

void SpeechService::waitForRestarts()
{
    restartQueue.run([] {}).waitForFinished();
}

void SpeechService::scheduleRestart(Clock::Duration delay)
{
    auto attempt = [this] {
        jobStarted();
        restartQueue.run([this] {
            switch (restartInput()) {
            case RestartResult::handled: break;
            case RestartResult::retry: scheduleRestart(retryDelay); break;
            case RestartResult::giveUp: giveUp(); break;
            }
            jobEnded();
        });
    };
    if (delay == 0ms)
        attempt();
    else
        clock.schedule(delay, this, attempt);
}

void SpeechService::giveUp()
{
    cancelNow();
    // Delivered even though the service is silenced now: the owner learns why it stopped.
    onMainThread([this] {
        if (onInterruption)
            onInterruption();
    });
}

SpeechService::RestartResult SpeechService::restartInput()
{
    std::scoped_lock engineGuard(engineLock);
    {
        std::scoped_lock guard(lock);
        if (stopped || !tapInstalled)
            return RestartResult::handled;
    }
    const AudioFormat format = engine.inputFormat();
    if (engine.isRunning() && engineTap && tapFormat == format)
        return RestartResult::handled;
    if (format.isUsable()) {
        if (restartCount > maximumRestarts - 1)
            return RestartResult::giveUp;
        ++restartCount;
        engine.stop();
        removeTap();
        installTap(format);
        if (engine.start())
            return RestartResult::handled;
        if (retryCount >= maximumRetries)
            return RestartResult::giveUp;
        ++retryCount;
        return RestartResult::retry;
    }
    // No input right now: wait for one to come back.
    if (engine.isRunning() || engineTap) {
        engine.stop();
        removeTap();
    }
    if (retryCount < maximumRetries) {
        ++retryCount;
        return RestartResult::retry;
    }
    return RestartResult::giveUp;
}
