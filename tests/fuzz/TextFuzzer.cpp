#include "core/Unicode.h"
#include "engines/MecabTokenizer.h"
#include "text/JapaneseEditFilter.h"
#include "text/PolishedTextValidator.h"
#include "text/PromptBuilder.h"
#include "text/TextPostProcessor.h"

#include <QHash>
#include <QList>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

// Aborts the run, so libFuzzer keeps the input, when a rule of the text path does not hold.
void require(bool holds, const char *rule)
{
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", rule);
        std::abort();
    }
}

// An accepted English rewrite says nothing the speaker did not: each of its words is one of the
// transcript's, used no more often, numbers aside (a spelt-out number may come back as digits).
bool usesOnlyTheRawWords(const QString &raw, const QString &accepted)
{
    QHash<QString, int> unused;
    for (const QString &token : PolishedTextValidator::englishTokens(raw))
        ++unused[token];
    for (const QString &token : PolishedTextValidator::englishTokens(accepted)) {
        if (std::all_of(token.cbegin(), token.cend(), [](QChar c) { return c.isDigit(); }))
            continue;
        if (--unused[token] < 0)
            return false;
    }
    return true;
}

} // namespace

// Feeds arbitrary bytes through the text path of one dictation and checks its rules. The input is
// split at its first NUL byte into a transcript and a rewrite (the whole input is both when there
// is none); each is read as UTF-16 so that unpaired surrogates reach the code too.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const MecabTokenizer tokenizer;
    static const JapaneseEditFilter filter(tokenizer);
    static const QList<DictionaryEntry> dictionary {
        DictionaryEntry {QUuid(), QStringLiteral("くらうど"), QStringLiteral("クラウド")},
        DictionaryEntry {QUuid(), QStringLiteral("a"), QStringLiteral("ab")},
    };

    const auto *bytes = reinterpret_cast<const char *>(data);
    const std::string_view input(bytes, size);
    const size_t split = input.find('\0');
    const std::string_view first = split == std::string_view::npos ? input : input.substr(0, split);
    const std::string_view second = split == std::string_view::npos ? input : input.substr(split + 1);
    auto decode = [](std::string_view part) {
        return QString(reinterpret_cast<const QChar *>(part.data()), qsizetype(part.size() / 2));
    };
    const QString raw = decode(first);
    const QString polished = decode(second);

    for (const RecognitionLanguage language : RecognitionLanguage::allCases()) {
        const QString cleanedRaw = TextPostProcessor::process(raw, dictionary, true, language);
        const QString cleanedPolished = TextPostProcessor::process(polished, dictionary, true, language);
        const std::optional<QString> accepted
            = PolishedTextValidator::accepted(cleanedRaw, cleanedPolished, language, tokenizer);
        if (accepted && language == RecognitionLanguage::english)
            require(usesOnlyTheRawWords(cleanedRaw, *accepted), "an accepted rewrite uses only the raw words");
        if (accepted && language == RecognitionLanguage::japanese)
            require(*accepted != cleanedRaw, "an accepted Japanese rewrite changes something");
        // Cleaned text cleans to itself, the dictionary aside (a replacement may hold its spoken form).
        const QString cleaned = TextPostProcessor::process(raw, {}, true, language);
        require(TextPostProcessor::process(cleaned, {}, true, language) == cleaned, "cleaning is idempotent");
        const QString wrapped = PromptBuilder::wrapUtterance(raw, language);
        const QString closing = language == RecognitionLanguage::japanese ? QStringLiteral("</発話>")
                                                                           : QStringLiteral("</utterance>");
        require(wrapped.count(closing) == 1 && wrapped.endsWith(closing), "the utterance closes once, at its end");
    }
    const QString canonical = Unicode::canonicalForm(raw);
    require(Unicode::canonicalForm(canonical) == canonical, "the canonical form is idempotent");
    const QString normalized = PolishedTextValidator::normalized(raw);
    require(PolishedTextValidator::normalized(normalized) == normalized, "normalising is idempotent");
    // Merging a text with itself finds no difference to judge; read as UTF-8 too.
    for (const auto &[one, other] : {std::pair(raw, polished),
             std::pair(QString::fromUtf8(first.data(), qsizetype(first.size())),
                 QString::fromUtf8(second.data(), qsizetype(second.size())))}) {
        require(filter.merge(one, one) == one, "merge(raw, raw) == raw");
        filter.merge(one, other);
    }
    return 0;
}
