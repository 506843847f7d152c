#pragma once

#include "store/RecognitionLanguage.h"

#include <QString>
#include <QStringList>

#include <optional>

class JapaneseTokenizer;

// The guard between the language model's rewrite and the user's field: returns the text to insert,
// or nothing when the rewrite must be dropped. English rewrites may drop fillers (or anything after
// a spoken correction) but never add or change a word; Japanese rewrites go through the edit filter
// edit by edit. Pure apart from the tokenizer; any thread.
namespace PolishedTextValidator {

std::optional<QString> accepted(
    QStringView raw, QStringView polished, RecognitionLanguage language, const JapaneseTokenizer &tokenizer);

// Lower-cased letters and numbers only.
QString normalized(QStringView text);
// Lower-cased runs of letters and numbers, after spelling out a few number forms.
QStringList englishTokens(QStringView text);
bool isAcceptableEnglish(QStringView raw, QStringView polished);

} // namespace PolishedTextValidator
