#include "store/HistoryStore.h"

#include "core/XdgPaths.h"

#include <QFile>
#include <QFileInfo>

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
    XdgPaths::writePrivateFile(fileName, *bytes);
}

std::optional<QByteArray> read(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

} // namespace HistoryStore
