#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>

// The whole content of a file; empty when it cannot be read.
inline QByteArray contentsOf(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Writes `contents` over the file, making its folder first; false when that fails.
inline bool writeFile(const QString &fileName, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(fileName).path());
    QFile file(fileName);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(contents) == contents.size();
}
