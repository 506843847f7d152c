#pragma once

#include "platform/SoundPlayer.h"

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class Log;
struct pa_context;
struct pa_stream;
struct pa_threaded_mainloop;

// The notification sounds from the freedesktop sound theme, decoded once at construction and played
// as short libpulse playback streams on libpulse's own thread. play() is called on the main thread
// and only hands the stream to that thread. An unknown name, a missing file or no sound server is
// silence; the first such problem is written to the log, nothing after it.
class FreedesktopSoundPlayer final : public SoundPlayer
{
public:
    explicit FreedesktopSoundPlayer(Log &log);
    ~FreedesktopSoundPlayer() override;
    FreedesktopSoundPlayer(const FreedesktopSoundPlayer &) = delete;
    FreedesktopSoundPlayer &operator=(const FreedesktopSoundPlayer &) = delete;

    // The theme file that sounds for `name`, searched in $XDG_DATA_DIRS; nullopt for an unknown name
    // or a theme that is not installed.
    static std::optional<QString> soundFile(const QString &name);

    bool hasSound(const QString &name) const;
    void play(const QString &name) override;

    struct Sound {
        int sampleRate = 0;
        int channelCount = 0;
        std::vector<float> samples;
    };
    struct Playback;

    // Called on libpulse's thread, its lock held.
    void connectContext();
    void contextStateChanged();
    void finish(Playback *playback);

private:
    void logOnce(const QString &message);

    Log &log;
    std::map<QString, Sound> sounds;
    std::atomic<bool> hasLogged = false;

    pa_threaded_mainloop *mainloop = nullptr;
    // Guarded by libpulse's lock.
    pa_context *context = nullptr;
    std::vector<std::unique_ptr<Playback>> playbacks;
    bool isClosing = false;
};
