#include "engines/MecabTokenizer.h"
#include "text/JapaneseEditFilter.h"
#include "text/PolishedTextValidator.h"
#include "text/PromptBuilder.h"
#include "text/TextPostProcessor.h"

#include <QList>

#include <cstddef>
#include <cstdint>

// Feeds arbitrary bytes through the text path of one dictation. The input is split at its first
// NUL byte into a transcript and a rewrite (the whole input is both when there is none); each is
// read as UTF-16 so that unpaired surrogates reach the code too.
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
        PolishedTextValidator::accepted(cleanedRaw, cleanedPolished, language, tokenizer);
        PromptBuilder::wrapUtterance(raw, language);
    }
    filter.merge(raw, polished);
    filter.merge(QString::fromUtf8(first.data(), qsizetype(first.size())),
        QString::fromUtf8(second.data(), qsizetype(second.size())));
    return 0;
}
