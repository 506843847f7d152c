#include "engines/GatedRecognizer.h"

#include "engines/SpeechGate.h"

#include <algorithm>
#include <deque>
#include <optional>

namespace {
// A segment with less speech than this that decodes to a stock phrase was noise.
constexpr size_t shortSpeech = GatedRecognizer::sampleRate;
} // namespace

GatedRecognizer::GatedRecognizer(double pace)
    : pace(pace)
{ }

void GatedRecognizer::append(const AudioBuffer &buffer)
{
    if (buffer.format != AudioFormat{double(sampleRate), 1})
        return;
    std::scoped_lock guard(mutex);
    incoming.insert(incoming.end(), buffer.samples.begin(), buffer.samples.end());
    arrived.notify_one();
}

void GatedRecognizer::finishInput()
{
    std::scoped_lock guard(mutex);
    isInputFinished = true;
    arrived.notify_one();
}

void GatedRecognizer::cancel()
{
    std::scoped_lock guard(mutex);
    isCancelled = true;
    arrived.notify_one();
}

bool GatedRecognizer::shouldStop() const
{
    return isCancelled || (isDecodingVolatile && isInputFinished);
}

std::expected<void, QString> GatedRecognizer::run(const std::function<void(const Result &)> &onResult)
{
    SpeechGate gate(voiceActivity());
    // The recording from `audioStart` on; what the gate will never decode is dropped from the front.
    std::vector<float> audio;
    size_t audioStart = 0;
    QString earlier;
    // What the last running-transcript decode covered: the segment's start, its end, its speech.
    std::optional<SpeechGate::Segment> shown;
    // Its cost, as the audio that came in while it ran: the next one waits for as much again after
    // it, so running decodes take at most about half the time and the finals never fall behind.
    size_t cost = 0;
    const size_t paceSamples = size_t(pace * sampleRate);

    auto report = [&](const SpeechGate::Segment &segment, bool isFinal) -> std::expected<void, QString> {
        const auto from = audio.begin() + std::ptrdiff_t(segment.start - audioStart);
        isDecodingVolatile = !isFinal;
        std::expected<QString, QString> text
            = decode(std::vector<float>(from, from + std::ptrdiff_t(segment.end - segment.start)), earlier, isFinal);
        const bool isStopped = shouldStop();
        isDecodingVolatile = false;
        if (!isFinal) {
            std::scoped_lock guard(mutex);
            cost = incoming.size();
        }
        if (isStopped)
            return {};
        if (!text)
            return std::unexpected(text.error());
        // Whisper answers noise with stock phrases; a segment with little speech that says only one is dropped.
        if (segment.speech < shortSpeech && isSilencePhrase(*text))
            return {};
        if (isFinal)
            earlier += *text;
        onResult(Result{*text, isFinal});
        return {};
    };

    for (;;) {
        bool isLast = false;
        const size_t before = audio.size();
        {
            std::unique_lock guard(mutex);
            arrived.wait(guard, [&] { return isCancelled || isInputFinished || !incoming.empty(); });
            if (isCancelled)
                return {};
            audio.insert(audio.end(), incoming.begin(), incoming.end());
            incoming.clear();
            isLast = isInputFinished;
        }

        std::deque<SpeechGate::Segment> closed;
        for (const SpeechGate::Segment &segment : gate.follow(audio.data() + before, audio.size() - before))
            closed.push_back(segment);
        if (isLast) {
            if (std::optional<SpeechGate::Segment> rest = gate.finish())
                closed.push_back(*rest);
        }
        for (const SpeechGate::Segment &segment : closed) {
            if (std::expected<void, QString> reported = report(segment, true); !reported)
                return reported;
            if (isCancelled)
                return {};
        }
        if (isLast)
            return {};
        const size_t keepFrom = gate.keepFrom();
        if (keepFrom > audioStart) {
            audio.erase(audio.begin(), audio.begin() + std::ptrdiff_t(keepFrom - audioStart));
            audioStart = keepFrom;
        }
        // A running-transcript decode only for new speech: the decode before has returned (this
        // thread made it), and the open segment has more speech and more audio since it.
        const std::optional<SpeechGate::Segment> open = gate.current();
        if (!open)
            continue;
        const bool isSameSegment = shown && shown->start == open->start;
        if (isSameSegment
            && (open->speech <= shown->speech || open->end < shown->end + std::max(paceSamples, 2 * cost)))
            continue;
        shown = open;
        if (std::expected<void, QString> reported = report(*open, false); !reported)
            return reported;
    }
}
