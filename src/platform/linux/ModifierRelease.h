#pragma once

#include <functional>

namespace ModifierRelease {

// Polls `isHeld` every 20 ms for about a second, until the user lets go of the modifier keys that
// would turn the paste shortcut into another one. False when one is still held after the wait.
bool waitFor(const std::function<bool()> &isHeld);

} // namespace ModifierRelease
