#pragma once

#include "core/TaskPools.h"

#include <QFuture>

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>

// One worker thread that runs jobs one at a time, in the order they were submitted. `run` may be
// called from any thread and returns a QFuture for the job's result. Destruction runs every job
// already submitted (pending file writes are not lost at exit), then joins the worker.
class SerialExecutor
{
public:
    SerialExecutor();
    ~SerialExecutor();
    SerialExecutor(const SerialExecutor &) = delete;
    SerialExecutor &operator=(const SerialExecutor &) = delete;

    template<typename Job>
    auto run(Job job) -> QFuture<std::invoke_result_t<Job>>
    {
        auto [future, work] = TaskPools::promised(std::move(job));
        enqueue(std::move(work));
        return future;
    }

    // True on the executor's own worker thread.
    bool isCurrent() const;

private:
    void enqueue(std::function<void()> job);
    void work();

    // Guards `jobs` and `stopping`.
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::function<void()>> jobs;
    bool stopping = false;
    std::thread worker;
};
