#pragma once

// Sends the paste shortcut to the focused application, as if typed. Callable from worker threads.
class Keystroke
{
public:
    virtual ~Keystroke() = default;

    virtual bool isAvailable() const = 0;
    // Control+V, or Control+Shift+V for terminals. Waits briefly while the user still holds another
    // modifier, so the shortcut is not turned into another one. False when it could not be sent.
    virtual bool sendPaste(bool forTerminal) = 0;
};
