#pragma once

#include <QString>
#include <QStringView>

#include <optional>
#include <vector>

// One piece of a Japanese text: a word, a mark, or a run of characters the analyser skipped (such as
// spaces). Ranges are UTF-16 offsets into the text given.
struct JapaneseToken {
    qsizetype location = 0;
    qsizetype length = 0;
    // How the piece is read, in lower-case Latin letters; nothing when the analyser has no reading
    // (unknown words, Latin text, digits, spaces).
    std::optional<QString> reading;

    friend bool operator==(const JapaneseToken &, const JapaneseToken &) = default;
};

// Splits Japanese text into words. Implementations cover the whole text with pieces in order, never
// fail (a text they cannot analyse is one piece without a reading), and are callable from any thread.
class JapaneseTokenizer
{
public:
    virtual ~JapaneseTokenizer() = default;
    virtual std::vector<JapaneseToken> tokenize(QStringView text) const = 0;
};
