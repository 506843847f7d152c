#include "platform/linux/InjectedKeys.h"

#include <algorithm>

void InjectedKeys::record(std::span<const Key> keys, quint64 now)
{
    std::scoped_lock lock(mutex);
    dropExpired(now);
    for (const Key &key : keys)
        entries.push_back(Entry{key, now});
}

bool InjectedKeys::consume(Key key, quint64 timestamp)
{
    std::scoped_lock lock(mutex);
    dropExpired(timestamp);
    const auto match = std::find_if(entries.begin(), entries.end(),
        [&](const Entry &entry) { return entry.key == key && timestamp + stampTolerance >= entry.recordedAt; });
    if (match == entries.end())
        return false;
    entries.erase(match);
    return true;
}

void InjectedKeys::dropExpired(quint64 now)
{
    while (!entries.empty() && entries.front().recordedAt + lifetime < now)
        entries.pop_front();
}
