#pragma once

#include "platform/AudioEngine.h"

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

inline const AudioFormat mic48k{48000, 1};

// A microphone the test controls: its format, whether it starts, and the buffers it delivers.
class SimulatedAudioEngine final : public AudioEngine
{
public:
    AudioFormat format = mic48k;
    bool failsToStart = false;
    int starts = 0;
    bool running = false;
    // Started, but never heard: no buffer ever comes.
    bool isSilent = false;
    std::optional<AudioFormat> tapFormat;
    TapHandler tap;
    // Guards `tap`: buffers come from the test while a worker may remove the tap.
    std::mutex tapLock;
    std::function<void()> configurationChanged;

    AudioFormat inputFormat() const override { return format; }
    void installTap(const AudioFormat &given, TapHandler handler) override
    {
        std::scoped_lock guard(tapLock);
        tapFormat = given;
        tap = std::move(handler);
    }
    void removeTap() override
    {
        std::scoped_lock guard(tapLock);
        tapFormat.reset();
        tap = nullptr;
    }
    std::expected<void, QString> start() override
    {
        ++starts;
        if (failsToStart)
            return std::unexpected(QStringLiteral("device busy"));
        running = true;
        return {};
    }
    void stop() override { running = false; }
    bool isRunning() const override { return running; }
    // With `makesStreams`, each recording gets an engine of its own, kept in `streams`.
    bool makesStreams = false;
    std::vector<SimulatedAudioEngine *> streams;
    std::unique_ptr<AudioEngine> makeStream() override
    {
        if (!makesStreams)
            return nullptr;
        auto stream = std::make_unique<SimulatedAudioEngine>();
        stream->format = format;
        streams.push_back(stream.get());
        return stream;
    }
    bool awaitFirstBuffer(std::chrono::milliseconds) override { return running && !isSilent; }
    void setConfigurationChangeHandler(std::function<void()> handler) override
    {
        configurationChanged = std::move(handler);
    }

    void deliver(const AudioBuffer &buffer)
    {
        std::scoped_lock guard(tapLock);
        if (tap)
            tap(buffer);
    }
    // The device changed: a new format (or none), and the notice.
    void change(AudioFormat next)
    {
        format = next;
        running = running && next.isUsable();
        if (configurationChanged)
            configurationChanged();
    }
};
