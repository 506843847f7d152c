#pragma once

#include "core/SerialExecutor.h"
#include "store/HistoryStore.h"
#include "store/RippletHistory.h"

#include <QFuture>
#include <QString>

#include <optional>

// Every read, write and deletion of the history file, one at a time in the order asked, on one
// worker thread. Callable from any thread; results arrive as futures. Failures never surface: a
// failed read is an empty history, a failed write leaves the in-memory list to be saved next time.
class HistoryPersistence
{
public:
    explicit HistoryPersistence(QString fileName = HistoryStore::url());

    QString fileName() const { return file; }

    QFuture<RippletHistory> load();
    // Writes `snapshot`, or deletes the file when there is none (history turned off) or when the
    // snapshot cannot be encoded, so a stale file never outlives the list it came from.
    QFuture<void> persist(std::optional<RippletHistory> snapshot);

private:
    QString file;
    SerialExecutor executor;
};
