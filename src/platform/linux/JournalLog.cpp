#include "platform/linux/JournalLog.h"

#include <QFileInfo>

#include <systemd/sd-journal.h>

#include <cstdio>
#include <sys/stat.h>

namespace {

// A line break inside a message would start a new, unattributed line on standard error.
QString oneLine(QString text)
{
    for (QChar &c : text) {
        if (c == QLatin1Char('\n') || c == QLatin1Char('\r') || c == QChar::LineSeparator
            || c == QChar::ParagraphSeparator)
            c = QLatin1Char(' ');
    }
    return text;
}

// Whether standard error already goes to the journal: the service manager then names its stream
// in JOURNAL_STREAM as "device:inode".
bool standardErrorIsJournal()
{
    struct stat status {};
    if (::fstat(2, &status) != 0)
        return false;
    return qEnvironmentVariable("JOURNAL_STREAM")
        == QStringLiteral("%1:%2").arg(qulonglong(status.st_dev)).arg(qulonglong(status.st_ino));
}

} // namespace

JournalLog::JournalLog(const QString &journalSocket)
    : hasJournal(QFileInfo(journalSocket).exists())
    , echoesToStandardError(!standardErrorIsJournal())
{ }

void JournalLog::write(const QString &category, Level level, const QString &message)
{
    if (hasJournal) {
        const int priority = level == Level::error ? 3 : 6;
        const QByteArray text = message.toUtf8();
        const QByteArray subsystemField = subsystem.toUtf8();
        const QByteArray categoryField = category.toUtf8();
        // The journal keeps the fields thread-safely on its own; a failed send falls through.
        const bool sent = sd_journal_send("MESSAGE=%s", text.constData(), "PRIORITY=%i", priority,
                              "SYSLOG_IDENTIFIER=sorawen", "SUBSYSTEM=%s", subsystemField.constData(), "CATEGORY=%s",
                              categoryField.constData(), nullptr)
            >= 0;
        if (sent && !echoesToStandardError)
            return;
    }
    writeToStandardError(category, message);
}

void JournalLog::writeToStandardError(const QString &category, const QString &message)
{
    const QByteArray line = QStringLiteral("sorawen [%1] %2\n").arg(oneLine(category), oneLine(message)).toUtf8();
    std::scoped_lock guard(standardError);
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
    std::fflush(stderr);
}
