#include "platform/linux/XServerClock.h"

#include <algorithm>

quint64 XServerClock::toMonotonic(quint32 serverMillis, quint64 readAt)
{
    const qint64 now = qint64(readAt);
    // Server times are 32-bit and wrap: continue from the last one by the signed difference.
    const qint64 millis = lastServerMillis
        ? *lastServerMillis + qint32(serverMillis - quint32(quint64(*lastServerMillis)))
        : qint64(serverMillis);
    lastServerMillis = millis;
    const qint64 serverNanos = millis * 1'000'000;

    if (!currentMinimum || now - windowStart >= window) {
        previousMinimum = currentMinimum && now - windowStart < 2 * window ? currentMinimum : std::nullopt;
        currentMinimum.reset();
        windowStart = now;
    }
    const qint64 sample = now - serverNanos;
    currentMinimum = std::min(currentMinimum.value_or(sample), sample);
    const qint64 offset = std::min(*currentMinimum, previousMinimum.value_or(*currentMinimum));
    return quint64(std::max<qint64>(serverNanos + offset, 0));
}
