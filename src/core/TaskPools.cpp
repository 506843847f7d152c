#include "core/TaskPools.h"

namespace TaskPools {

namespace {

QThreadPool *makePool(const char *name, int maximumThreads)
{
    auto *pool = new QThreadPool;
    pool->setObjectName(QLatin1StringView(name));
    pool->setMaxThreadCount(maximumThreads);
    // Idle threads go away after a while; a dictation every few minutes needs no parked threads.
    pool->setExpiryTimeout(60'000);
    return pool;
}

} // namespace

// The pools live until the process ends: jobs may still be running when static objects are
// destroyed, and a pool's destructor would wait for them.
QThreadPool &shortWork()
{
    static QThreadPool *pool = makePool("short work", 4);
    return *pool;
}

// Blocking jobs wait on each other here (a session's result loop and the finish that waits for
// it), so the bound leaves room for two recordings' worth of them and a download beside.
QThreadPool &longWork()
{
    static QThreadPool *pool = makePool("long work", 8);
    return *pool;
}

} // namespace TaskPools
