#include "engines/MecabTokenizer.h"
#include "text/PolishedTextValidator.h"
#include "text/TextPostProcessor.h"
#include "core/Unicode.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>

using namespace Qt::Literals::StringLiterals;

namespace {

// One long Japanese dictation as the recogniser writes it (fillers, a correction, a homophone
// error, spoken punctuation), repeated to about 400 characters, and a rewrite of it with the kinds of
// edits a model makes: punctuation, dropped fillers, the corrected homophone, one refused addition.
QString repeatedTo(const QString &unit, qsizetype characters)
{
    QString text;
    while (Unicode::characterCount(text) < characters)
        text += unit;
    return Unicode::prefix(text, characters);
}

const QString japaneseRaw = repeatedTo(
    u"えーと、来週の会議は3時からじゃなくて4時からですまる資料はあのー、前日までに送りますまる漢字の5時が多いので確認してください"_s,
    400);
const QString japaneseRewrite = repeatedTo(
    u"来週の会議は4時からです。資料は、前日までにお送りします。漢字の誤字が多いので、確認してください。"_s, 360);
const QString englishRaw = u"um so basically the quarterly report is ready I mean the draft is ready for review and uh "
                           u"we need five chairs I mean six chairs for the room on Monday at ten thirty"_s;
const QString englishRewrite
    = u"The draft is ready for review, and we need six chairs for the room on Monday at 10:30."_s;

const MecabTokenizer &tokenizer()
{
    static const MecabTokenizer shared;
    return shared;
}

void dictation(benchmark::State &state, const QString &raw, const QString &rewrite, RecognitionLanguage language)
{
    if (!tokenizer().isAvailable()) {
        state.SkipWithError(tokenizer().errorMessage().toStdString().c_str());
        return;
    }
    bool isAccepted = false;
    for (auto _ : state) {
        const QString cleaned = TextPostProcessor::process(raw, {}, true, language);
        const QString cleanedRewrite = TextPostProcessor::process(rewrite, {}, true, language);
        const std::optional<QString> accepted
            = PolishedTextValidator::accepted(cleaned, cleanedRewrite, language, tokenizer());
        isAccepted = accepted.has_value();
        benchmark::DoNotOptimize(accepted);
    }
    state.counters["characters"] = double(Unicode::characterCount(raw));
    state.counters["accepted"] = isAccepted ? 1 : 0;
}

void japaneseDictation(benchmark::State &state)
{
    dictation(state, japaneseRaw, japaneseRewrite, RecognitionLanguage::japanese);
}
BENCHMARK(japaneseDictation)->Unit(benchmark::kMillisecond);

void englishDictation(benchmark::State &state)
{
    dictation(state, englishRaw, englishRewrite, RecognitionLanguage::english);
}
BENCHMARK(englishDictation)->Unit(benchmark::kMillisecond);

// The parts of the Japanese path on their own.
void japaneseCleanUp(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(TextPostProcessor::process(japaneseRaw, {}, true, RecognitionLanguage::japanese));
}
BENCHMARK(japaneseCleanUp)->Unit(benchmark::kMillisecond);

void japaneseTokenizing(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(tokenizer().tokenize(japaneseRaw));
}
BENCHMARK(japaneseTokenizing)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
