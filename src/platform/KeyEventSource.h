#pragma once

#include <QString>
#include <QtGlobal>

#include <functional>

// One observed keyboard event, in the vocabulary the dictation key logic speaks: key-down (10) and
// key-up (11) of ordinary keys with their own codes (Escape is 53), flags-changed (12) when a
// modifier goes down or up, with one bit per physical modifier key in `flags` (the bits of
// HotkeyChoice), system-defined (14) for media and system keys, and the tap-disabled notices when
// the source lost its connection and reset. `timestamp` is the monotonic clock in nanoseconds.
struct KeyEvent {
    quint32 type = 0;
    quint16 keyCode = 0;
    quint64 flags = 0;
    quint64 timestamp = 0;

    friend bool operator==(const KeyEvent &, const KeyEvent &) = default;
};

namespace KeyEventType {
constexpr quint32 keyDown = 10;
constexpr quint32 keyUp = 11;
constexpr quint32 flagsChanged = 12;
constexpr quint32 systemDefined = 14;
constexpr quint32 tapDisabledByTimeout = 0xFFFFFFFE;
constexpr quint32 tapDisabledByUserInput = 0xFFFFFFFF;
} // namespace KeyEventType

constexpr quint16 escapeKeyCode = 53;

// A listen-only view of the whole keyboard: nothing is grabbed, swallowed or changed. Events reach
// the handler on the main thread, in the order they happened. A source that loses its connection
// sends a tap-disabled notice and reconnects by itself.
class KeyEventSource
{
public:
    using Handler = std::function<void(const KeyEvent &)>;

    virtual ~KeyEventSource() = default;

    // Starts observing; false (with errorMessage() saying why) when no key can be observed.
    virtual bool start(Handler handler) = 0;
    virtual void stop() = 0;
    // Asked after a tap-disabled notice: observe again if observing had stopped.
    virtual void resume() = 0;
    // Whether a key with this flag bit exists on the keyboards seen (fn is missing on most).
    virtual bool canObserve(quint64 flagMask) const = 0;
    virtual QString errorMessage() const = 0;
};
