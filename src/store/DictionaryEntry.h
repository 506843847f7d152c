#pragma once

#include <QJsonObject>
#include <QString>
#include <QUuid>

#include <optional>

class JsonWriter;

// One word of the user's dictionary: what the recogniser writes (`spoken`) and what is written
// instead (`replacement`, possibly empty).
struct DictionaryEntry {
    QUuid id = QUuid::createUuid();
    QString spoken;
    QString replacement;

    // Nothing when `spoken` is missing or not text; a bad or missing id becomes a fresh one.
    static std::optional<DictionaryEntry> decoded(const QJsonObject &object);
    void encode(JsonWriter &writer) const;

    friend bool operator==(const DictionaryEntry &, const DictionaryEntry &) = default;
};
