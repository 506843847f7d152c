#include "store/RecognitionLanguage.h"

#include "store/PreferredLanguages.h"

#include <QCoreApplication>

const std::array<RecognitionLanguage, 2> &RecognitionLanguage::allCases()
{
    static const std::array<RecognitionLanguage, 2> cases {japanese, english};
    return cases;
}

std::optional<RecognitionLanguage> RecognitionLanguage::fromRawValue(QStringView rawValue)
{
    if (rawValue == u"ja_JP")
        return japanese;
    if (rawValue == u"en_US")
        return english;
    return std::nullopt;
}

RecognitionLanguage RecognitionLanguage::defaultFor(const std::optional<QString> &firstPreferredLanguage)
{
    if (firstPreferredLanguage && firstPreferredLanguage->toLower().startsWith(u"ja"))
        return japanese;
    return english;
}

RecognitionLanguage RecognitionLanguage::systemDefault()
{
    return defaultFor(PreferredLanguages::first());
}

QString RecognitionLanguage::rawValue() const
{
    return value == japanese ? QStringLiteral("ja_JP") : QStringLiteral("en_US");
}

QString RecognitionLanguage::label() const
{
    return value == japanese ? QCoreApplication::translate("RecognitionLanguage", "日本語")
                             : QCoreApplication::translate("RecognitionLanguage", "英語");
}
