#include "store/RippletHistory.h"

#include "store/JsonFields.h"
#include "store/JsonWriter.h"
#include "core/Unicode.h"

#include <QJsonArray>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace {

std::optional<HistoryItem> decodedItem(const QJsonValue &value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject object = value.toObject();
    const auto id = JsonFields::uuid(object, "id"_L1);
    const auto date = JsonFields::number(object, "date"_L1);
    const auto applicationName = JsonFields::string(object, "applicationName"_L1);
    const auto rawText = JsonFields::string(object, "rawText"_L1);
    const auto polishedText = JsonFields::string(object, "polishedText"_L1);
    if (!id || !date || !applicationName || !rawText || !polishedText)
        return std::nullopt;
    return HistoryItem {*id, *date, *applicationName, *rawText, *polishedText};
}

} // namespace

void RippletHistory::add(HistoryItem item, qint64 limit)
{
    items.prepend(std::move(item));
    const qint64 kept = std::max<qint64>(limit, 1);
    if (items.size() > kept)
        items.resize(kept);
}

RippletHistory RippletHistory::load(const std::optional<QByteArray> &bytes)
{
    const std::optional<QJsonObject> document = JsonFields::documentObject(bytes);
    const QJsonValue items = document ? document->value("items"_L1) : QJsonValue();
    if (!items.isArray())
        return {};
    RippletHistory history;
    for (const QJsonValue value : items.toArray()) {
        std::optional<HistoryItem> item = decodedItem(value);
        if (!item)
            return {};
        history.items.append(std::move(*item));
    }
    return history;
}

std::optional<QByteArray> RippletHistory::encoded() const
{
    JsonWriter writer;
    writer.beginObject().key(u"items").beginArray();
    for (const HistoryItem &item : items) {
        writer.beginObject()
            .member(u"id", JsonFields::uuidText(item.id))
            .member(u"date", item.date)
            .member(u"applicationName", item.applicationName)
            .member(u"rawText", item.rawText)
            .member(u"polishedText", item.polishedText)
            .endObject();
    }
    writer.endArray().endObject();
    return writer.take();
}

QList<HistoryItem> RippletHistory::search(QStringView query) const
{
    const QStringView trimmed = query.trimmed();
    if (trimmed.isEmpty())
        return items;
    QList<HistoryItem> found;
    for (const HistoryItem &item : items) {
        if (Unicode::containsIgnoringCase(item.rawText, trimmed)
            || Unicode::containsIgnoringCase(item.polishedText, trimmed)
            || Unicode::containsIgnoringCase(item.applicationName, trimmed))
            found.append(item);
    }
    return found;
}
