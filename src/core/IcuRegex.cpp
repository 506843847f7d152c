#include "core/IcuRegex.h"

#include <unicode/regex.h>

namespace {

icu::UnicodeString aliasOf(QStringView text)
{
    return icu::UnicodeString(false, reinterpret_cast<const UChar *>(text.utf16()), static_cast<int32_t>(text.size()));
}

} // namespace

IcuRegex::IcuRegex(QStringView pattern, Option option)
{
    UErrorCode status = U_ZERO_ERROR;
    UParseError error {};
    const uint32_t flags = option == caseInsensitive ? UREGEX_CASE_INSENSITIVE : 0;
    this->pattern.reset(icu::RegexPattern::compile(aliasOf(pattern), flags, error, status));
    // The patterns are the program's own constants; one that does not compile is a programming error.
    Q_ASSERT_X(U_SUCCESS(status), "IcuRegex", "pattern does not compile");
    if (U_FAILURE(status))
        this->pattern.reset();
}

IcuRegex::~IcuRegex() = default;

QString IcuRegex::replaceAll(QStringView text, QStringView replacement) const
{
    if (!pattern || text.isEmpty())
        return text.toString();
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString input = aliasOf(text);
    std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(input, status));
    if (U_FAILURE(status))
        return text.toString();
    const icu::UnicodeString result = matcher->replaceAll(aliasOf(replacement), status);
    if (U_FAILURE(status))
        return text.toString();
    return QString(reinterpret_cast<const QChar *>(result.getBuffer()), result.length());
}

bool IcuRegex::isFoundIn(QStringView text) const
{
    if (!pattern)
        return false;
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString input = aliasOf(text);
    std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(input, status));
    return U_SUCCESS(status) && matcher->find(status) && U_SUCCESS(status);
}
