#pragma once

#include <QString>
#include <QStringView>

#include <optional>
#include <vector>

class JapaneseTokenizer;

// Takes a Japanese rewrite edit by edit. The transcript (raw) and the rewrite (polished) are
// compared character by character, each difference is widened to word boundaries, and each is
// judged alone: punctuation and spacing changes, the deletion of one filler word, deletions after a
// spoken self-correction (while 40% of the content survives) and same-reading word swaps are taken;
// every other edit keeps the transcript's text. Pure apart from the tokenizer; any thread.
class JapaneseEditFilter
{
public:
    // Half-open ranges of character indices: `a` into the raw text, `b` into the rewrite.
    struct Hunk {
        qsizetype aLower;
        qsizetype aUpper;
        qsizetype bLower;
        qsizetype bUpper;
        friend bool operator==(const Hunk &, const Hunk &) = default;
    };

    explicit JapaneseEditFilter(const JapaneseTokenizer &tokenizer);

    QString merge(QStringView raw, QStringView polished) const;

    // Character indices where words begin or end, ascending, always with 0 and the length.
    std::vector<qsizetype> tokenBoundaries(QStringView text) const;
    // Hunks of a longest-common-subsequence comparison of two character lists (equal values are
    // equal characters), in text order; on a tie the insertion comes first.
    static std::vector<Hunk> diff(const std::vector<int> &x, const std::vector<int> &y);
    // Widens each hunk to boundaries of both texts (n and m characters long) and joins hunks that
    // then touch.
    static void expand(std::vector<Hunk> &hunks, qsizetype n, qsizetype m, const std::vector<qsizetype> &rawBounds,
        const std::vector<qsizetype> &polishedBounds);
    // The letters and numbers of a text, and the long-vowel mark ー.
    static QString content(QStringView text);
    // How a text is read, in lower-case Latin letters and digits.
    QString reading(QStringView text) const;
    bool isAllowed(QStringView removed, QStringView inserted, bool hasCue) const;
    std::optional<QString> partialSubstitution(QStringView removed, QStringView inserted) const;

private:
    const JapaneseTokenizer &tokenizer;
};
