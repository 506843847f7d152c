#include "text/PolishedTextValidator.h"

#include "core/IcuRegex.h"
#include "text/JapaneseEditFilter.h"
#include "core/Unicode.h"

#include <QHash>
#include <QSet>

namespace {

const QSet<QString> englishFillers {QStringLiteral("um"), QStringLiteral("uh"), QStringLiteral("erm"),
    QStringLiteral("hmm"), QStringLiteral("like"), QStringLiteral("you"), QStringLiteral("know"), QStringLiteral("so"),
    QStringLiteral("basically"), QStringLiteral("well")};

const std::pair<QString, QString> numberSpellings[] = {
    {QStringLiteral("10:30"), QStringLiteral("ten thirty")},
    {QStringLiteral("3 p.m."), QStringLiteral("three pm")},
    {QStringLiteral("3 p.m"), QStringLiteral("three pm")},
    {QStringLiteral("3 pm"), QStringLiteral("three pm")},
};

const IcuRegex &correctionCue()
{
    static const IcuRegex cue(
        u"\\b(no\\s*,?\\s*wait|scratch\\s+that|i\\s+mean|or\\s+rather|actually|sorry|make\\s+that)\\b",
        IcuRegex::caseInsensitive);
    return cue;
}

// Calls `visit` with each user-perceived character of `text`.
template<typename Visit>
void forEachCharacter(QStringView text, Visit visit)
{
    const std::vector<qsizetype> bounds = Unicode::characterBoundaries(text);
    for (size_t i = 0; i + 1 < bounds.size(); ++i)
        visit(text.sliced(bounds[i], bounds[i + 1] - bounds[i]));
}

} // namespace

namespace PolishedTextValidator {

std::optional<QString> accepted(
    QStringView raw, QStringView polished, RecognitionLanguage language, const JapaneseTokenizer &tokenizer)
{
    if (language == RecognitionLanguage::english) {
        if (isAcceptableEnglish(raw, polished))
            return polished.toString();
        return std::nullopt;
    }
    if (normalized(polished).isEmpty())
        return std::nullopt;
    QString merged = JapaneseEditFilter(tokenizer).merge(raw, polished);
    if (merged == raw)
        return std::nullopt;
    return merged;
}

QString normalized(QStringView text)
{
    QString kept;
    forEachCharacter(Unicode::lowercased(text), [&](QStringView character) {
        if (Unicode::isLetterOrNumberCharacter(character))
            kept.append(character);
    });
    return kept;
}

QStringList englishTokens(QStringView text)
{
    QString lowered = Unicode::lowercased(text);
    for (const auto &[search, replacement] : numberSpellings)
        lowered.replace(search, replacement);
    QStringList tokens;
    QString current;
    forEachCharacter(lowered, [&](QStringView character) {
        if (Unicode::isLetterOrNumberCharacter(character)) {
            current.append(character);
        } else if (!current.isEmpty()) {
            tokens.append(current);
            current.clear();
        }
    });
    if (!current.isEmpty())
        tokens.append(current);
    return tokens;
}

bool isAcceptableEnglish(QStringView raw, QStringView polished)
{
    const QStringList rawTokens = englishTokens(raw);
    const QStringList polishedTokens = englishTokens(polished);
    if (rawTokens.isEmpty() || polishedTokens.isEmpty())
        return false;

    // The rewrite may drop and reorder words, never add or alter one.
    QHash<QString, int> unused;
    for (const QString &token : rawTokens)
        ++unused[token];
    for (const QString &token : polishedTokens) {
        auto found = unused.find(token);
        if (found == unused.end() || found.value() == 0)
            return false;
        --found.value();
    }
    if (correctionCue().isFoundIn(raw))
        return true;
    for (auto it = unused.cbegin(); it != unused.cend(); ++it) {
        if (it.value() > 0 && !englishFillers.contains(it.key()))
            return false;
    }
    return true;
}

} // namespace PolishedTextValidator
