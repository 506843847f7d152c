#pragma once

#include "platform/AudioEngine.h"

#include <condition_variable>
#include <mutex>

struct pa_context;
struct pa_stream;
struct pa_threaded_mainloop;

// The microphone through libpulse (PulseAudio, or PipeWire's pulse server): a record stream on the
// default source, 32-bit float in the source's own rate and channel count, about 20 ms per buffer.
// The connection to the server is kept for the life of the object; the stream is made by start()
// and dropped by stop(). Buffers and the configuration-change notice arrive on libpulse's own
// thread; a new default source, a source or server change, and a moved, suspended or failed
// stream are all such a notice. Without a server every format is unusable and start() fails.
class PulseAudioEngine final : public AudioEngine
{
public:
    // `isConnectedNow`: reach the server here rather than on first use.
    explicit PulseAudioEngine(bool isConnectedNow = true);
    ~PulseAudioEngine() override;
    PulseAudioEngine(const PulseAudioEngine &) = delete;
    PulseAudioEngine &operator=(const PulseAudioEngine &) = delete;

    AudioFormat inputFormat() const override;
    void installTap(const AudioFormat &format, TapHandler handler) override;
    void removeTap() override;
    std::expected<void, QString> start() override;
    void stop() override;
    bool isRunning() const override;
    bool awaitFirstBuffer(std::chrono::milliseconds limit) override;
    void setConfigurationChangeHandler(std::function<void()> handler) override;
    std::unique_ptr<AudioEngine> makeStream() override;

    // Called on libpulse's thread.
    void notifyConfigurationChange();
    void deliver(const float *samples, size_t bytes);
    void streamEnded();

private:
    bool connectContext();

    pa_threaded_mainloop *mainloop = nullptr;
    pa_context *context = nullptr;
    pa_stream *stream = nullptr;

    // Guards the handlers and the tap format; never held while calling libpulse.
    mutable std::mutex handlers;
    TapHandler tap;
    AudioFormat tapFormat;
    std::function<void()> configurationChanged;
    bool isStopping = false;
    // The stream start() opened: whether it has been heard, or has ended. Signalled by `changed`.
    bool isHeard = false;
    bool hasEnded = false;
    std::condition_variable changed;
};
