#include "store/JsonFields.h"

#include <QJsonDocument>
#include <QJsonValue>

#include <cmath>

namespace JsonFields {

std::optional<QJsonObject> documentObject(const std::optional<QByteArray> &bytes)
{
    if (!bytes)
        return std::nullopt;
    QJsonParseError error {};
    const QJsonDocument document = QJsonDocument::fromJson(*bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    return document.object();
}

std::optional<QString> string(const QJsonObject &object, QLatin1StringView key)
{
    const QJsonValue value = object.value(key);
    if (!value.isString())
        return std::nullopt;
    return value.toString();
}

std::optional<bool> boolean(const QJsonObject &object, QLatin1StringView key)
{
    const QJsonValue value = object.value(key);
    if (!value.isBool())
        return std::nullopt;
    return value.toBool();
}

std::optional<qint64> integer(const QJsonObject &object, QLatin1StringView key)
{
    const QJsonValue value = object.value(key);
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    // 2^63 itself is out of range; every double below it in magnitude and whole converts exactly.
    constexpr double limit = 9223372036854775808.0;
    if (std::trunc(number) != number || number >= limit || number < -limit)
        return std::nullopt;
    return value.toInteger();
}

std::optional<double> number(const QJsonObject &object, QLatin1StringView key)
{
    const QJsonValue value = object.value(key);
    if (!value.isDouble())
        return std::nullopt;
    return value.toDouble();
}

std::optional<QUuid> uuid(const QJsonObject &object, QLatin1StringView key)
{
    const std::optional<QString> text = string(object, key);
    if (!text || text->size() != 36 || text->startsWith(QLatin1Char('{')))
        return std::nullopt;
    const QUuid parsed = QUuid::fromString(*text);
    // fromString answers the nil UUID for bad text, so the nil text itself is checked by value.
    if (parsed.isNull() && *text != QLatin1StringView("00000000-0000-0000-0000-000000000000"))
        return std::nullopt;
    return parsed;
}

QString uuidText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace JsonFields
