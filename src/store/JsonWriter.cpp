#include "store/JsonWriter.h"

#include <QLocale>

#include <cmath>

JsonWriter &JsonWriter::beginObject()
{
    beforeValue();
    out += '{';
    hasElement.push_back(false);
    return *this;
}

JsonWriter &JsonWriter::endObject()
{
    out += '}';
    hasElement.pop_back();
    return *this;
}

JsonWriter &JsonWriter::beginArray()
{
    beforeValue();
    out += '[';
    hasElement.push_back(false);
    return *this;
}

JsonWriter &JsonWriter::endArray()
{
    out += ']';
    hasElement.pop_back();
    return *this;
}

JsonWriter &JsonWriter::key(QStringView name)
{
    beforeValue();
    writeString(name);
    out += ':';
    afterKey = true;
    return *this;
}

JsonWriter &JsonWriter::value(QStringView text)
{
    beforeValue();
    writeString(text);
    return *this;
}

JsonWriter &JsonWriter::value(bool flag)
{
    beforeValue();
    out += flag ? "true" : "false";
    return *this;
}

JsonWriter &JsonWriter::value(qint64 number)
{
    beforeValue();
    out += QByteArray::number(number);
    return *this;
}

JsonWriter &JsonWriter::value(double number)
{
    beforeValue();
    if (!std::isfinite(number)) {
        isValid = false;
        out += "null";
        return *this;
    }
    out += QByteArray::number(number, 'g', QLocale::FloatingPointShortest);
    return *this;
}

std::optional<QByteArray> JsonWriter::take()
{
    if (!isValid || !hasElement.empty())
        return std::nullopt;
    return std::move(out);
}

void JsonWriter::beforeValue()
{
    if (afterKey) {
        afterKey = false;
        return;
    }
    if (!hasElement.empty()) {
        if (hasElement.back())
            out += ',';
        hasElement.back() = true;
    }
}

void JsonWriter::writeString(QStringView text)
{
    static const char hex[] = "0123456789abcdef";
    out += '"';
    const QByteArray utf8 = text.toUtf8();
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        switch (byte) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        case '\b': out += "\\b"; break;
        case '\f': out += "\\f"; break;
        default:
            if (byte < 0x20) {
                out += "\\u00";
                out += hex[byte >> 4];
                out += hex[byte & 0xF];
            } else {
                out += c;
            }
        }
    }
    out += '"';
}
