#pragma once

#include "platform/AudioEngine.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

// A WAV file played as the microphone: 1024-frame buffers in the file's own format, on a thread of
// its own, at the pace of real time or as fast as they are taken. The device never changes.
class FileAudioEngine final : public AudioEngine
{
public:
    FileAudioEngine(AudioBuffer audio, bool isRealTime);
    ~FileAudioEngine() override;

    AudioFormat inputFormat() const override { return audio.format; }
    void installTap(const AudioFormat &format, TapHandler handler) override;
    void removeTap() override;
    std::expected<void, QString> start() override;
    void stop() override;
    bool isRunning() const override { return running; }
    // The file plays from the moment the engine starts.
    std::unique_ptr<AudioEngine> makeStream() override { return nullptr; }
    bool awaitFirstBuffer(std::chrono::milliseconds) override { return running; }
    void setConfigurationChangeHandler(std::function<void()>) override { }

    // Blocks until the whole file was delivered (or the engine stopped).
    void waitUntilPlayed();

private:
    AudioBuffer audio;
    bool isRealTime;
    std::mutex mutex;
    std::condition_variable played;
    TapHandler tap;
    std::thread player;
    std::atomic<bool> running{false};
    bool isFinished = false;
};
