#include "store/ApplicationStyle.h"

#include "store/JsonFields.h"
#include "store/JsonWriter.h"

using namespace Qt::Literals::StringLiterals;

std::optional<ApplicationStyle> ApplicationStyle::decoded(const QJsonObject &object)
{
    const std::optional<QString> bundleIdentifier = JsonFields::string(object, "bundleIdentifier"_L1);
    if (!bundleIdentifier)
        return std::nullopt;
    ApplicationStyle style;
    style.id = JsonFields::uuid(object, "id"_L1).value_or(style.id);
    style.bundleIdentifier = *bundleIdentifier;
    style.applicationName = JsonFields::string(object, "applicationName"_L1).value_or(*bundleIdentifier);
    style.instruction = JsonFields::string(object, "instruction"_L1).value_or(QString());
    style.skipsPolishing = JsonFields::boolean(object, "skipsPolishing"_L1).value_or(false);
    return style;
}

void ApplicationStyle::encode(JsonWriter &writer) const
{
    writer.beginObject()
        .member(u"id", JsonFields::uuidText(id))
        .member(u"bundleIdentifier", bundleIdentifier)
        .member(u"applicationName", applicationName)
        .member(u"instruction", instruction)
        .member(u"skipsPolishing", skipsPolishing)
        .endObject();
}
