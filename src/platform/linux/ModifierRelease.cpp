#include "platform/linux/ModifierRelease.h"

#include <chrono>
#include <thread>

using namespace std::chrono_literals;

namespace ModifierRelease {

bool waitFor(const std::function<bool()> &isHeld)
{
    constexpr auto wait = 1000ms;
    constexpr auto poll = 20ms;
    for (auto waited = 0ms; waited < wait; waited += poll) {
        if (!isHeld())
            return true;
        std::this_thread::sleep_for(poll);
    }
    return !isHeld();
}

} // namespace ModifierRelease
