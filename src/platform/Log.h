#pragma once

#include <QString>

// The system log. Each line carries the program's subsystem and a category ("timing" for the two
// timing lines of a dictation; "paste", "history", "audio", "keys" … for failures that are handled
// and would otherwise leave no trace). Callable from any thread; never blocks for long, never fails.
class Log
{
public:
    enum class Level { info, error };

    virtual ~Log() = default;

    virtual void write(const QString &category, Level level, const QString &message) = 0;

    void info(const QString &category, const QString &message) { write(category, Level::info, message); }
    void error(const QString &category, const QString &message) { write(category, Level::error, message); }

    static inline const QString subsystem = QStringLiteral("com.kestrelwood.ripplet");
};
