#pragma once

#include <QString>

// The per-user base folders of the XDG base directory rules: the variable when it holds an absolute
// path, else the documented default under $HOME.
namespace XdgPaths {
QString configHome();
QString dataHome();
} // namespace XdgPaths

namespace XdgPaths {
// Creates `path` and any missing parents with mode 0700; folders that exist are left as they are.
// True when the folder exists afterwards.
bool makePrivateFolder(const QString &path);
// Replaces `path` atomically with `bytes`, readable by the owner only (0600) from the first byte
// on. The folder must exist. False when the file could not be written; the old one then stays.
bool writePrivateFile(const QString &path, const QByteArray &bytes);
} // namespace XdgPaths
