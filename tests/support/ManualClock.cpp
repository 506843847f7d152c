#include "ManualClock.h"

#include <QThread>

#include <algorithm>

Clock::Duration ManualClock::now() const
{
    std::scoped_lock lock(mutex);
    return current;
}

TimerHandle ManualClock::schedule(Duration delay, QObject *context, std::function<void()> action)
{
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    std::scoped_lock lock(mutex);
    entries.push_back({current + delay, nextOrder++, context, cancelled, std::move(action)});
    return TimerHandle(cancelled);
}

void ManualClock::sleep(Duration delay)
{
    std::unique_lock lock(mutex);
    const auto until = current + delay;
    moved.wait(lock, [&] { return wakeTime >= until; });
}

void ManualClock::advance(Duration by)
{
    std::unique_lock lock(mutex);
    const auto target = current + by;
    for (;;) {
        auto due = std::min_element(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) {
            return a.deadline != b.deadline ? a.deadline < b.deadline : a.order < b.order;
        });
        if (due == entries.end() || due->deadline > target)
            break;
        Entry entry = std::move(*due);
        entries.erase(due);
        current = std::max(current, entry.deadline);
        QObject *context = entry.context.data();
        if (!entry.cancelled->load() && context != nullptr) {
            // Actions may schedule more calls, so the lock is not held while one runs.
            lock.unlock();
            if (context->thread() == QThread::currentThread()) {
                entry.action();
            } else {
                // As a timer would: on the context's thread, once its event loop turns, unless the
                // call is cancelled or the context goes first.
                QMetaObject::invokeMethod(context,
                    [cancelled = entry.cancelled, action = std::move(entry.action)] {
                        if (!cancelled->load())
                            action();
                    },
                    Qt::QueuedConnection);
            }
            lock.lock();
        }
        wakeTime = current;
        moved.notify_all();
    }
    current = target;
    wakeTime = target;
    moved.notify_all();
}

int ManualClock::pendingCount() const
{
    std::scoped_lock lock(mutex);
    return static_cast<int>(std::count_if(entries.begin(), entries.end(),
        [](const Entry &entry) { return !entry.cancelled->load() && !entry.context.isNull(); }));
}
