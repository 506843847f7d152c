#include "text/TextPostProcessor.h"

#include "core/IcuRegex.h"
#include "core/Unicode.h"

#include <unicode/uchar.h>

namespace {

struct Rule {
    IcuRegex pattern;
    QString replacement;
};

// A Latin letter touching the word keeps it as it is (まるで is still replaced; Aまる is not).
const Rule spokenPunctuation[] = {
    {IcuRegex(u"(?<![A-Za-z])かいぎょう(?![A-Za-z])"), QStringLiteral("\n")},
    {IcuRegex(u"(?<![A-Za-z])まる(?![A-Za-z])"), QStringLiteral("。")},
    {IcuRegex(u"(?<![A-Za-z])てん(?![A-Za-z])"), QStringLiteral("、")},
};

// The longer forms come first so that えーと wins over えー. What comes before a filler is only looked
// at, so a filler right after another one is removed in the same pass.
const Rule japaneseFillers[] = {
    {IcuRegex(u"(?<=^|[\\s、。，．,.])(?:えーっと|えーと|ええと|えっと|えー|あのー|あのう|うーん|んー)(?:[、，,\\s]+|$)"),
        QString()},
    {IcuRegex(u"、{2,}"), QStringLiteral("、")},
    {IcuRegex(u"(^|。)、"), QStringLiteral("$1")},
};

const Rule englishFillers[] = {
    {IcuRegex(u"\\b([Uu]m+|[Uu]h+|[Ee]rm|[Hh]mm+)\\b[,.]?\\s*"), QString()},
    {IcuRegex(u"^(?:[Ss]o,\\s*)?(?:[Bb]asically|[Yy]ou know),\\s*"), QString()},
};

// Only ASCII spaces and tabs inside the text; the ends are trimmed separately.
const Rule whitespace[] = {
    {IcuRegex(u"[ \\t]+\\n"), QStringLiteral("\n")},
    {IcuRegex(u"\\n[ \\t]+"), QStringLiteral("\n")},
    {IcuRegex(u"[ \\t]{2,}"), QStringLiteral(" ")},
};

template<size_t count>
QString applied(const Rule (&rules)[count], QString text)
{
    for (const Rule &rule : rules)
        text = rule.pattern.replaceAll(text, rule.replacement);
    return text;
}

bool isTrimmed(char32_t codePoint)
{
    return (U_GET_GC_MASK(static_cast<UChar32>(codePoint)) & U_GC_Z_MASK) != 0 || codePoint == U'\t'
        || (codePoint >= 0x0A && codePoint <= 0x0D) || codePoint == 0x85;
}

QString trimmed(QStringView text)
{
    // Every character of the trimming set is a single UTF-16 unit.
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isTrimmed(text[begin].unicode()))
        ++begin;
    while (end > begin && isTrimmed(text[end - 1].unicode()))
        --end;
    return text.sliced(begin, end - begin).toString();
}

QString replacingDictionaryWords(QString text, const QList<DictionaryEntry> &dictionary)
{
    for (const DictionaryEntry &entry : dictionary) {
        if (entry.spoken.isEmpty() || entry.replacement.isEmpty())
            continue;
        text.replace(entry.spoken, entry.replacement, Qt::CaseSensitive);
    }
    return text;
}

QString capitalizingFirstCharacter(const QString &text)
{
    const auto boundaries = Unicode::characterBoundaries(text);
    if (boundaries.size() < 2)
        return text;
    const QStringView first = QStringView(text).first(boundaries[1]);
    // Lower-case means changed by upper-casing and unchanged by lower-casing.
    const QString upper = Unicode::uppercased(first);
    if (upper == first || Unicode::lowercased(first) != first)
        return text;
    return upper + text.sliced(boundaries[1]);
}

} // namespace

namespace TextPostProcessor {

QString process(QStringView text, const QList<DictionaryEntry> &dictionary, bool spokenPunctuationEnabled,
    RecognitionLanguage language)
{
    const bool isJapanese = language == RecognitionLanguage::japanese;
    QString result = replacingDictionaryWords(text.toString(), dictionary);
    if (spokenPunctuationEnabled && isJapanese)
        result = applied(spokenPunctuation, std::move(result));
    result = isJapanese ? removeFillers(result) : removeEnglishFillers(result);
    result = trimmed(applied(whitespace, std::move(result)));
    return isJapanese ? result : capitalizingFirstCharacter(result);
}

QString removeFillers(QStringView text)
{
    return applied(japaneseFillers, text.toString());
}

QString removeEnglishFillers(QStringView text)
{
    return applied(englishFillers, text.toString());
}

} // namespace TextPostProcessor
