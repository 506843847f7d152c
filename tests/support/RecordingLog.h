#pragma once

#include "platform/Log.h"

#include <QStringList>

#include <mutex>

// A log that keeps its lines ("<category>: <message>") for the tests to read; any thread.
class RecordingLog final : public Log
{
public:
    void write(const QString &category, Level, const QString &message) override
    {
        std::scoped_lock guard(mutex);
        recorded << category + QStringLiteral(": ") + message;
    }

    QStringList lines() const
    {
        std::scoped_lock guard(mutex);
        return recorded;
    }

private:
    mutable std::mutex mutex;
    QStringList recorded;
};
