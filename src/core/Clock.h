#pragma once

#include <QFuture>
#include <QPromise>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

class QObject;

// A scheduled call that can be called off. Copies share the same call.
class TimerHandle
{
public:
    TimerHandle() = default;
    explicit TimerHandle(std::shared_ptr<std::atomic<bool>> cancelled)
        : cancelled(std::move(cancelled))
    { }
    void cancel() const
    {
        if (cancelled)
            cancelled->store(true);
    }

private:
    std::shared_ptr<std::atomic<bool>> cancelled;
};

// Monotonic time and delays. Every wait and deadline in the program goes through a Clock so that
// tests can advance time instead of sleeping. Implementations are thread-safe.
class Clock
{
public:
    using Duration = std::chrono::nanoseconds;

    virtual ~Clock() = default;

    // Time since an arbitrary fixed origin; never goes backwards.
    virtual Duration now() const = 0;

    // Calls `action` on the thread of `context` once `delay` has passed, unless the handle is
    // cancelled or `context` is destroyed first.
    virtual TimerHandle schedule(Duration delay, QObject *context, std::function<void()> action) = 0;

    // Blocks the calling worker thread for `delay`. Never called on the main thread.
    virtual void sleep(Duration delay) = 0;

    // A future that finishes once `delay` has passed, on the thread of `context`; a coroutine there
    // co_awaits it. It finishes cancelled, at once, when `context` goes first.
    QFuture<void> after(Duration delay, QObject *context)
    {
        auto promise = std::make_shared<QPromise<void>>();
        promise->start();
        QFuture<void> future = promise->future();
        schedule(delay, context, [promise] { promise->finish(); });
        return future;
    }
};

// Seconds as a floating-point number, the unit of the settings' durations.
constexpr Clock::Duration secondsToDuration(double seconds)
{
    return std::chrono::duration_cast<Clock::Duration>(std::chrono::duration<double>(seconds));
}
