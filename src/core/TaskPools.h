#pragma once

#include <QFuture>
#include <QPromise>
#include <QThreadPool>

#include <memory>
#include <utility>
#include <type_traits>

// The one way work leaves the main thread: `run` starts a blocking function on a named, bounded pool
// and returns a QFuture that the main thread co_awaits. Short desktop work (context capture,
// microphone start, paste) has a pool of its own, so a model download or a long rewrite on the other
// pool never delays a paste. Callable from any thread.
namespace TaskPools {

// Context capture, microphone start and stop, paste: calls that return within a second or so.
QThreadPool &shortWork();
// Engine preparation, recognition sessions, rewrites, downloads: calls that may take minutes.
QThreadPool &longWork();

// `job` wrapped so that running the wrapper, on any thread, fulfils the returned future.
template<typename Job>
auto promised(Job job)
{
    using Result = std::invoke_result_t<Job>;
    auto promise = std::make_shared<QPromise<Result>>();
    QFuture<Result> future = promise->future();
    promise->start();
    auto work = [promise, job = std::move(job)]() mutable {
        if constexpr (std::is_void_v<Result>) {
            job();
        } else {
            promise->addResult(job());
        }
        promise->finish();
    };
    return std::pair{future, std::move(work)};
}

template<typename Job>
auto run(QThreadPool &pool, Job job) -> QFuture<std::invoke_result_t<Job>>
{
    auto [future, work] = promised(std::move(job));
    pool.start(std::move(work));
    return future;
}

// A future that is already finished with `value`.
template<typename Value>
QFuture<Value> finished(Value value)
{
    QPromise<Value> promise;
    QFuture<Value> future = promise.future();
    promise.start();
    promise.addResult(std::move(value));
    promise.finish();
    return future;
}

} // namespace TaskPools
