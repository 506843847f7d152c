#include "platform/linux/FileDefaultsStore.h"

#include "core/XdgPaths.h"
#include "store/JsonFields.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

FileDefaultsStore::FileDefaultsStore(QString fileName)
    : fileName(std::move(fileName))
{
    QFile file(this->fileName);
    if (!file.exists())
        return;
    if (!file.open(QIODevice::ReadOnly)) {
        keepsUnreadableFile = true;
        return;
    }
    const std::optional<QJsonObject> document = JsonFields::documentObject(file.readAll());
    if (!document) {
        keepsUnreadableFile = true;
        return;
    }
    values = *document;
}

QString FileDefaultsStore::defaultFileName()
{
    return XdgPaths::configHome() + QStringLiteral("/sorawen/defaults.json");
}

std::optional<QByteArray> FileDefaultsStore::bytes(const QString &key) const
{
    const QJsonValue value = values.value(key);
    if (!value.isString())
        return std::nullopt;
    return value.toString().toUtf8();
}

bool FileDefaultsStore::setBytes(const QString &key, const QByteArray &value)
{
    values.insert(key, QString::fromUtf8(value));
    return write();
}

std::optional<bool> FileDefaultsStore::boolean(const QString &key) const
{
    const QJsonValue value = values.value(key);
    if (!value.isBool())
        return std::nullopt;
    return value.toBool();
}

bool FileDefaultsStore::setBoolean(const QString &key, bool value)
{
    values.insert(key, value);
    return write();
}

bool FileDefaultsStore::write()
{
    const QFileInfo info(fileName);
    if (!XdgPaths::makePrivateFolder(info.absolutePath()))
        return false;
    if (keepsUnreadableFile) {
        const QString aside = fileName + QStringLiteral(".unreadable");
        QFile::remove(aside);
        if (!QFile::rename(fileName, aside) && QFile::exists(fileName))
            return false;
        keepsUnreadableFile = false;
    }
    return XdgPaths::writePrivateFile(fileName, QJsonDocument(values).toJson(QJsonDocument::Indented));
}
