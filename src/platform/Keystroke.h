#pragma once

#include <QString>

// Sends the paste shortcut to the focused application, as if typed. Callable from worker threads.
class Keystroke
{
public:
    virtual ~Keystroke() = default;

    virtual bool isAvailable() const = 0;
    // Waits (about a second at most) while the user holds a modifier key that would turn the
    // shortcut into another one (Super+V, Alt+Control+V); false when one is still held.
    virtual bool waitForModifierRelease() = 0;
    // Control+V, or Control+Shift+V for terminals, at once. False when it could not be sent.
    virtual bool sendPaste(bool forTerminal) = 0;
    // When nothing can be sent: what is missing and how the user provides it, translated; empty
    // when there is nothing more to say than that the shortcut cannot be sent.
    virtual QString unavailableReason() const { return {}; }
};
