#include "core/XdgPaths.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace {

QString baseFolder(const char *variable, const QString &fallbackUnderHome)
{
    const QString value = qEnvironmentVariable(variable);
    // Relative paths are invalid by the XDG rules and must be ignored.
    if (!value.isEmpty() && QDir::isAbsolutePath(value))
        return QDir::cleanPath(value);
    return QDir::homePath() + QLatin1Char('/') + fallbackUnderHome;
}

} // namespace

namespace XdgPaths {

QString configHome()
{
    return baseFolder("XDG_CONFIG_HOME", QStringLiteral(".config"));
}

QString dataHome()
{
    return baseFolder("XDG_DATA_HOME", QStringLiteral(".local/share"));
}

} // namespace XdgPaths

namespace XdgPaths {

bool makePrivateFolder(const QString &path)
{
    const QString clean = QDir::cleanPath(QDir(path).absolutePath());
    if (QFileInfo(clean).isDir())
        return true;
    const QString parent = QFileInfo(clean).path();
    if (parent != clean && !makePrivateFolder(parent))
        return false;
    return QDir().mkdir(clean, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner)
        || QFileInfo(clean).isDir();
}

bool writePrivateFile(const QString &path, const QByteArray &bytes)
{
    constexpr auto ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    // Owner-only before the first byte is written, so the content is never readable by others.
    file.setPermissions(ownerOnly);
    file.write(bytes);
    // The rename keeps the temporary file's mode; set it again for a file replaced in place.
    return file.commit() && QFile::setPermissions(path, ownerOnly);
}

} // namespace XdgPaths
