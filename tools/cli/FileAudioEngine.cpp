#include "FileAudioEngine.h"

#include <chrono>

FileAudioEngine::FileAudioEngine(AudioBuffer audio, bool isRealTime)
    : audio(std::move(audio))
    , isRealTime(isRealTime)
{ }

FileAudioEngine::~FileAudioEngine()
{
    stop();
}

void FileAudioEngine::installTap(const AudioFormat &, TapHandler handler)
{
    std::scoped_lock guard(mutex);
    tap = std::move(handler);
}

void FileAudioEngine::removeTap()
{
    std::scoped_lock guard(mutex);
    tap = nullptr;
}

std::expected<void, QString> FileAudioEngine::start()
{
    if (running)
        return {};
    running = true;
    player = std::thread([this] {
        constexpr qint64 frames = 1024;
        const int channels = audio.format.channelCount;
        const auto begin = std::chrono::steady_clock::now();
        for (qint64 at = 0; at < audio.frameLength() && running; at += frames) {
            const qint64 end = std::min(audio.frameLength(), at + frames);
            AudioBuffer buffer{audio.format,
                std::vector<float>(audio.samples.begin() + at * channels, audio.samples.begin() + end * channels)};
            if (isRealTime)
                std::this_thread::sleep_until(
                    begin + std::chrono::duration<double>(double(end) / audio.format.sampleRate));
            std::scoped_lock guard(mutex);
            if (tap)
                tap(buffer);
        }
        std::scoped_lock guard(mutex);
        isFinished = true;
        played.notify_all();
    });
    return {};
}

void FileAudioEngine::stop()
{
    running = false;
    if (player.joinable() && player.get_id() != std::this_thread::get_id())
        player.join();
}

void FileAudioEngine::waitUntilPlayed()
{
    std::unique_lock guard(mutex);
    played.wait(guard, [this] { return isFinished; });
}
