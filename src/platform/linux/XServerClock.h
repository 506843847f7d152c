#pragma once

#include <QtGlobal>

#include <optional>

// Turns the X server's event times (its own milliseconds, 32 bits, wrapping every 49.7 days) into this
// process's monotonic clock in nanoseconds. The offset between the two clocks is learned from the
// events: the smallest (read time − server time) seen in the last one to two windows, because an event
// read late (queued in the socket, or behind a busy main thread) only ever makes that difference
// larger. Forgetting old windows lets the offset follow a server clock that runs at another rate (a
// remote display). Plain value, no threads.
class XServerClock
{
public:
    static constexpr qint64 window = 30'000'000'000;

    // The monotonic time of an event stamped `serverMillis` and read at `readAt`; never after `readAt`.
    quint64 toMonotonic(quint32 serverMillis, quint64 readAt);
    // For a new connection, whose server may keep another time.
    void reset() { *this = XServerClock(); }

private:
    std::optional<qint64> lastServerMillis;
    std::optional<qint64> currentMinimum;
    std::optional<qint64> previousMinimum;
    qint64 windowStart = 0;
};
