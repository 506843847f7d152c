#pragma once

#include "platform/DefaultsStore.h"

#include <QHash>

// Defaults kept in memory; tests write odd stored forms straight into `values`.
class MemoryDefaultsStore final : public DefaultsStore
{
public:
    QHash<QString, QByteArray> values;

    std::optional<QByteArray> bytes(const QString &key) const override
    {
        return values.contains(key) ? std::optional(values.value(key)) : std::nullopt;
    }
    bool setBytes(const QString &key, const QByteArray &value) override
    {
        values.insert(key, value);
        return true;
    }
    QHash<QString, bool> booleans;

    std::optional<bool> boolean(const QString &key) const override
    {
        return booleans.contains(key) ? std::optional(booleans.value(key)) : std::nullopt;
    }
    bool setBoolean(const QString &key, bool value) override
    {
        booleans.insert(key, value);
        return true;
    }
};
