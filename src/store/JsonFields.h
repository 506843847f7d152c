#pragma once

#include <QJsonObject>
#include <QString>
#include <QUuid>

#include <optional>

// Strict reads of one key of a JSON object: nothing when the key is missing, null, or of another
// type. Numbers are accepted as integers only when whole and within 64 bits.
namespace JsonFields {

// The top-level object of a stored document; nothing when there are no bytes, they are not JSON,
// or the top level is not an object.
std::optional<QJsonObject> documentObject(const std::optional<QByteArray> &bytes);

std::optional<QString> string(const QJsonObject &object, QLatin1StringView key);
std::optional<bool> boolean(const QJsonObject &object, QLatin1StringView key);
std::optional<qint64> integer(const QJsonObject &object, QLatin1StringView key);
std::optional<double> number(const QJsonObject &object, QLatin1StringView key);
// Only the 36-character hyphenated form, in either case.
std::optional<QUuid> uuid(const QJsonObject &object, QLatin1StringView key);

// The stored form of a UUID: 36 characters, hyphenated, upper-case hexadecimal digits.
QString uuidText(const QUuid &id);

} // namespace JsonFields
