#pragma once

#include <QByteArray>
#include <QStringView>

#include <optional>
#include <vector>

// Compact JSON written in the order the caller gives, which QJsonObject (sorted keys) cannot do.
// Usage: writer.beginObject().member(u"a", 1).endObject(); then take(). A non-finite number
// makes the document invalid (JSON has no such numbers): take() then returns nothing.
class JsonWriter
{
public:
    JsonWriter &beginObject();
    JsonWriter &endObject();
    JsonWriter &beginArray();
    JsonWriter &endArray();
    JsonWriter &key(QStringView name);
    JsonWriter &value(QStringView text);
    JsonWriter &value(bool flag);
    JsonWriter &value(qint64 number);
    JsonWriter &value(double number);
    template<typename Value>
    JsonWriter &member(QStringView name, const Value &value)
    {
        return key(name).value(value);
    }

    std::optional<QByteArray> take();

private:
    void beforeValue();
    void writeString(QStringView text);

    QByteArray out;
    // One entry per open container: whether it already holds an element.
    std::vector<bool> hasElement;
    bool afterKey = false;
    bool isValid = true;
};
