#include "core/Unicode.h"

#include <unicode/brkiter.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>
#include <unicode/utext.h>

#include <memory>

namespace {

const UChar *icuChars(QStringView text)
{
    return reinterpret_cast<const UChar *>(text.utf16());
}

QString fromIcu(const icu::UnicodeString &text)
{
    return QString(reinterpret_cast<const QChar *>(text.getBuffer()), text.length());
}

// A read-only alias: ICU reads the QString's buffer without copying it.
icu::UnicodeString aliasOf(QStringView text)
{
    return icu::UnicodeString(false, icuChars(text), static_cast<int32_t>(text.size()));
}

// Creating a break iterator loads rule data; each thread keeps one.
icu::BreakIterator *characterIterator()
{
    thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> created(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        return U_SUCCESS(status) ? std::move(created) : nullptr;
    }();
    return iterator.get();
}

} // namespace

namespace Unicode {

std::vector<qsizetype> characterBoundaries(QStringView text)
{
    std::vector<qsizetype> boundaries {0};
    if (text.isEmpty())
        return boundaries;
    icu::BreakIterator *iterator = characterIterator();
    UErrorCode status = U_ZERO_ERROR;
    UText utext = UTEXT_INITIALIZER;
    utext_openUChars(&utext, icuChars(text), text.size(), &status);
    if (iterator == nullptr || U_FAILURE(status)) {
        // Without ICU data every UTF-16 unit stands alone; never split worse than that.
        for (qsizetype i = 1; i <= text.size(); ++i)
            boundaries.push_back(i);
        return boundaries;
    }
    iterator->setText(&utext, status);
    for (int32_t next = iterator->next(); next != icu::BreakIterator::DONE; next = iterator->next())
        boundaries.push_back(next);
    // The iterator keeps a shallow clone of `utext`; it is only read again after the next setText.
    utext_close(&utext);
    return boundaries;
}

qsizetype characterCount(QStringView text)
{
    return static_cast<qsizetype>(characterBoundaries(text).size()) - 1;
}

QString prefix(QStringView text, qsizetype count)
{
    if (count <= 0)
        return {};
    const auto boundaries = characterBoundaries(text);
    const auto characters = static_cast<qsizetype>(boundaries.size()) - 1;
    if (count >= characters)
        return text.toString();
    return text.first(boundaries[static_cast<size_t>(count)]).toString();
}

QString suffix(QStringView text, qsizetype count)
{
    if (count <= 0)
        return {};
    const auto boundaries = characterBoundaries(text);
    const auto characters = static_cast<qsizetype>(boundaries.size()) - 1;
    if (count >= characters)
        return text.toString();
    return text.sliced(boundaries[static_cast<size_t>(characters - count)]).toString();
}

QString canonicalForm(QStringView text)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2 *nfd = icu::Normalizer2::getNFDInstance(status);
    if (U_FAILURE(status))
        return text.toString();
    const icu::UnicodeString source = aliasOf(text);
    if (nfd->isNormalized(source, status) && U_SUCCESS(status))
        return text.toString();
    status = U_ZERO_ERROR;
    const icu::UnicodeString normalized = nfd->normalize(source, status);
    return U_SUCCESS(status) ? fromIcu(normalized) : text.toString();
}

bool isCanonicallyEquivalent(QStringView a, QStringView b)
{
    if (a == b)
        return true;
    return canonicalForm(a) == canonicalForm(b);
}

bool isLetterOrNumber(char32_t codePoint)
{
    const auto mask = U_GET_GC_MASK(static_cast<UChar32>(codePoint));
    return (mask & (U_GC_L_MASK | U_GC_N_MASK)) != 0;
}

bool isLetterOrNumberCharacter(QStringView character)
{
    if (character.isEmpty())
        return false;
    char32_t first = character[0].unicode();
    if (character[0].isHighSurrogate() && character.size() > 1 && character[1].isLowSurrogate())
        first = QChar::surrogateToUcs4(character[0], character[1]);
    return isLetterOrNumber(first);
}

QString uppercased(QStringView text)
{
    icu::UnicodeString copy(icuChars(text), static_cast<int32_t>(text.size()));
    return fromIcu(copy.toUpper(icu::Locale::getRoot()));
}

QString lowercased(QStringView text)
{
    icu::UnicodeString copy(icuChars(text), static_cast<int32_t>(text.size()));
    return fromIcu(copy.toLower(icu::Locale::getRoot()));
}

QString caseFolded(QStringView text)
{
    icu::UnicodeString copy(icuChars(text), static_cast<int32_t>(text.size()));
    return fromIcu(copy.foldCase(U_FOLD_CASE_DEFAULT));
}

bool containsIgnoringCase(QStringView haystack, QStringView needle)
{
    return canonicalForm(caseFolded(haystack)).contains(canonicalForm(caseFolded(needle)));
}

} // namespace Unicode
