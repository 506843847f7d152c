#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The history file ($XDG_DATA_HOME/Ripplet/history.json): written atomically, readable by its owner
// only, in a folder only the owner can enter. Called only on the history's persistence executor.
// Failures are swallowed: the caller's in-memory history is the truth and the next save retries.
namespace HistoryStore {

QString url();

// With bytes: create the folder (0700) if missing, replace the file atomically, make it 0600.
// Without: delete the file if it exists.
void save(const QString &fileName, const std::optional<QByteArray> &bytes);

// The whole file, or nothing when it cannot be read.
std::optional<QByteArray> read(const QString &fileName);

} // namespace HistoryStore
