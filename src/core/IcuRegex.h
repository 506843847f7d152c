#pragma once

#include <QString>
#include <QStringView>

#include <unicode/uversion.h>

#include <memory>

U_NAMESPACE_BEGIN
class RegexPattern;
U_NAMESPACE_END

// A compiled ICU regular expression (ICU syntax; no case folding and no multi-line mode unless
// asked). Compile once, use from any thread: each call makes its own matcher.
class IcuRegex
{
public:
    enum Option { none = 0, caseInsensitive = 1 };

    explicit IcuRegex(QStringView pattern, Option option = none);
    ~IcuRegex();
    IcuRegex(const IcuRegex &) = delete;
    IcuRegex &operator=(const IcuRegex &) = delete;

    // Every match replaced; "$1" in `replacement` inserts capture group 1.
    QString replaceAll(QStringView text, QStringView replacement) const;
    bool isFoundIn(QStringView text) const;

private:
    std::unique_ptr<icu::RegexPattern> pattern;
};
