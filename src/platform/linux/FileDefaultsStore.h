#pragma once

#include "platform/DefaultsStore.h"

#include <QJsonObject>

// The defaults as one JSON object in a file ($XDG_CONFIG_HOME/sorawen/defaults.json), read once at
// construction and replaced atomically on every write. Byte values are kept as JSON strings (they
// hold UTF-8 JSON documents). A file that cannot be parsed is moved aside to "<name>.unreadable" on
// the first write instead of being overwritten, so a hand-edited file is never silently lost.
class FileDefaultsStore final : public DefaultsStore
{
public:
    explicit FileDefaultsStore(QString fileName = defaultFileName());

    static QString defaultFileName();

    std::optional<QByteArray> bytes(const QString &key) const override;
    bool setBytes(const QString &key, const QByteArray &value) override;
    std::optional<bool> boolean(const QString &key) const override;
    bool setBoolean(const QString &key, bool value) override;

private:
    bool write();

    QString fileName;
    QJsonObject values;
    bool keepsUnreadableFile = false;
};
