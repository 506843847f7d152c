#pragma once

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
};
