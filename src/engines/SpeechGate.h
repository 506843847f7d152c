#pragma once

#include <QString>

#include <cstddef>
#include <optional>
#include <vector>

class VoiceActivity;

// Decides, from the voice detector, which stretches of a recording are worth decoding: a segment
// opens only after about a quarter of a second of speech (a click or a breath never opens one),
// starts a little before the first speech heard (so a soft first syllable is kept), and closes at
// a pause after speech. A segment growing towards the longest span the recogniser takes closes at
// a shorter pause once it is long, and at the limit at its quietest moment of the last seconds, so
// it is never cut in the middle of a word when a gap between words was there to cut at.
// Silence is never decoded. Positions are sample counts from the start of the recording (16 kHz mono).
class SpeechGate
{
public:
    struct Segment {
        size_t start = 0;
        size_t end = 0;
        // Samples of the segment the detector heard as speech.
        size_t speech = 0;

        bool operator==(const Segment &) const = default;
    };

    static constexpr int window = 512;
    static constexpr size_t minimumSpeech = 8 * window; // 256 ms
    static constexpr size_t pause = 16 * window; // 512 ms
    static constexpr size_t leadIn = 8000; // 500 ms
    static constexpr size_t longest = size_t(16000) * 28; // whisper's window is 30 s
    // In the last seconds before the limit a shorter pause closes the segment, and the forced cut
    // looks for the quietest window there.
    static constexpr size_t lateSpan = size_t(16000) * 8;
    static constexpr size_t briefPause = 4 * window; // 128 ms

    // Without a detector every window counts as speech.
    explicit SpeechGate(VoiceActivity *voice);

    // Follows the detector over the next `count` samples of the recording; the segments they closed.
    std::vector<Segment> follow(const float *samples, size_t count);
    // The end of input: the open segment up to the last sample, if it holds enough speech.
    std::optional<Segment> finish();
    // The segment open now, up to the last sample followed, if it holds enough speech.
    std::optional<Segment> current() const;
    // Audio before this position will never be decoded.
    size_t keepFrom() const;

private:
    struct Window {
        bool isSpeech;
        float energy;
    };

    void step(bool isSpeech, float energy, std::vector<Segment> &closed);
    // Keeps a judged window that begins at `at`, and counts its speech or its part of a pause.
    void record(Window judgedWindow, size_t at);
    // Closes the open segment at `end`, which lies inside its windows, and goes on after it with
    // the windows already judged there.
    void cutAt(size_t end, std::vector<Segment> &closed);
    void restart(size_t from);

    VoiceActivity *voice;
    std::vector<float> partial; // fewer samples than a window, not yet judged
    size_t judged = 0; // windows judged so far end here
    size_t floor = 0; // end of the last closed segment
    // The windows judged since `windowsFrom` (no earlier than `floor`, and no earlier than the
    // open segment's start).
    std::vector<Window> windows;
    size_t windowsFrom = 0;
    static constexpr size_t keptWindows = leadIn / window + 1;
    std::optional<size_t> firstSpeech; // first speech window of the segment being gathered
    size_t speech = 0;
    size_t silence = 0; // samples of the pause running now
};

// Whisper's answers to silence and noise ("Thank you.", "ご視聴ありがとうございました",
// "[BLANK_AUDIO]", "(拍手)"): true when `text` is nothing but such a phrase or a bracketed note.
bool isSilencePhrase(const QString &text);
