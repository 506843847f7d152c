#include "platform/linux/PulseAudioEngine.h"

#include <QCoreApplication>

#include <pulse/pulseaudio.h>

#include <chrono>

namespace {

constexpr auto connectTimeout = std::chrono::seconds(2);

// Holds libpulse's lock for a scope; callbacks then wait.
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

// Waits (the lock held) until an operation is done.
void await(pa_threaded_mainloop *mainloop, pa_operation *operation)
{
    if (operation == nullptr)
        return;
    while (pa_operation_get_state(operation) == PA_OPERATION_RUNNING)
        pa_threaded_mainloop_wait(mainloop);
    pa_operation_unref(operation);
}

struct SourceQuery {
    pa_threaded_mainloop *mainloop;
    QByteArray defaultSource;
    AudioFormat format;
};

} // namespace

PulseAudioEngine::PulseAudioEngine(bool isConnectedNow)
    : mainloop(pa_threaded_mainloop_new())
{
    if (mainloop == nullptr || pa_threaded_mainloop_start(mainloop) < 0)
        return;
    if (!isConnectedNow)
        return;
    MainloopLock lock(mainloop);
    connectContext();
}

std::unique_ptr<AudioEngine> PulseAudioEngine::makeStream()
{
    // A connection of its own: the server's notices and the stream belong to one recording.
    return std::make_unique<PulseAudioEngine>(false);
}

PulseAudioEngine::~PulseAudioEngine()
{
    stop();
    if (mainloop == nullptr)
        return;
    {
        MainloopLock lock(mainloop);
        if (context != nullptr) {
            pa_context_set_state_callback(context, nullptr, nullptr);
            pa_context_set_subscribe_callback(context, nullptr, nullptr);
            pa_context_disconnect(context);
            pa_context_unref(context);
            context = nullptr;
        }
    }
    pa_threaded_mainloop_stop(mainloop);
    pa_threaded_mainloop_free(mainloop);
}

bool PulseAudioEngine::connectContext()
{
    // Called with the mainloop lock held.
    if (context != nullptr && pa_context_get_state(context) == PA_CONTEXT_READY)
        return true;
    if (context != nullptr) {
        pa_context_disconnect(context);
        pa_context_unref(context);
    }
    context = pa_context_new(pa_threaded_mainloop_get_api(mainloop), "Sorawen");
    if (context == nullptr)
        return false;
    pa_context_set_state_callback(
        context,
        [](pa_context *, void *mainloop) {
            pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop *>(mainloop), 0);
        },
        mainloop);
    if (pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        return false;
    const auto deadline = std::chrono::steady_clock::now() + connectTimeout;
    for (;;) {
        const pa_context_state_t state = pa_context_get_state(context);
        if (state == PA_CONTEXT_READY)
            break;
        if (!PA_CONTEXT_IS_GOOD(state) || std::chrono::steady_clock::now() > deadline)
            return false;
        pa_threaded_mainloop_wait(mainloop);
    }
    pa_context_set_subscribe_callback(
        context,
        [](pa_context *, pa_subscription_event_type_t event, uint32_t, void *engine) {
            const auto facility = event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
            if (facility == PA_SUBSCRIPTION_EVENT_SOURCE || facility == PA_SUBSCRIPTION_EVENT_SERVER)
                static_cast<PulseAudioEngine *>(engine)->notifyConfigurationChange();
        },
        this);
    await(mainloop,
        pa_context_subscribe(
            context, pa_subscription_mask_t(PA_SUBSCRIPTION_MASK_SOURCE | PA_SUBSCRIPTION_MASK_SERVER),
            [](pa_context *, int, void *mainloop) {
                pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop *>(mainloop), 0);
            },
            mainloop));
    return true;
}

AudioFormat PulseAudioEngine::inputFormat() const
{
    if (mainloop == nullptr)
        return {};
    MainloopLock lock(mainloop);
    if (!const_cast<PulseAudioEngine *>(this)->connectContext())
        return {};
    SourceQuery query{mainloop, {}, {}};
    await(mainloop,
        pa_context_get_server_info(
            context,
            [](pa_context *, const pa_server_info *info, void *data) {
                auto *query = static_cast<SourceQuery *>(data);
                if (info != nullptr && info->default_source_name != nullptr)
                    query->defaultSource = info->default_source_name;
                pa_threaded_mainloop_signal(query->mainloop, 0);
            },
            &query));
    if (query.defaultSource.isEmpty())
        return {};
    await(mainloop,
        pa_context_get_source_info_by_name(
            context, query.defaultSource.constData(),
            [](pa_context *, const pa_source_info *info, int, void *data) {
                auto *query = static_cast<SourceQuery *>(data);
                // A sink's monitor hears what the machine plays, not the room: it is no microphone.
                if (info != nullptr && info->monitor_of_sink == PA_INVALID_INDEX)
                    query->format = AudioFormat{double(info->sample_spec.rate), int(info->sample_spec.channels)};
                pa_threaded_mainloop_signal(query->mainloop, 0);
            },
            &query));
    return query.format;
}

void PulseAudioEngine::installTap(const AudioFormat &format, TapHandler handler)
{
    std::scoped_lock guard(handlers);
    tapFormat = format;
    tap = std::move(handler);
}

void PulseAudioEngine::removeTap()
{
    std::scoped_lock guard(handlers);
    tap = nullptr;
}

void PulseAudioEngine::setConfigurationChangeHandler(std::function<void()> handler)
{
    std::scoped_lock guard(handlers);
    configurationChanged = std::move(handler);
}

void PulseAudioEngine::notifyConfigurationChange()
{
    std::function<void()> handler;
    {
        std::scoped_lock guard(handlers);
        if (isStopping)
            return;
        handler = configurationChanged;
    }
    if (handler)
        handler();
}

void PulseAudioEngine::deliver(const float *samples, size_t bytes)
{
    std::scoped_lock guard(handlers);
    if (!isHeard) {
        isHeard = true;
        changed.notify_all();
    }
    if (!tap || !tapFormat.isUsable())
        return;
    AudioBuffer buffer{tapFormat, {}};
    if (samples != nullptr)
        buffer.samples.assign(samples, samples + bytes / sizeof(float));
    else
        buffer.samples.assign(bytes / sizeof(float), 0.0F); // a hole in the stream is silence
    tap(buffer);
}

void PulseAudioEngine::streamEnded()
{
    {
        std::scoped_lock guard(handlers);
        hasEnded = true;
        changed.notify_all();
    }
    notifyConfigurationChange();
}

std::expected<void, QString> PulseAudioEngine::start()
{
    AudioFormat format;
    {
        std::scoped_lock guard(handlers);
        format = tapFormat;
        isStopping = false;
        isHeard = false;
        hasEnded = false;
    }
    if (mainloop == nullptr)
        return std::unexpected(QCoreApplication::translate("PulseAudioEngine", "音声システムを使えません。"));
    if (!format.isUsable())
        return std::unexpected(QCoreApplication::translate("PulseAudioEngine", "利用できるマイクがありません。"));
    MainloopLock lock(mainloop);
    if (stream != nullptr)
        return {};
    if (!connectContext())
        return std::unexpected(
            QCoreApplication::translate("PulseAudioEngine", "音声サーバー（PulseAudio / PipeWire）に接続できません。"));
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, uint32_t(format.sampleRate), uint8_t(format.channelCount)};
    stream = pa_stream_new(context, "Sorawen dictation", &spec, nullptr);
    if (stream == nullptr)
        return std::unexpected(QString::fromUtf8(pa_strerror(pa_context_errno(context))));
    pa_stream_set_read_callback(
        stream,
        [](pa_stream *stream, size_t, void *engine) {
            const void *data = nullptr;
            size_t bytes = 0;
            while (pa_stream_readable_size(stream) > 0 && pa_stream_peek(stream, &data, &bytes) == 0 && bytes > 0) {
                static_cast<PulseAudioEngine *>(engine)->deliver(static_cast<const float *>(data), bytes);
                pa_stream_drop(stream);
            }
        },
        this);
    pa_stream_set_state_callback(
        stream,
        [](pa_stream *stream, void *engine) {
            const pa_stream_state_t state = pa_stream_get_state(stream);
            if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED)
                static_cast<PulseAudioEngine *>(engine)->streamEnded();
        },
        this);
    pa_stream_set_moved_callback(
        stream, [](pa_stream *, void *engine) { static_cast<PulseAudioEngine *>(engine)->notifyConfigurationChange(); },
        this);
    pa_stream_set_suspended_callback(
        stream, [](pa_stream *, void *engine) { static_cast<PulseAudioEngine *>(engine)->notifyConfigurationChange(); },
        this);
    // About 20 ms a fragment, so the level and the transcript follow the voice closely.
    const uint32_t fragment = uint32_t(pa_usec_to_bytes(20'000, &spec));
    const pa_buffer_attr attributes{uint32_t(-1), uint32_t(-1), uint32_t(-1), uint32_t(-1), fragment};
    if (pa_stream_connect_record(stream, nullptr, &attributes, PA_STREAM_ADJUST_LATENCY) < 0) {
        const QString reason = QString::fromUtf8(pa_strerror(pa_context_errno(context)));
        pa_stream_unref(stream);
        stream = nullptr;
        return std::unexpected(reason);
    }
    return {};
}

void PulseAudioEngine::stop()
{
    if (mainloop == nullptr)
        return;
    {
        std::scoped_lock guard(handlers);
        isStopping = true;
        changed.notify_all();
    }
    MainloopLock lock(mainloop);
    if (stream == nullptr)
        return;
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_set_state_callback(stream, nullptr, nullptr);
    pa_stream_set_moved_callback(stream, nullptr, nullptr);
    pa_stream_set_suspended_callback(stream, nullptr, nullptr);
    pa_stream_disconnect(stream);
    pa_stream_unref(stream);
    stream = nullptr;
}

bool PulseAudioEngine::isRunning() const
{
    if (mainloop == nullptr)
        return false;
    MainloopLock lock(mainloop);
    return stream != nullptr && PA_STREAM_IS_GOOD(pa_stream_get_state(stream));
}

bool PulseAudioEngine::awaitFirstBuffer(std::chrono::milliseconds limit)
{
    std::unique_lock guard(handlers);
    changed.wait_for(guard, limit, [this] { return isHeard || hasEnded || isStopping; });
    return isHeard && !isStopping;
}
