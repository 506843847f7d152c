#include "store/DictionaryEntry.h"

#include "store/JsonFields.h"
#include "store/JsonWriter.h"

using namespace Qt::Literals::StringLiterals;

std::optional<DictionaryEntry> DictionaryEntry::decoded(const QJsonObject &object)
{
    const std::optional<QString> spoken = JsonFields::string(object, "spoken"_L1);
    if (!spoken)
        return std::nullopt;
    DictionaryEntry entry;
    entry.id = JsonFields::uuid(object, "id"_L1).value_or(entry.id);
    entry.spoken = *spoken;
    entry.replacement = JsonFields::string(object, "replacement"_L1).value_or(QString());
    return entry;
}

void DictionaryEntry::encode(JsonWriter &writer) const
{
    writer.beginObject()
        .member(u"id", JsonFields::uuidText(id))
        .member(u"spoken", spoken)
        .member(u"replacement", replacement)
        .endObject();
}
