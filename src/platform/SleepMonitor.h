#pragma once

#include <functional>

// Tells when the machine is about to sleep. The handler runs on the main thread before the sleep;
// the system waits (briefly) for it to return.
class SleepMonitor
{
public:
    virtual ~SleepMonitor() = default;
    virtual void setHandler(std::function<void()> willSleep) = 0;
};
