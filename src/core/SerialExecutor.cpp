#include "core/SerialExecutor.h"

SerialExecutor::SerialExecutor()
    : worker([this] { work(); })
{ }

SerialExecutor::~SerialExecutor()
{
    {
        std::scoped_lock lock(mutex);
        stopping = true;
    }
    wake.notify_one();
    worker.join();
}

bool SerialExecutor::isCurrent() const
{
    return std::this_thread::get_id() == worker.get_id();
}

void SerialExecutor::enqueue(std::function<void()> job)
{
    {
        std::scoped_lock lock(mutex);
        jobs.push_back(std::move(job));
    }
    wake.notify_one();
}

void SerialExecutor::work()
{
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock lock(mutex);
            wake.wait(lock, [this] { return stopping || !jobs.empty(); });
            if (jobs.empty())
                return;
            job = std::move(jobs.front());
            jobs.pop_front();
        }
        job();
    }
}
