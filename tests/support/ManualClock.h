#pragma once

#include "core/Clock.h"

#include <QPointer>

#include <condition_variable>
#include <mutex>
#include <vector>

// A clock that moves only when a test calls advance(). Due calls run in deadline order (ties in
// scheduling order) on the thread of their context, as the real clock's timers do: at once when
// that is the advancing thread, else queued to it. Sleepers on other threads wake when the time
// they wait for is reached.
class ManualClock final : public Clock
{
public:
    Duration now() const override;
    TimerHandle schedule(Duration delay, QObject *context, std::function<void()> action) override;
    void sleep(Duration delay) override;

    void advance(Duration by);
    void advanceSeconds(double seconds) { advance(secondsToDuration(seconds)); }
    // The number of scheduled calls not yet run or cancelled.
    int pendingCount() const;

private:
    struct Entry {
        Duration deadline;
        quint64 order;
        QPointer<QObject> context;
        std::shared_ptr<std::atomic<bool>> cancelled;
        std::function<void()> action;
    };

    mutable std::mutex mutex;
    std::condition_variable moved;
    Duration current{0};
    // Sleepers wake only once the calls due at a time have run, so they see what those calls did.
    Duration wakeTime{0};
    quint64 nextOrder = 0;
    std::vector<Entry> entries;
};
