#include "store/HistoryStore.h"

#include "platform/XdgPaths.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace HistoryStore {

QString url()
{
    return XdgPaths::dataHome() + QStringLiteral("/Ripplet/history.json");
}

void save(const QString &fileName, const std::optional<QByteArray> &bytes)
{
    if (!XdgPaths::makePrivateFolder(QFileInfo(fileName).absolutePath()))
        return;
    if (!bytes) {
        QFile::remove(fileName);
        return;
    }
    QSaveFile file(fileName);
    constexpr auto ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    if (!file.open(QIODevice::WriteOnly))
        return;
    // Owner-only before the first byte is written, so the text is never readable by others.
    file.setPermissions(ownerOnly);
    file.write(*bytes);
    if (file.commit())
        QFile::setPermissions(fileName, ownerOnly);
}

std::optional<QByteArray> read(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

} // namespace HistoryStore
