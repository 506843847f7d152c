#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The user's small persistent values: byte strings and booleans under text keys. Called on the main
// thread. Reads never fail (a missing or unreadable value is nothing); a write that cannot reach the
// disk returns false and keeps the new value in memory, so the next write tries again.
class DefaultsStore
{
public:
    virtual ~DefaultsStore() = default;

    virtual std::optional<QByteArray> bytes(const QString &key) const = 0;
    virtual bool setBytes(const QString &key, const QByteArray &value) = 0;

    virtual std::optional<bool> boolean(const QString &key) const = 0;
    virtual bool setBoolean(const QString &key, bool value) = 0;
};

namespace DefaultsKeys {
inline const QString settings = QStringLiteral("settings");
inline const QString onboardingCompleted = QStringLiteral("onboardingCompleted");
// Which language model rewrites dictations (see LanguageModelChoice).
inline const QString languageModel = QStringLiteral("languageModel");
// Which model recognises each language (see SpeechModelChoice).
inline const QString speechModel = QStringLiteral("speechModel");
} // namespace DefaultsKeys
