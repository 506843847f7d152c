#pragma once

#include "core/Clock.h"

// The real monotonic clock (std::chrono::steady_clock) with Qt precise timers.
class SystemClock final : public Clock
{
public:
    Duration now() const override;
    TimerHandle schedule(Duration delay, QObject *context, std::function<void()> action) override;
    void sleep(Duration delay) override;
};
