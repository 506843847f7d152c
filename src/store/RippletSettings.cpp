#include "store/RippletSettings.h"

#include "store/JsonFields.h"
#include "store/JsonWriter.h"

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

// A list decodes as a whole: one bad element and the list keeps its default (empty).
template<typename Element>
std::optional<QList<Element>> decodedList(const QJsonObject &object, QLatin1StringView key)
{
    const QJsonValue value = object.value(key);
    if (!value.isArray())
        return std::nullopt;
    QList<Element> elements;
    for (const QJsonValue element : value.toArray()) {
        if (!element.isObject())
            return std::nullopt;
        std::optional<Element> decoded = Element::decoded(element.toObject());
        if (!decoded)
            return std::nullopt;
        elements.append(std::move(*decoded));
    }
    return elements;
}

template<typename Enum>
std::optional<Enum> decodedRawValue(const QJsonObject &object, QLatin1StringView key)
{
    const std::optional<QString> text = JsonFields::string(object, key);
    return text ? Enum::fromRawValue(*text) : std::nullopt;
}

template<typename Element>
void encodeList(JsonWriter &writer, const QList<Element> &elements)
{
    writer.beginArray();
    for (const Element &element : elements)
        element.encode(writer);
    writer.endArray();
}

} // namespace

RippletSettings RippletSettings::load(const std::optional<QByteArray> &bytes)
{
    const std::optional<QJsonObject> document = JsonFields::documentObject(bytes);
    if (!document)
        return {};
    const QJsonObject &object = *document;

    RippletSettings settings;
    auto read = [](auto &field, auto decoded) {
        if (decoded)
            field = std::move(*decoded);
    };
    read(settings.hotkey, decodedRawValue<HotkeyChoice>(object, "hotkey"_L1));
    read(settings.dictionary, decodedList<DictionaryEntry>(object, "dictionary"_L1));
    read(settings.customInstructions, JsonFields::string(object, "customInstructions"_L1));
    read(settings.applicationStyles, decodedList<ApplicationStyle>(object, "applicationStyles"_L1));
    read(settings.deepContextEnabled, JsonFields::boolean(object, "deepContextEnabled"_L1));
    read(settings.language, decodedRawValue<RecognitionLanguage>(object, "language"_L1));
    read(settings.polishingEnabled, JsonFields::boolean(object, "polishingEnabled"_L1));
    read(settings.skipPolishingBelowCharacters, JsonFields::integer(object, "skipPolishingBelowCharacters"_L1));
    read(settings.polishingTimeoutSeconds, JsonFields::number(object, "polishingTimeoutSeconds"_L1));
    read(settings.pasteboardRestoreDelaySeconds, JsonFields::number(object, "pasteboardRestoreDelaySeconds"_L1));
    read(settings.historyEnabled, JsonFields::boolean(object, "historyEnabled"_L1));
    read(settings.historyLimit, JsonFields::integer(object, "historyLimit"_L1));
    read(settings.launchAtLogin, JsonFields::boolean(object, "launchAtLogin"_L1));
    read(settings.playSounds, JsonFields::boolean(object, "playSounds"_L1));
    read(settings.spokenPunctuationEnabled, JsonFields::boolean(object, "spokenPunctuationEnabled"_L1));
    return settings.sanitized();
}

std::optional<QByteArray> RippletSettings::encoded() const
{
    JsonWriter writer;
    writer.beginObject();
    writer.member(u"hotkey", hotkey.rawValue());
    writer.key(u"dictionary");
    encodeList(writer, dictionary);
    writer.member(u"customInstructions", customInstructions);
    writer.key(u"applicationStyles");
    encodeList(writer, applicationStyles);
    writer.member(u"deepContextEnabled", deepContextEnabled);
    writer.member(u"language", language.rawValue());
    writer.member(u"polishingEnabled", polishingEnabled);
    writer.member(u"skipPolishingBelowCharacters", skipPolishingBelowCharacters);
    writer.member(u"polishingTimeoutSeconds", polishingTimeoutSeconds);
    writer.member(u"pasteboardRestoreDelaySeconds", pasteboardRestoreDelaySeconds);
    writer.member(u"historyEnabled", historyEnabled);
    writer.member(u"historyLimit", historyLimit);
    writer.member(u"launchAtLogin", launchAtLogin);
    writer.member(u"playSounds", playSounds);
    writer.member(u"spokenPunctuationEnabled", spokenPunctuationEnabled);
    writer.endObject();
    return writer.take();
}

RippletSettings RippletSettings::sanitized() const
{
    RippletSettings copy = *this;
    copy.skipPolishingBelowCharacters = std::min<qint64>(std::max<qint64>(skipPolishingBelowCharacters, 0), 10000);
    copy.polishingTimeoutSeconds = std::max(std::min(polishingTimeoutSeconds, 60.0), 0.25);
    copy.pasteboardRestoreDelaySeconds = std::max(std::min(pasteboardRestoreDelaySeconds, 10.0), 0.5);
    copy.historyLimit = std::min<qint64>(std::max<qint64>(historyLimit, 1), 10000);
    return copy;
}

std::optional<ApplicationStyle> RippletSettings::style(const std::optional<QString> &bundleIdentifier) const
{
    if (!bundleIdentifier)
        return std::nullopt;
    const auto found = std::find_if(applicationStyles.begin(), applicationStyles.end(),
        [&](const ApplicationStyle &style) { return style.bundleIdentifier == *bundleIdentifier; });
    if (found == applicationStyles.end())
        return std::nullopt;
    return *found;
}
