#pragma once

#include "store/DictionaryEntry.h"
#include "store/RecognitionLanguage.h"

#include <QList>
#include <QString>

// The deterministic clean-up of every dictated text: dictionary replacements, spoken punctuation
// (Japanese), fillers, white space, and a capital first letter (English). Pure; any thread.
namespace TextPostProcessor {

QString process(
    QStringView text, const QList<DictionaryEntry> &dictionary, bool spokenPunctuation, RecognitionLanguage language);
QString removeFillers(QStringView text);
QString removeEnglishFillers(QStringView text);

} // namespace TextPostProcessor
