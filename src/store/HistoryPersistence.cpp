#include "store/HistoryPersistence.h"

HistoryPersistence::HistoryPersistence(QString fileName)
    : file(std::move(fileName))
{ }

QFuture<RippletHistory> HistoryPersistence::load()
{
    return executor.run([file = file] { return RippletHistory::load(HistoryStore::read(file)); });
}

QFuture<void> HistoryPersistence::persist(std::optional<RippletHistory> snapshot)
{
    return executor.run([file = file, snapshot = std::move(snapshot)] {
        HistoryStore::save(file, snapshot ? snapshot->encoded() : std::nullopt);
    });
}
