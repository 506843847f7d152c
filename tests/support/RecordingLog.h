#pragma once

#include "platform/Log.h"

#include <QRegularExpression>
#include <QStringList>

#include <mutex>

// Keeps every line as "category: message"; any thread may write.
class RecordingLog final : public Log
{
public:
    void write(const QString &category, Level, const QString &message) override
    {
        std::scoped_lock guard(lock);
        lines.append(category + QStringLiteral(": ") + message);
    }
    QStringList linesOf(const QString &category) const
    {
        std::scoped_lock guard(lock);
        return lines.filter(QRegularExpression(QStringLiteral("^") + category + QStringLiteral(": ")));
    }

private:
    mutable std::mutex lock;
    QStringList lines;
};
