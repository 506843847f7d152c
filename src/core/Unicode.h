#pragma once

#include <QString>
#include <QStringView>

#include <vector>

// Counting, cutting and comparing text the way a reader sees it: by user-perceived characters
// (extended grapheme clusters), with canonically equivalent texts treated as equal. Every function
// is pure, thread-safe, and works on the QString's UTF-16 buffer; unpaired surrogates are kept as
// characters of their own rather than rejected.
namespace Unicode {

// UTF-16 offsets of every character boundary, from 0 to text.size() inclusive.
std::vector<qsizetype> characterBoundaries(QStringView text);

qsizetype characterCount(QStringView text);

// The first / last `count` characters (all of the text when it has fewer).
QString prefix(QStringView text, qsizetype count);
QString suffix(QStringView text, qsizetype count);

// The canonical decomposition (NFD), the form in which equivalent texts are identical.
QString canonicalForm(QStringView text);
bool isCanonicallyEquivalent(QStringView a, QStringView b);

// General category L* or N* of one code point.
bool isLetterOrNumber(char32_t codePoint);
// A user-perceived character is a letter or number when its first code point is one (が with a
// separate voicing mark, é with a combining accent).
bool isLetterOrNumberCharacter(QStringView character);

// Full case mapping (ß → SS, ﬁ → FI), independent of the user's locale.
QString uppercased(QStringView text);
QString lowercased(QStringView text);
// Full case folding, for comparisons that ignore case.
QString caseFolded(QStringView text);

// True when `needle` occurs in `haystack` ignoring case and canonical differences.
bool containsIgnoringCase(QStringView haystack, QStringView needle);

} // namespace Unicode
