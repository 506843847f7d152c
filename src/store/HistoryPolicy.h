#pragma once

// When the stored history is read at launch, and when it is erased after a settings change.
namespace HistoryPolicy {

constexpr bool shouldLoadStoredHistory(bool isEnabled)
{
    return isEnabled;
}

constexpr bool shouldDeleteStoredHistory(bool wasEnabled, bool isEnabled)
{
    return wasEnabled && !isEnabled;
}

} // namespace HistoryPolicy
