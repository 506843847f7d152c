#pragma once

#include "engines/GatedRecognizer.h"

#include <QString>

#include <memory>
#include <vector>

struct parakeet_context;
struct parakeet_state;
struct whisper_state;
struct whisper_context;
struct whisper_vad_context;
struct WarmSession;

// A whisper.cpp model file loaded once and shared by every session that uses it (each session has
// its own decoding state).
class WhisperModel
{
public:
    // The same loaded model for the same file while anyone holds it; an error for a file that is
    // missing, truncated or not a whisper model.
    static std::expected<std::shared_ptr<WhisperModel>, QString> load(const QString &fileName);
    ~WhisperModel();
    WhisperModel(const WhisperModel &) = delete;
    WhisperModel &operator=(const WhisperModel &) = delete;

    whisper_context *context() const { return loaded; }

private:
    explicit WhisperModel(whisper_context *loaded)
        : loaded(loaded)
    { }
    whisper_context *loaded;
};

// A Parakeet TDT model file (whisper.cpp's second engine; English and European languages), loaded
// once and shared like a whisper model. Parakeet encodes only the audio it is given.
class ParakeetModel
{
public:
    static std::expected<std::shared_ptr<ParakeetModel>, QString> load(const QString &fileName);
    ~ParakeetModel();
    ParakeetModel(const ParakeetModel &) = delete;
    ParakeetModel &operator=(const ParakeetModel &) = delete;

    parakeet_context *context() const { return loaded; }

private:
    explicit ParakeetModel(parakeet_context *loaded)
        : loaded(loaded)
    { }
    parakeet_context *loaded;
};

// Voice activity with whisper.cpp's Silero VAD: the speech segments of 16 kHz mono audio.
class VoiceActivity
{
public:
    struct Segment {
        double start;
        double end;
    };

    static std::expected<std::unique_ptr<VoiceActivity>, QString> load(const QString &fileName);
    ~VoiceActivity();

    std::vector<Segment> segments(const std::vector<float> &samples);
    // Speech probability per 512-sample window of `samples`, keeping the detector's state between calls.
    std::vector<float> probabilities(const float *samples, int count);
    void reset();

private:
    explicit VoiceActivity(whisper_vad_context *context)
        : context(context)
    { }
    whisper_vad_context *context;
};

// Recognition with whisper.cpp (a Whisper or a Parakeet TDT model) on 16 kHz mono audio, on the
// thread that calls run(), paced and gated as GatedRecognizer says. Each decode encodes only the
// segment's own length (audio_ctx cut to it), not 30 s. Whisper is given the user's words and the
// tail of the recording's earlier final text as its prompt. A stop (cancel, or the end of input
// during a running-transcript decode) is seen after the encoder and between decoded tokens.
class WhisperRecognizer final : public GatedRecognizer
{
public:
    enum class Engine { whisper, parakeet };

    struct Options {
        QString modelFile;
        QString vadModelFile;
        QString language; // "ja" or "en"
        double pace = 0.25; // least seconds of new audio between running-transcript decodes
        int threads = 0; // 0: up to 4, as the machine has
        Engine engine = Engine::whisper;
        // Decode a final result again at a higher temperature when whisper judges it poor (the
        // running transcript never is: it is replaced soon anyway).
        bool isFallbackAllowed = true;
    };

    explicit WhisperRecognizer(Options options);

    // Loads the model, a decoding state and the voice detector of `options` before the first
    // recording needs them. What a recording used stays loaded for the next one with the same
    // files, until a few idle minutes have passed or other files are asked for.
    static std::expected<void, QString> prewarm(const Options &options);
    // Frees what is kept loaded now.
    static void releaseWarm();

    // The engine a model file is for, read from its header; nothing when it is for neither.
    static std::optional<Engine> engineOf(const QString &fileName);
    ~WhisperRecognizer() override;

    std::expected<void, QString> prepare(const QStringList &contextualStrings) override;
    std::optional<AudioFormat> bestAudioFormat(const AudioFormat &hardware) const override;
    std::expected<void, QString> run(const std::function<void(const Result &)> &onResult) override;

protected:
    std::expected<QString, QString> decode(
        const std::vector<float> &samples, const QString &earlier, bool isFinal) override;
    VoiceActivity *voiceActivity() override;

private:
    std::expected<QString, QString> decodeWithParakeet(const std::vector<float> &samples);

    Options options;
    // The model, its decoding state and the voice detector; kept loaded for the next recording
    // when this one ends.
    std::unique_ptr<WarmSession> session;
    QByteArray dictionary;
    QByteArray language;
};
