#pragma once

#include "platform/KeyEventSource.h"

#include <optional>

// Turns Linux key codes (evdev numbering, as in linux/input-event-codes.h) into KeyEvents: modifier
// keys update a flag word with the dictation-key bits and become flags-changed events; the lock keys
// and Compose become flags-changed events that change no bit (ignored by the dictation key); Escape
// becomes key code 53; media and system keys become system-defined events on press; every other key
// keeps its code, moved above 255 so that no key can be taken for Escape. Used by both key sources,
// so X11 and evdev report identical streams. One instance per source; not thread-safe.
class KeyEventTranslator
{
public:
    std::optional<KeyEvent> translate(quint16 linuxKeyCode, bool isPressed, quint64 timestamp);
    // Forgets every held modifier (after the source lost track of the keyboard).
    void reset() { flags = 0; }

    // The monotonic clock in nanoseconds, the clock of every key event's stamp.
    static quint64 now();
    // The notice a source sends when it lost track of the keyboard and starts over.
    static KeyEvent tapDisabledNotice() { return KeyEvent{KeyEventType::tapDisabledByUserInput, 0, 0, now()}; }

    // The flag bit of a modifier key, 0 for other keys.
    static quint64 flagBit(quint16 linuxKeyCode);
    static bool isSystemKey(quint16 linuxKeyCode);
    // CapsLock, NumLock, ScrollLock and Compose.
    static bool isLockOrCompose(quint16 linuxKeyCode);
    static constexpr quint16 reportedCodeOffset = 0x100;

private:
    quint64 flags = 0;
};
