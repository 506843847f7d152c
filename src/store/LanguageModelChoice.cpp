#include "store/LanguageModelChoice.h"

#include "core/LoopbackHost.h"
#include "platform/DefaultsStore.h"
#include "store/JsonFields.h"
#include "store/JsonWriter.h"

#include <QCoreApplication>

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
    if (!isLoopbackHost(url.host()))
        return std::unexpected(QCoreApplication::translate(
            "LanguageModelChoice", "このコンピューター上のサーバー（localhost や 127.0.0.1）だけを使えます"));
    return url;
}
