#pragma once

#include <QString>

#include <chrono>

#include <expected>
#include <functional>
#include <memory>
#include <vector>

// The format of PCM audio: 32-bit float samples, interleaved channels.
struct AudioFormat {
    double sampleRate = 0;
    int channelCount = 0;

    // A device that is gone or not ready reports a format without rate or channels.
    bool isUsable() const { return sampleRate > 0 && channelCount > 0; }
    friend bool operator==(const AudioFormat &, const AudioFormat &) = default;
};

struct AudioBuffer {
    AudioFormat format;
    std::vector<float> samples;

    qint64 frameLength() const { return format.channelCount > 0 ? qint64(samples.size()) / format.channelCount : 0; }
};

// The microphone: buffers in the device's own format, and a notice when its configuration changed
// (another default device, a device gone or back, a suspended or killed stream). Buffers arrive on
// the audio thread; the notice on any thread. Callers serialise start, stop and the tap calls.
class AudioEngine
{
public:
    using TapHandler = std::function<void(const AudioBuffer &)>;

    virtual ~AudioEngine() = default;

    // The current input device's format; unusable when there is no input.
    virtual AudioFormat inputFormat() const = 0;
    // Delivers buffers of about 1024 frames in `format` to `handler` while the engine runs.
    virtual void installTap(const AudioFormat &format, TapHandler handler) = 0;
    virtual void removeTap() = 0;
    // Prepares and starts; the error carries a readable message.
    virtual std::expected<void, QString> start() = 0;
    virtual void stop() = 0;
    virtual bool isRunning() const = 0;
    // Blocks the calling worker until the stream start() opened has delivered its first buffer: a
    // suspended source or a headset switching profiles takes a while to be heard. False when
    // nothing came within `limit`, or the engine was stopped or failed meanwhile.
    virtual bool awaitFirstBuffer(std::chrono::milliseconds limit) = 0;
    virtual void setConfigurationChangeHandler(std::function<void()> handler) = 0;
    // A stream of its own on the same input, for one recording, so that stopping it never touches
    // another recording's; nothing when this engine is the only one. Never blocks: the new engine
    // reaches the audio system on first use.
    virtual std::unique_ptr<AudioEngine> makeStream() = 0;
};

// Converts buffers of one format into another (sample rate and channel count).
class AudioConverter
{
public:
    virtual ~AudioConverter() = default;
    virtual AudioFormat inputFormat() const = 0;
    // Nothing when the conversion fails; the output holds at most `capacityFrames` frames.
    virtual std::optional<AudioBuffer> convert(const AudioBuffer &input, qint64 capacityFrames) = 0;
    // The end of input: what the conversion still holds back (a filter's delay); no frames when
    // nothing is left.
    virtual AudioBuffer flush() = 0;
};

class AudioConverterFactory
{
public:
    virtual ~AudioConverterFactory() = default;
    // Nothing when no converter exists between the two formats.
    virtual std::unique_ptr<AudioConverter> make(const AudioFormat &from, const AudioFormat &to) = 0;
};
