#include "platform/linux/XdgAutostartLoginItem.h"

#include "core/XdgPaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace {

// One argument of an Exec line: quoted when it holds anything beyond plain path characters, with the
// characters that are special inside quotes escaped; then every backslash doubled once more, because
// the value is also read as a desktop-entry string. A percent sign would start a field code.
QString execArgument(const QString &argument)
{
    const bool isPlain = std::all_of(argument.begin(), argument.end(),
        [](QChar c) { return c.isLetterOrNumber() || QStringView(u"/._+-,@=:").contains(c); });
    QString quoted = argument;
    if (!isPlain) {
        quoted.clear();
        for (const QChar c : argument) {
            if (QStringView(u"\"`$\\").contains(c))
                quoted += QLatin1Char('\\');
            quoted += c;
        }
        quoted = QLatin1Char('"') + quoted + QLatin1Char('"');
    }
    return quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('%'), QStringLiteral("%%"));
}

// The value of `key` in the [Desktop Entry] group; nullopt when it is not there.
std::optional<QString> entryValue(const QString &contents, const QString &key)
{
    bool isInEntry = false;
    for (const QString &line : contents.split(QLatin1Char('\n'))) {
        const QString trimmed = line.trimmed();
        if (trimmed.startsWith(QLatin1Char('['))) {
            isInEntry = trimmed == QLatin1String("[Desktop Entry]");
            continue;
        }
        const qsizetype equals = trimmed.indexOf(QLatin1Char('='));
        if (isInEntry && equals > 0 && trimmed.left(equals).trimmed() == key)
            return trimmed.mid(equals + 1).trimmed();
    }
    return std::nullopt;
}

} // namespace

XdgAutostartLoginItem::XdgAutostartLoginItem(QString autostartFolder, QString executable)
    : autostartFolder(
        autostartFolder.isEmpty() ? XdgPaths::configHome() + QStringLiteral("/autostart") : std::move(autostartFolder))
    , executable(executable.isEmpty() ? QCoreApplication::applicationFilePath() : std::move(executable))
{ }

QString XdgAutostartLoginItem::fileName() const
{
    return autostartFolder + QStringLiteral("/sorawen.desktop");
}

bool XdgAutostartLoginItem::isEnabled() const
{
    QFile file(fileName());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QString contents = QString::fromUtf8(file.readAll());
    // Desktops switch an entry off with either key instead of removing it.
    return entryValue(contents, QStringLiteral("Hidden")) != QStringLiteral("true")
        && entryValue(contents, QStringLiteral("X-GNOME-Autostart-enabled")) != QStringLiteral("false");
}

std::expected<void, QString> XdgAutostartLoginItem::setEnabled(bool enabled)
{
    const QString file = fileName();
    if (!enabled) {
        if (!QFileInfo::exists(file) && !QFileInfo(file).isSymLink())
            return {};
        if (!QFile::remove(file))
            return std::unexpected(QCoreApplication::translate(
                "XdgAutostartLoginItem", "ログイン時の自動起動の設定ファイルを削除できません: %1")
                                       .arg(file));
        return {};
    }

    QFile templateFile(QStringLiteral(":/sorawen/sorawen-autostart.desktop"));
    if (!templateFile.open(QIODevice::ReadOnly))
        return std::unexpected(
            QCoreApplication::translate("XdgAutostartLoginItem", "自動起動の設定のひな形が見つかりません。"));
    QStringList lines = QString::fromUtf8(templateFile.readAll()).split(QLatin1Char('\n'));
    for (QString &line : lines) {
        if (line.startsWith(QLatin1String("Exec=")))
            line = QStringLiteral("Exec=") + execArgument(executable);
    }
    if (!XdgPaths::makePrivateFolder(autostartFolder))
        return std::unexpected(
            QCoreApplication::translate("XdgAutostartLoginItem", "自動起動の設定フォルダを作成できません: %1")
                .arg(autostartFolder));
    // Only the user's own session reads the entry, so owner-only is enough, and the shared writer
    // replaces the file atomically.
    if (!XdgPaths::writePrivateFile(file, lines.join(QLatin1Char('\n')).toUtf8()))
        return std::unexpected(QCoreApplication::translate(
            "XdgAutostartLoginItem", "ログイン時の自動起動の設定ファイルを書き込めません: %1")
                                   .arg(file));
    return {};
}
