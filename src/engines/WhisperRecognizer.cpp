#include "engines/WhisperRecognizer.h"

#include "engines/EngineModels.h"
#include "engines/SpeechGate.h"

#include <QCoreApplication>
#include <QFile>
#include <QtEndian>

#include <parakeet.h>
#include <whisper.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <thread>

namespace {

// whisper.cpp logs every load and decode to stderr; the application keeps its own log.
void silenceEngineLogs()
{
    static const bool silenced = [] {
        whisper_log_set([](ggml_log_level, const char *, void *) {}, nullptr);
        parakeet_log_set([](ggml_log_level, const char *, void *) {}, nullptr);
        return true;
    }();
    (void)silenced;
}

enum class ModelKind { whisper, parakeet, unknown };

// Both engines share the ggml file magic, and each one aborts the process when handed the other's
// file, so the header is read first: Whisper's vocabulary has at least 51,864 tokens, Parakeet's far
// fewer.
ModelKind kindOf(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return ModelKind::unknown;
    const QByteArray header = file.read(8);
    if (header.size() < 8 || !header.startsWith("lmgg"))
        return ModelKind::unknown;
    const qint32 vocabulary = qFromLittleEndian<qint32>(header.constData() + 4);
    if (vocabulary > 0 && vocabulary < 51864)
        return ModelKind::parakeet;
    if (vocabulary < 51864 || vocabulary > 51866)
        return ModelKind::unknown;
    // whisper.cpp takes a file that ends before its tensors for an empty test model and reads past
    // the end unchecked, so a file cut short in its mel filters or vocabulary is refused here.
    // The filters and the vocabulary take about 600 kB.
    if (!file.seek(0))
        return ModelKind::unknown;
    const QByteArray head = file.read(4 << 20);
    qsizetype at = 48;
    auto number = [&] {
        if (at + 4 > head.size())
            return qint32(-1);
        at += 4;
        return qFromLittleEndian<qint32>(head.constData() + at - 4);
    };
    const qint32 mels = number();
    const qint32 bins = number();
    if (mels <= 0 || bins <= 0 || mels > 512 || bins > 4096)
        return ModelKind::unknown;
    at += qsizetype(mels) * bins * 4;
    const qint32 tokens = number();
    if (tokens <= 0 || tokens > vocabulary)
        return ModelKind::unknown;
    for (qint32 i = 0; i < tokens; ++i) {
        const qint32 length = number();
        if (length < 0 || at + length > head.size())
            return ModelKind::unknown;
        at += length;
    }
    return ModelKind::whisper;
}

std::vector<whisper_token> tokens(whisper_context *context, const QByteArray &text)
{
    std::vector<whisper_token> found(size_t(text.size()) + 1);
    int count = whisper_tokenize(context, text.constData(), found.data(), int(found.size()));
    if (count < 0) {
        found.resize(size_t(-count));
        count = whisper_tokenize(context, text.constData(), found.data(), int(found.size()));
    }
    found.resize(size_t(std::max(count, 0)));
    return found;
}

// Whisper reads at most half its text context as the prompt and keeps the end of a longer one.
// The user's words come first, at most half of that; the rest is the end of what was said before.
std::vector<whisper_token> promptTokens(
    whisper_context *context, const QByteArray &dictionary, const QByteArray &earlier)
{
    const size_t room = size_t(whisper_n_text_ctx(context) / 2 - 1);
    std::vector<whisper_token> prompt
        = dictionary.isEmpty() ? std::vector<whisper_token>() : tokens(context, dictionary);
    prompt.resize(std::min(prompt.size(), room / 2));
    if (!earlier.isEmpty()) {
        const std::vector<whisper_token> said = tokens(context, earlier);
        const size_t taken = std::min(said.size(), room - prompt.size());
        prompt.insert(prompt.end(), said.end() - std::ptrdiff_t(taken), said.end());
    }
    return prompt;
}

QString wrongModel(const QString &fileName)
{
    return QCoreApplication::translate(
        "WhisperModel", "音声認識モデルを読み込めませんでした（壊れているか形式が違います）: %1")
        .arg(fileName);
}

// One loaded model per file, shared while anyone holds it. `open` loads a checked file of the
// right kind and gives nothing when the library refuses it.
template<typename Model, typename Context>
std::expected<std::shared_ptr<Model>, QString> loadShared(
    const QString &fileName, ModelKind kind, Context *(*open)(const char *path), Model *(*wrap)(Context *context))
{
    return EngineModels::sharedPerFile<Model>(fileName, [&]() -> std::expected<std::shared_ptr<Model>, QString> {
        if (!QFile::exists(fileName))
            return std::unexpected(
                QCoreApplication::translate("WhisperModel", "音声認識モデルがありません: %1").arg(fileName));
        if (kindOf(fileName) != kind)
            return std::unexpected(wrongModel(fileName));
        silenceEngineLogs();
        Context *context = open(QFile::encodeName(fileName).constData());
        if (context == nullptr)
            return std::unexpected(wrongModel(fileName));
        return std::shared_ptr<Model>(wrap(context));
    });
}

} // namespace

std::expected<std::shared_ptr<WhisperModel>, QString> WhisperModel::load(const QString &fileName)
{
    return loadShared<WhisperModel, whisper_context>(
        fileName, ModelKind::whisper,
        [](const char *path) {
            whisper_context_params parameters = whisper_context_default_params();
            parameters.use_gpu = false;
            return whisper_init_from_file_with_params_no_state(path, parameters);
        },
        [](whisper_context *context) { return new WhisperModel(context); });
}

WhisperModel::~WhisperModel()
{
    whisper_free(loaded);
}

std::expected<std::shared_ptr<ParakeetModel>, QString> ParakeetModel::load(const QString &fileName)
{
    return loadShared<ParakeetModel, parakeet_context>(
        fileName, ModelKind::parakeet,
        [](const char *path) {
            parakeet_context_params parameters = parakeet_context_default_params();
            parameters.use_gpu = false;
            return parakeet_init_from_file_with_params_no_state(path, parameters);
        },
        [](parakeet_context *context) { return new ParakeetModel(context); });
}

ParakeetModel::~ParakeetModel()
{
    parakeet_free(loaded);
}

std::expected<std::unique_ptr<VoiceActivity>, QString> VoiceActivity::load(const QString &fileName)
{
    if (!QFile::exists(fileName))
        return std::unexpected(
            QCoreApplication::translate("VoiceActivity", "音声区間検出モデルがありません: %1").arg(fileName));
    // whisper.cpp reads the header's sizes unchecked: another model's file would make it allocate
    // whatever its bytes say. A Silero file names its model right after the magic.
    QFile file(fileName);
    const QByteArray header = file.open(QIODevice::ReadOnly) ? file.read(14) : QByteArray();
    if (header.size() < 14 || !header.startsWith("lmgg") || qFromLittleEndian<qint32>(header.constData() + 4) > 64
        || header.mid(8, 6) != "silero")
        return std::unexpected(
            QCoreApplication::translate("VoiceActivity", "音声区間検出モデルを読み込めませんでした: %1").arg(fileName));
    silenceEngineLogs();
    whisper_vad_context_params parameters = whisper_vad_default_context_params();
    parameters.n_threads = 1;
    parameters.use_gpu = false;
    whisper_vad_context *context
        = whisper_vad_init_from_file_with_params(QFile::encodeName(fileName).constData(), parameters);
    if (context == nullptr)
        return std::unexpected(
            QCoreApplication::translate("VoiceActivity", "音声区間検出モデルを読み込めませんでした: %1").arg(fileName));
    std::unique_ptr<VoiceActivity> voice(new VoiceActivity(context));
    // The detector's recurrent state is not cleared on load; a stale state can hide all speech.
    voice->reset();
    return voice;
}

VoiceActivity::~VoiceActivity()
{
    whisper_vad_free(context);
}

std::vector<VoiceActivity::Segment> VoiceActivity::segments(const std::vector<float> &samples)
{
    std::vector<Segment> found;
    whisper_vad_segments *segments
        = whisper_vad_segments_from_samples(context, whisper_vad_default_params(), samples.data(), int(samples.size()));
    if (segments == nullptr)
        return found;
    for (int i = 0; i < whisper_vad_segments_n_segments(segments); ++i) {
        // The library reports segment times in hundredths of a second.
        found.push_back({whisper_vad_segments_get_segment_t0(segments, i) / 100.0,
            whisper_vad_segments_get_segment_t1(segments, i) / 100.0});
    }
    whisper_vad_free_segments(segments);
    return found;
}

std::vector<float> VoiceActivity::probabilities(const float *samples, int count)
{
    if (count <= 0 || !whisper_vad_detect_speech_no_reset(context, samples, count))
        return {};
    const float *probabilities = whisper_vad_probs(context);
    return std::vector<float>(probabilities, probabilities + whisper_vad_n_probs(context));
}

void VoiceActivity::reset()
{
    whisper_vad_reset_state(context);
}

// What a recording's recognition needs loaded: the model, one decoding state, the voice detector.
struct WarmSession {
    QString modelFile;
    QString vadModelFile;
    std::shared_ptr<WhisperModel> model;
    std::shared_ptr<ParakeetModel> parakeet;
    whisper_state *whisperState = nullptr;
    parakeet_state *parakeetState = nullptr;
    std::unique_ptr<VoiceActivity> voice;

    WarmSession() = default;
    WarmSession(const WarmSession &) = delete;
    WarmSession &operator=(const WarmSession &) = delete;
    ~WarmSession()
    {
        if (whisperState != nullptr)
            whisper_free_state(whisperState);
        if (parakeetState != nullptr)
            parakeet_free_state(parakeetState);
    }

    static std::expected<std::unique_ptr<WarmSession>, QString> load(const WhisperRecognizer::Options &options)
    {
        auto session = std::make_unique<WarmSession>();
        session->modelFile = options.modelFile;
        session->vadModelFile = options.vadModelFile;
        if (options.engine == WhisperRecognizer::Engine::parakeet) {
            std::expected<std::shared_ptr<ParakeetModel>, QString> loaded = ParakeetModel::load(options.modelFile);
            if (!loaded)
                return std::unexpected(loaded.error());
            session->parakeet = *loaded;
            session->parakeetState = parakeet_init_state(session->parakeet->context());
        } else {
            std::expected<std::shared_ptr<WhisperModel>, QString> loaded = WhisperModel::load(options.modelFile);
            if (!loaded)
                return std::unexpected(loaded.error());
            session->model = *loaded;
            session->whisperState = whisper_init_state(session->model->context());
        }
        // One decoding state for the whole recording: the open segment is decoded again and again.
        if (session->whisperState == nullptr && session->parakeetState == nullptr)
            return std::unexpected(
                QCoreApplication::translate("WhisperRecognizer", "音声認識の作業領域を確保できません。"));
        if (!options.vadModelFile.isEmpty()) {
            std::expected<std::unique_ptr<VoiceActivity>, QString> vad = VoiceActivity::load(options.vadModelFile);
            if (!vad)
                return std::unexpected(vad.error());
            session->voice = std::move(*vad);
        }
        return session;
    }
};

namespace {

// Keeps the session of the last recording loaded for the next one (loading the Japanese model and
// its state takes seconds), and frees it after a few idle minutes. One session is kept: asking for
// other files (another language) frees it first. Made once and never destroyed, so nothing is
// freed while the process exits.
class WarmSessions
{
public:
    static WarmSessions &instance()
    {
        static auto *sessions = new WarmSessions;
        return *sessions;
    }

    // The kept session for these files, if there is one; it is the caller's until keep().
    std::unique_ptr<WarmSession> take(const QString &modelFile, const QString &vadModelFile)
    {
        std::unique_ptr<WarmSession> taken;
        {
            std::scoped_lock guard(mutex);
            taken = std::move(kept);
        }
        if (taken && (taken->modelFile != modelFile || taken->vadModelFile != vadModelFile))
            taken.reset();
        if (taken && taken->voice)
            taken->voice->reset();
        return taken;
    }

    void keep(std::unique_ptr<WarmSession> session)
    {
        std::unique_ptr<WarmSession> replaced;
        {
            std::scoped_lock guard(mutex);
            replaced = std::move(kept);
            kept = std::move(session);
            idleUntil = std::chrono::steady_clock::now() + idleRelease;
            if (!reaper.joinable())
                reaper = std::thread([this] { reap(); });
            changed.notify_all();
        }
    }

    void clear()
    {
        std::unique_ptr<WarmSession> released;
        std::scoped_lock guard(mutex);
        released = std::move(kept);
    }

private:
    static constexpr auto idleRelease = std::chrono::minutes(5);

    void reap()
    {
        std::unique_lock guard(mutex);
        for (;;) {
            if (!kept) {
                changed.wait(guard);
                continue;
            }
            if (changed.wait_until(guard, idleUntil) == std::cv_status::timeout
                && std::chrono::steady_clock::now() >= idleUntil) {
                std::unique_ptr<WarmSession> idle = std::move(kept);
                guard.unlock();
                idle.reset();
                guard.lock();
            }
        }
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::unique_ptr<WarmSession> kept;
    std::chrono::steady_clock::time_point idleUntil;
    std::thread reaper;
};

} // namespace

std::optional<WhisperRecognizer::Engine> WhisperRecognizer::engineOf(const QString &fileName)
{
    switch (kindOf(fileName)) {
    case ModelKind::whisper: return Engine::whisper;
    case ModelKind::parakeet: return Engine::parakeet;
    case ModelKind::unknown: break;
    }
    return std::nullopt;
}

WhisperRecognizer::WhisperRecognizer(Options options)
    : GatedRecognizer(options.pace)
    , options(std::move(options))
    , language(this->options.language.toUtf8())
{ }

WhisperRecognizer::~WhisperRecognizer()
{
    if (session)
        WarmSessions::instance().keep(std::move(session));
}

std::expected<void, QString> WhisperRecognizer::prewarm(const Options &options)
{
    if (std::unique_ptr<WarmSession> kept = WarmSessions::instance().take(options.modelFile, options.vadModelFile)) {
        WarmSessions::instance().keep(std::move(kept));
        return {};
    }
    std::expected<std::unique_ptr<WarmSession>, QString> loaded = WarmSession::load(options);
    if (!loaded)
        return std::unexpected(loaded.error());
    WarmSessions::instance().keep(std::move(*loaded));
    return {};
}

void WhisperRecognizer::releaseWarm()
{
    WarmSessions::instance().clear();
}

std::expected<void, QString> WhisperRecognizer::prepare(const QStringList &contextualStrings)
{
    session = WarmSessions::instance().take(options.modelFile, options.vadModelFile);
    if (!session) {
        std::expected<std::unique_ptr<WarmSession>, QString> loaded = WarmSession::load(options);
        if (!loaded)
            return std::unexpected(loaded.error());
        session = std::move(*loaded);
    }
    // The user's words steer the decoder towards their spelling.
    dictionary = contextualStrings.join(language == "ja" ? QStringLiteral("、") : QStringLiteral(", ")).toUtf8();
    return {};
}

std::optional<AudioFormat> WhisperRecognizer::bestAudioFormat(const AudioFormat &hardware) const
{
    if (!hardware.isUsable())
        return std::nullopt;
    return AudioFormat{double(sampleRate), 1};
}

std::expected<QString, QString> WhisperRecognizer::decodeWithParakeet(const std::vector<float> &samples)
{
    parakeet_state *state = session->parakeetState;
    parakeet_full_params parameters = parakeet_full_default_params(PARAKEET_SAMPLING_GREEDY);
    parameters.n_threads = EngineModels::threadCount(options.threads);
    parameters.no_context = true;
    parameters.abort_callback
        = [](void *recognizer) { return static_cast<WhisperRecognizer *>(recognizer)->shouldStop(); };
    parameters.abort_callback_user_data = this;
    const int status = parakeet_full_with_state(
        session->parakeet->context(), state, parameters, samples.data(), int(samples.size()));
    QString text;
    if (status == 0) {
        for (int i = 0; i < parakeet_full_n_segments_from_state(state); ++i)
            text += QString::fromUtf8(parakeet_full_get_segment_text_from_state(state, i));
    }
    if (status != 0 && !shouldStop())
        return std::unexpected(
            QCoreApplication::translate("WhisperRecognizer", "音声認識に失敗しました（%1）。").arg(status));
    return text;
}

VoiceActivity *WhisperRecognizer::voiceActivity()
{
    return session->voice.get();
}

std::expected<void, QString> WhisperRecognizer::run(const std::function<void(const Result &)> &onResult)
{
    if (!session)
        return std::unexpected(QCoreApplication::translate("WhisperRecognizer", "音声認識の準備ができていません。"));
    return GatedRecognizer::run(onResult);
}

std::expected<QString, QString> WhisperRecognizer::decode(
    const std::vector<float> &samples, const QString &earlier, bool isFinal)
{
    if (session->parakeet)
        return decodeWithParakeet(samples);
    whisper_state *state = session->whisperState;
    whisper_full_params parameters = whisper_full_default_params(WHISPER_SAMPLING_GREEDY);
    parameters.n_threads = EngineModels::threadCount(options.threads);
    parameters.language = language.constData();
    parameters.translate = false;
    parameters.no_context = true;
    parameters.no_timestamps = true;
    parameters.single_segment = false;
    parameters.print_progress = false;
    parameters.print_realtime = false;
    parameters.print_special = false;
    parameters.print_timestamps = false;
    parameters.suppress_blank = true;
    parameters.suppress_nst = true;
    const std::vector<whisper_token> prompt = promptTokens(session->model->context(), dictionary, earlier.toUtf8());
    parameters.prompt_tokens = prompt.empty() ? nullptr : prompt.data();
    parameters.prompt_n_tokens = int(prompt.size());
    if (!isFinal || !options.isFallbackAllowed)
        parameters.temperature_inc = 0;
    // The encoder works on 50 frames a second; encoding only what is there, not 30 s, is what
    // makes decoding the open segment again and again affordable.
    const int frames = int(std::ceil(double(samples.size()) / sampleRate * 50.0)) + 16;
    parameters.audio_ctx = std::min(frames, whisper_n_audio_ctx(session->model->context()));
    parameters.abort_callback
        = [](void *recognizer) { return static_cast<WhisperRecognizer *>(recognizer)->shouldStop(); };
    parameters.abort_callback_user_data = this;

    const int status
        = whisper_full_with_state(session->model->context(), state, parameters, samples.data(), int(samples.size()));
    QString text;
    if (status == 0) {
        for (int i = 0; i < whisper_full_n_segments_from_state(state); ++i)
            text += QString::fromUtf8(whisper_full_get_segment_text_from_state(state, i));
    }
    if (status != 0 && !shouldStop())
        return std::unexpected(
            QCoreApplication::translate("WhisperRecognizer", "音声認識に失敗しました（%1）。").arg(status));
    return text;
}
