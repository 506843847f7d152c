#include "store/LanguageModelChoice.h"

#include "platform/DefaultsStore.h"
#include "store/JsonFields.h"
#include "store/JsonWriter.h"

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>

namespace {

// localhost, ::1 or an address in 127.0.0.0/8.
bool isLoopback(const QString &host)
{
    if (host.compare(u"localhost", Qt::CaseInsensitive) == 0 || host == u"::1")
        return true;
    const QStringList parts = host.split(u'.');
    if (parts.size() != 4 || parts.first() != u"127")
        return false;
    return std::ranges::all_of(parts, [](const QString &part) {
        bool isNumber = false;
        const uint value = part.toUInt(&isNumber);
        return isNumber && value <= 255;
    });
}

} // namespace

LanguageModelChoice LanguageModelChoice::load(const DefaultsStore &store)
{
    const std::optional<QJsonObject> object = JsonFields::documentObject(store.bytes(DefaultsKeys::languageModel));
    if (!object)
        return {};
    const std::optional<QString> endpoint = JsonFields::string(*object, QLatin1StringView("endpoint"));
    if (!endpoint)
        return {};
    const std::expected<QUrl, QString> url = endpointUrl(*endpoint);
    if (!url)
        return {};
    return {*url, JsonFields::string(*object, QLatin1StringView("model")).value_or(QString())};
}

bool LanguageModelChoice::save(DefaultsStore &store) const
{
    const QString address = endpoint.toString();
    JsonWriter writer;
    writer.beginObject().member(u"endpoint", QStringView(address)).member(u"model", QStringView(model)).endObject();
    return store.setBytes(DefaultsKeys::languageModel, writer.take().value_or(QByteArray()));
}

std::expected<QUrl, QString> LanguageModelChoice::endpointUrl(const QString &text)
{
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != u"http" && url.scheme() != u"https") || url.host().isEmpty())
        return std::unexpected(QCoreApplication::translate(
            "LanguageModelChoice", "http:// または https:// で始まるアドレスを指定してください"));
    if (!isLoopback(url.host()))
        return std::unexpected(QCoreApplication::translate(
            "LanguageModelChoice", "このコンピューター上のサーバー（localhost や 127.0.0.1）だけを使えます"));
    return url;
}
