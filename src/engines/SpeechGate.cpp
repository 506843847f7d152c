#include "engines/SpeechGate.h"

#include "engines/WhisperRecognizer.h"

#include <QRegularExpression>

#include <algorithm>

namespace {
constexpr float speechThreshold = 0.5F;
} // namespace

SpeechGate::SpeechGate(VoiceActivity *voice)
    : voice(voice)
{ }

std::vector<SpeechGate::Segment> SpeechGate::follow(const float *samples, size_t count)
{
    std::vector<Segment> closed;
    auto judge = [&](const float *at) {
        bool isSpeech = true;
        if (voice != nullptr) {
            const std::vector<float> probabilities = voice->probabilities(at, window);
            isSpeech = !probabilities.empty() && probabilities.front() >= speechThreshold;
        }
        step(isSpeech, closed);
    };
    if (!partial.empty()) {
        const size_t taken = std::min(count, window - partial.size());
        partial.insert(partial.end(), samples, samples + taken);
        samples += taken;
        count -= taken;
        if (partial.size() < size_t(window))
            return closed;
        judge(partial.data());
        partial.clear();
    }
    for (; count >= size_t(window); samples += window, count -= window)
        judge(samples);
    partial.assign(samples, samples + count);
    return closed;
}

void SpeechGate::step(bool isSpeech, std::vector<Segment> &closed)
{
    const size_t at = judged;
    judged += window;
    if (isSpeech) {
        if (!firstSpeech)
            firstSpeech = at;
        speech += window;
        silence = 0;
    } else if (firstSpeech) {
        silence += window;
        if (silence >= pause) {
            // The segment keeps one window of the pause; a candidate with too little speech was a
            // click or a breath and is forgotten.
            const size_t end = judged - silence + window;
            if (std::optional<Segment> segment = current()) {
                segment->end = end;
                closed.push_back(*segment);
                restart(end);
            } else {
                firstSpeech.reset();
                speech = 0;
                silence = 0;
            }
            return;
        }
    }
    // Cut at the longest span; speech going on opens the next segment right at the cut.
    if (std::optional<Segment> segment = current(); segment && judged - segment->start >= longest) {
        segment->end = judged;
        closed.push_back(*segment);
        restart(judged);
    }
}

void SpeechGate::restart(size_t from)
{
    floor = from;
    firstSpeech.reset();
    speech = 0;
    silence = 0;
    // The detector follows one segment at a time.
    if (voice != nullptr)
        voice->reset();
}

std::optional<SpeechGate::Segment> SpeechGate::current() const
{
    if (!firstSpeech || speech < minimumSpeech)
        return std::nullopt;
    const size_t start = std::max(floor, *firstSpeech > leadIn ? *firstSpeech - leadIn : 0);
    return Segment{start, judged + partial.size(), speech};
}

std::optional<SpeechGate::Segment> SpeechGate::finish()
{
    std::optional<Segment> last = current();
    restart(judged + partial.size());
    partial.clear();
    return last;
}

size_t SpeechGate::keepFrom() const
{
    const size_t from = firstSpeech ? *firstSpeech : judged;
    return std::max(floor, from > leadIn ? from - leadIn : 0);
}

bool isSilencePhrase(const QString &text)
{
    // Notes in brackets of any kind, and music signs.
    static const QRegularExpression notes(QStringLiteral(R"(\[[^\]]*\]|\([^)]*\)|（[^）]*）|【[^】]*】|♪|♫)"));
    static const QRegularExpression ignored(QStringLiteral(R"([\s\p{P}]+)"));
    static const QStringList phrases{
        QStringLiteral("ご視聴ありがとうございました"),
        QStringLiteral("ご清聴ありがとうございました"),
        QStringLiteral("ありがとうございました"),
        QStringLiteral("おやすみなさい"),
        QStringLiteral("チャンネル登録をお願いします"),
        QStringLiteral("thanksforwatching"),
        QStringLiteral("thankyouforwatching"),
        QStringLiteral("thankyou"),
        QStringLiteral("thanks"),
        QStringLiteral("you"),
        QStringLiteral("bye"),
    };
    QString rest = text;
    rest.remove(notes);
    rest.remove(ignored);
    rest = rest.toLower();
    if (rest.isEmpty())
        return !text.trimmed().isEmpty();
    // One phrase or several in a row ("Thank you. Thank you.").
    for (bool isTaken = true; isTaken && !rest.isEmpty();) {
        isTaken = false;
        for (const QString &phrase : phrases) {
            if (rest.startsWith(phrase)) {
                rest.remove(0, phrase.size());
                isTaken = true;
                break;
            }
        }
    }
    return rest.isEmpty();
}
