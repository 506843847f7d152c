#include "store/SpeechModelChoice.h"

#include "platform/DefaultsStore.h"
#include "store/JsonFields.h"
#include "store/JsonWriter.h"
#include "store/LanguageModelChoice.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace {

// One language's entry; the catalogue when it is not exactly one usable file or endpoint.
SpeechModelChoice::Source sourceOf(const QJsonValue &entry)
{
    const QJsonObject object = entry.toObject();
    const std::optional<QString> file = JsonFields::string(object, QLatin1StringView("file"));
    const std::optional<QString> endpoint = JsonFields::string(object, QLatin1StringView("endpoint"));
    if (file && !endpoint && !file->isEmpty() && QDir::isAbsolutePath(*file))
        return SpeechModelChoice::File{*file};
    if (endpoint && !file) {
        if (const std::expected<QUrl, QString> url = LanguageModelChoice::endpointUrl(*endpoint); url)
            return SpeechModelChoice::Endpoint{
                *url, JsonFields::string(object, QLatin1StringView("model")).value_or(QString())};
    }
    return SpeechModelChoice::Catalogue{};
}

void write(JsonWriter &writer, QStringView language, const SpeechModelChoice::Source &source)
{
    if (const auto *file = std::get_if<SpeechModelChoice::File>(&source)) {
        writer.key(language).beginObject().member(u"file", QStringView(file->path)).endObject();
    } else if (const auto *endpoint = std::get_if<SpeechModelChoice::Endpoint>(&source)) {
        const QString address = endpoint->url.toString();
        writer.key(language).beginObject().member(u"endpoint", QStringView(address));
        if (!endpoint->model.isEmpty())
            writer.member(u"model", QStringView(endpoint->model));
        writer.endObject();
    }
}

} // namespace

const SpeechModelChoice::Source &SpeechModelChoice::of(RecognitionLanguage language) const
{
    return language == RecognitionLanguage::japanese ? japanese : english;
}

SpeechModelChoice::Source &SpeechModelChoice::of(RecognitionLanguage language)
{
    return language == RecognitionLanguage::japanese ? japanese : english;
}

SpeechModelChoice SpeechModelChoice::load(const DefaultsStore &store)
{
    const QJsonObject object
        = JsonFields::documentObject(store.bytes(DefaultsKeys::speechModel)).value_or(QJsonObject());
    SpeechModelChoice choice;
    for (const RecognitionLanguage language : RecognitionLanguage::allCases())
        choice.of(language) = sourceOf(object.value(language.rawValue()));
    return choice;
}

bool SpeechModelChoice::save(DefaultsStore &store) const
{
    JsonWriter writer;
    writer.beginObject();
    write(writer, u"en_US", english);
    write(writer, u"ja_JP", japanese);
    writer.endObject();
    return store.setBytes(DefaultsKeys::speechModel, writer.take().value_or(QByteArray()));
}

std::expected<QString, QString> SpeechModelChoice::modelFile(const QString &path)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.isAbsolute())
        return std::unexpected(
            QCoreApplication::translate("SpeechModelChoice", "音声認識モデルのファイルは絶対パスで指定してください: %1")
                .arg(path));
    if (!info.isFile())
        return std::unexpected(
            QCoreApplication::translate("SpeechModelChoice", "音声認識モデルのファイルがありません: %1").arg(path));
    if (!info.isReadable())
        return std::unexpected(
            QCoreApplication::translate("SpeechModelChoice", "音声認識モデルのファイルを読めません: %1").arg(path));
    return path;
}
