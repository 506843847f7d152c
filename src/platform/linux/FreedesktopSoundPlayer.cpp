#include "platform/linux/FreedesktopSoundPlayer.h"

#include "core/XdgPaths.h"
#include "platform/Log.h"

#include <QFileInfo>

#include <pulse/pulseaudio.h>
#include <sndfile.h>

#include <algorithm>

namespace {

const QString category = QStringLiteral("sound");

// "Tink" sounds while the microphone is already open, so it is the theme's shortest, quietest click
// (67 ms), which the recogniser does not take for speech. "Pop" ends the recording, after the
// microphone closed; the theme's sound for a finished task says the words are on their way.
const std::map<QString, QString> themeNames{
    {QStringLiteral("Tink"), QStringLiteral("audio-volume-change")},
    {QStringLiteral("Pop"), QStringLiteral("complete")},
};

// Two sounds per dictation; more than this at once means the server does not keep up.
constexpr size_t maxPlaybacks = 4;

class MainloopLock
{
public:
    explicit MainloopLock(pa_threaded_mainloop *mainloop)
        : mainloop(mainloop)
    {
        pa_threaded_mainloop_lock(mainloop);
    }
    ~MainloopLock() { pa_threaded_mainloop_unlock(mainloop); }
    MainloopLock(const MainloopLock &) = delete;
    MainloopLock &operator=(const MainloopLock &) = delete;

private:
    pa_threaded_mainloop *mainloop;
};

QStringList dataFolders()
{
    QStringList folders{XdgPaths::dataHome()};
    QString system = qEnvironmentVariable("XDG_DATA_DIRS");
    if (system.isEmpty())
        system = QStringLiteral("/usr/local/share:/usr/share");
    for (const QString &folder : system.split(QLatin1Char(':'), Qt::SkipEmptyParts))
        folders << folder;
    return folders;
}

std::optional<FreedesktopSoundPlayer::Sound> decode(const QString &fileName)
{
    SF_INFO info{};
    SNDFILE *file = sf_open(QFile::encodeName(fileName).constData(), SFM_READ, &info);
    if (file == nullptr)
        return std::nullopt;
    FreedesktopSoundPlayer::Sound sound{info.samplerate, info.channels, {}};
    sound.samples.resize(size_t(info.frames) * size_t(info.channels));
    const sf_count_t frames = sf_readf_float(file, sound.samples.data(), info.frames);
    sf_close(file);
    if (frames <= 0 || info.channels <= 0 || info.channels > int(PA_CHANNELS_MAX) || info.samplerate <= 0)
        return std::nullopt;
    sound.samples.resize(size_t(frames) * size_t(info.channels));
    return sound;
}

} // namespace

struct FreedesktopSoundPlayer::Playback {
    FreedesktopSoundPlayer *player;
    const Sound *sound;
    pa_stream *stream = nullptr;
    size_t writtenBytes = 0;
    // Held until the drain answers; a playback finished before that cancels it, so the answer
    // never reaches a playback that is gone.
    pa_operation *drain = nullptr;
};

std::optional<QString> FreedesktopSoundPlayer::soundFile(const QString &name)
{
    const auto themeName = themeNames.find(name);
    if (themeName == themeNames.end())
        return std::nullopt;
    for (const QString &folder : dataFolders()) {
        for (const char *extension : {".oga", ".ogg", ".wav"}) {
            const QString fileName
                = folder + QStringLiteral("/sounds/freedesktop/stereo/") + themeName->second + QLatin1String(extension);
            if (QFileInfo(fileName).isFile())
                return fileName;
        }
    }
    return std::nullopt;
}

FreedesktopSoundPlayer::FreedesktopSoundPlayer(Log &log)
    : log(log)
{
    for (const auto &[name, themeName] : themeNames) {
        const std::optional<QString> fileName = soundFile(name);
        std::optional<Sound> sound = fileName ? decode(*fileName) : std::nullopt;
        if (sound)
            sounds.emplace(name, std::move(*sound));
        else
            logOnce(QStringLiteral("no readable %1 sound in the freedesktop sound theme").arg(themeName));
    }
    mainloop = pa_threaded_mainloop_new();
    if (mainloop == nullptr || pa_threaded_mainloop_start(mainloop) < 0) {
        logOnce(QStringLiteral("libpulse could not start its thread; no sounds"));
        return;
    }
    // Reading the client configuration and finding the server happen on libpulse's thread.
    MainloopLock lock(mainloop);
    pa_mainloop_api_once(
        pa_threaded_mainloop_get_api(mainloop),
        [](pa_mainloop_api *, void *player) { static_cast<FreedesktopSoundPlayer *>(player)->connectContext(); }, this);
}

FreedesktopSoundPlayer::~FreedesktopSoundPlayer()
{
    if (mainloop == nullptr)
        return;
    {
        MainloopLock lock(mainloop);
        isClosing = true;
        while (!playbacks.empty())
            finish(playbacks.back().get());
        if (context != nullptr) {
            pa_context_set_state_callback(context, nullptr, nullptr);
            pa_context_disconnect(context);
            pa_context_unref(context);
            context = nullptr;
        }
    }
    pa_threaded_mainloop_stop(mainloop);
    pa_threaded_mainloop_free(mainloop);
}

bool FreedesktopSoundPlayer::hasSound(const QString &name) const
{
    return sounds.contains(name);
}

void FreedesktopSoundPlayer::connectContext()
{
    if (isClosing || (context != nullptr && PA_CONTEXT_IS_GOOD(pa_context_get_state(context))))
        return;
    if (context != nullptr) {
        pa_context_set_state_callback(context, nullptr, nullptr);
        pa_context_disconnect(context);
        pa_context_unref(context);
    }
    pa_proplist *properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, "Sorawen");
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ICON_NAME, "sorawen");
    context = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(mainloop), "Sorawen", properties);
    pa_proplist_free(properties);
    if (context == nullptr)
        return;
    pa_context_set_state_callback(
        context,
        [](pa_context *, void *player) { static_cast<FreedesktopSoundPlayer *>(player)->contextStateChanged(); }, this);
    if (pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        contextStateChanged();
}

void FreedesktopSoundPlayer::contextStateChanged()
{
    const pa_context_state_t state = pa_context_get_state(context);
    if (state == PA_CONTEXT_FAILED || state == PA_CONTEXT_TERMINATED)
        logOnce(QStringLiteral("no sound server: %1").arg(QString::fromUtf8(pa_strerror(pa_context_errno(context)))));
}

void FreedesktopSoundPlayer::play(const QString &name)
{
    const auto found = sounds.find(name);
    if (mainloop == nullptr || found == sounds.end())
        return;
    const Sound &sound = found->second;
    MainloopLock lock(mainloop);
    if (context == nullptr)
        return;
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(context))) {
        // The server went away or was never there: this sound is lost, a later one may find it back.
        pa_mainloop_api_once(
            pa_threaded_mainloop_get_api(mainloop),
            [](pa_mainloop_api *, void *player) { static_cast<FreedesktopSoundPlayer *>(player)->connectContext(); },
            this);
        return;
    }
    if (pa_context_get_state(context) != PA_CONTEXT_READY || playbacks.size() >= maxPlaybacks)
        return;

    const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, uint32_t(sound.sampleRate), uint8_t(sound.channelCount)};
    pa_proplist *properties = pa_proplist_new();
    // The desktop's volume for event sounds applies, not the music volume.
    pa_proplist_sets(properties, PA_PROP_MEDIA_ROLE, "event");
    pa_stream *stream = pa_stream_new_with_proplist(context, "Sorawen notification", &format, nullptr, properties);
    pa_proplist_free(properties);
    if (stream == nullptr)
        return;
    auto *playback = playbacks.emplace_back(std::make_unique<Playback>(Playback{this, &sound, stream})).get();

    pa_stream_set_write_callback(
        stream,
        [](pa_stream *stream, size_t requested, void *data) {
            auto *playback = static_cast<Playback *>(data);
            const auto *bytes = reinterpret_cast<const char *>(playback->sound->samples.data());
            const size_t total = playback->sound->samples.size() * sizeof(float);
            const size_t count = std::min(requested, total - playback->writtenBytes);
            if (count > 0
                && pa_stream_write(stream, bytes + playback->writtenBytes, count, nullptr, 0, PA_SEEK_RELATIVE) == 0)
                playback->writtenBytes += count;
            if (playback->writtenBytes < total)
                return;
            pa_stream_set_write_callback(stream, nullptr, nullptr);
            playback->drain = pa_stream_drain(
                stream,
                [](pa_stream *, int, void *data) {
                    auto *playback = static_cast<Playback *>(data);
                    pa_operation_unref(playback->drain);
                    playback->drain = nullptr;
                    playback->player->finish(playback);
                },
                playback);
            if (playback->drain == nullptr)
                playback->player->finish(playback);
        },
        playback);
    pa_stream_set_state_callback(
        stream,
        [](pa_stream *stream, void *data) {
            const pa_stream_state_t state = pa_stream_get_state(stream);
            if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED) {
                auto *playback = static_cast<Playback *>(data);
                playback->player->finish(playback);
            }
        },
        playback);
    if (pa_stream_connect_playback(stream, nullptr, nullptr, PA_STREAM_NOFLAGS, nullptr, nullptr) < 0)
        finish(playback);
}

void FreedesktopSoundPlayer::finish(Playback *playback)
{
    if (playback->drain != nullptr) {
        pa_operation_cancel(playback->drain);
        pa_operation_unref(playback->drain);
    }
    pa_stream_set_write_callback(playback->stream, nullptr, nullptr);
    pa_stream_set_state_callback(playback->stream, nullptr, nullptr);
    pa_stream_disconnect(playback->stream);
    pa_stream_unref(playback->stream);
    std::erase_if(playbacks, [playback](const std::unique_ptr<Playback> &owned) { return owned.get() == playback; });
}

void FreedesktopSoundPlayer::logOnce(const QString &message)
{
    if (!hasLogged.exchange(true))
        log.error(category, message);
}
