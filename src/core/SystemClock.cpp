#include "core/SystemClock.h"

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QThread>
#include <QTimer>

#include <thread>

Clock::Duration SystemClock::now() const
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

TimerHandle SystemClock::schedule(Duration delay, QObject *context, std::function<void()> action)
{
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    const auto deadline = now() + delay;
    // Qt timers belong to the thread that starts them, so the timer is started on the context's
    // thread; the remaining delay is measured there so the hop itself is not added to it.
    auto start = [this, deadline, context, cancelled, action = std::move(action)]() mutable {
        const auto remaining = std::chrono::ceil<std::chrono::milliseconds>(deadline - now());
        QTimer::singleShot(std::max(remaining, std::chrono::milliseconds(0)), Qt::PreciseTimer, context,
            [cancelled, action = std::move(action)] {
                if (!cancelled->load())
                    action();
            });
    };
    if (QThread::currentThread() == context->thread())
        start();
    else
        QMetaObject::invokeMethod(context, std::move(start), Qt::QueuedConnection);
    return TimerHandle(cancelled);
}

void SystemClock::sleep(Duration delay)
{
    std::this_thread::sleep_for(delay);
}
