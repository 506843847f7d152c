#include "platform/linux/DesktopIdentity.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

namespace DesktopIdentity {

std::optional<QString> desktopIdFromCgroup(const QString &cgroup)
{
    const QString unit = cgroup.trimmed().section(QLatin1Char('\n'), -1).section(QLatin1Char('/'), -1);
    static const QRegularExpression pattern(
        QStringLiteral(R"(^app-(.+?)(?:-[^-]+\.scope|@[^.]*\.service|\.service)$)"));
    const QRegularExpressionMatch match = pattern.match(unit);
    if (!match.hasMatch())
        return std::nullopt;
    QString id = match.captured(1);
    // Dashes inside the launcher and the id are escaped (\x2d), so a plain dash ends a launcher prefix
    // ("app-gnome-gedit@…" is gedit started by GNOME Shell).
    const qsizetype dash = id.indexOf(QLatin1Char('-'));
    if (dash > 0)
        id = id.sliced(dash + 1);
    id.replace(QStringLiteral("\\x2d"), QStringLiteral("-"));
    if (id.isEmpty())
        return std::nullopt;
    return id;
}

std::optional<QString> identifierOf(qint32 processIdentifier)
{
    if (processIdentifier <= 0)
        return std::nullopt;
    const QString proc = QStringLiteral("/proc/%1/").arg(processIdentifier);
    QFile cgroup(proc + QStringLiteral("cgroup"));
    if (cgroup.open(QIODevice::ReadOnly)) {
        if (std::optional<QString> id = desktopIdFromCgroup(QString::fromUtf8(cgroup.readAll())))
            return id;
    }
    const QString executable = QFileInfo(proc + QStringLiteral("exe")).symLinkTarget();
    if (!executable.isEmpty())
        return QFileInfo(executable).fileName();
    QFile comm(proc + QStringLiteral("comm"));
    if (comm.open(QIODevice::ReadOnly)) {
        const QString name = QString::fromUtf8(comm.readAll()).trimmed();
        if (!name.isEmpty())
            return name;
    }
    return std::nullopt;
}

} // namespace DesktopIdentity
