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
        float energy = 0;
        for (int i = 0; i < window; ++i)
            energy += at[i] * at[i];
        step(isSpeech, energy / float(window), closed);
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

void SpeechGate::step(bool isSpeech, float energy, std::vector<Segment> &closed)
{
    const size_t at = judged;
    judged += window;
    record({isSpeech, energy}, at);
    if (!isSpeech && firstSpeech) {
        const std::optional<Segment> open = current();
        const bool isLate = open && judged - open->start >= longest - lateSpan;
        if (silence >= pause || (isLate && silence >= briefPause)) {
            // The segment keeps one window of the pause; a candidate with too little speech was a
            // click or a breath and is forgotten.
            if (open) {
                // After a full pause the detector starts afresh with the next segment.
                if (silence >= pause && voice != nullptr)
                    voice->reset();
                cutAt(judged - silence + window, closed);
            } else {
                firstSpeech.reset();
                speech = 0;
                silence = 0;
            }
            return;
        }
    } else if (!firstSpeech && windows.size() > 2 * keptWindows) {
        // Only a segment's own windows are looked at again.
        windows.erase(windows.begin(), windows.end() - std::ptrdiff_t(keptWindows));
        windowsFrom = judged - keptWindows * window;
    }
    const std::optional<Segment> open = current();
    if (!open || judged - open->start < longest)
        return;
    // At the limit the cut goes after the quietest window of the last seconds: one the detector
    // did not hear as speech if there is one, else the one with the least energy (a gap between
    // words); the later one of equals.
    const size_t searchFrom = std::max({open->start, judged - lateSpan, windowsFrom});
    size_t quietest = windows.size() - 1;
    for (size_t i = (searchFrom - windowsFrom + window - 1) / window; i < windows.size(); ++i) {
        if (std::pair(windows[i].isSpeech, windows[i].energy)
            <= std::pair(windows[quietest].isSpeech, windows[quietest].energy))
            quietest = i;
    }
    cutAt(windowsFrom + (quietest + 1) * window, closed);
}

void SpeechGate::cutAt(size_t end, std::vector<Segment> &closed)
{
    const size_t cut = (end - windowsFrom) / window;
    if (std::optional<Segment> segment = current()) {
        segment->end = end;
        segment->speech = 0;
        for (size_t i = (*firstSpeech - windowsFrom) / window; i < cut; ++i)
            segment->speech += windows[i].isSpeech ? window : 0;
        closed.push_back(*segment);
    }
    const std::vector<Window> after(windows.begin() + std::ptrdiff_t(cut), windows.end());
    restart(end);
    // What was judged after the cut begins the next segment.
    for (const Window &judgedWindow : after)
        record(judgedWindow, windowsFrom + windows.size() * window);
}

void SpeechGate::record(Window judgedWindow, size_t at)
{
    windows.push_back(judgedWindow);
    if (judgedWindow.isSpeech) {
        if (!firstSpeech)
            firstSpeech = at;
        speech += window;
        silence = 0;
    } else if (firstSpeech) {
        silence += window;
    }
}

void SpeechGate::restart(size_t from)
{
    floor = from;
    windowsFrom = from;
    windows.clear();
    firstSpeech.reset();
    speech = 0;
    silence = 0;
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
    if (voice != nullptr)
        voice->reset();
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
