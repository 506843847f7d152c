#pragma once

#include "platform/Log.h"

#include <mutex>

// The log in the systemd journal: each line carries PRIORITY, SYSLOG_IDENTIFIER=sorawen, SUBSYSTEM and
// CATEGORY. A line also goes to standard error as "sorawen [<category>] <message>" unless standard
// error is itself the journal's stream (a terminal or a test reads it there), and only there
// without journald (no socket at construction, or a send that fails). Any thread.
class JournalLog final : public Log
{
public:
    explicit JournalLog(const QString &journalSocket = QStringLiteral("/run/systemd/journal/socket"));

    void write(const QString &category, Level level, const QString &message) override;

private:
    void writeToStandardError(const QString &category, const QString &message);

    const bool hasJournal;
    const bool echoesToStandardError;
    // Keeps the lines of different threads whole on standard error.
    std::mutex standardError;
};
