#include "store/PreferredLanguages.h"

#include <QStringList>

namespace {

bool namesALanguage(const QString &entry)
{
    const QString locale = entry.section(QLatin1Char('.'), 0, 0).section(QLatin1Char('@'), 0, 0);
    return !locale.isEmpty() && locale != u"C" && locale != u"POSIX";
}

} // namespace

namespace PreferredLanguages {

std::optional<QString> first(const Lookup &environment)
{
    for (const QString &entry : environment("LANGUAGE").split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
        if (namesALanguage(entry))
            return entry;
    }
    for (const char *variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const QString value = environment(variable);
        if (namesALanguage(value))
            return value;
    }
    return std::nullopt;
}

std::optional<QString> first()
{
    return first([](const char *variable) { return qEnvironmentVariable(variable); });
}

} // namespace PreferredLanguages
