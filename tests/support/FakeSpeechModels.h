#pragma once

#include "platform/SpeechRecognizer.h"

#include <QStringList>

#include <mutex>

// Recognition models that are always installed, or fail to install with `failure`; remembers which
// locales were asked for.
class FakeSpeechModels final : public SpeechModels
{
public:
    std::optional<QString> failure;

    std::expected<void, QString> ensureInstalled(const QString &localeIdentifier) override
    {
        std::scoped_lock guard(mutex);
        asked.append(localeIdentifier);
        if (failure)
            return std::unexpected(*failure);
        return {};
    }
    QStringList takeAsked()
    {
        std::scoped_lock guard(mutex);
        return std::exchange(asked, {});
    }

private:
    std::mutex mutex;
    QStringList asked;
};
