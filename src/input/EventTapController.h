#pragma once

#include "dictation/HotkeyStateMachine.h"
#include "platform/KeyEventSource.h"
#include "store/HotkeyChoice.h"

#include <QLoggingCategory>

#include <functional>
#include <set>
#include <vector>

// Every key event the dictation key logic sees and the actions it gives, as debug lines; off unless
// turned on with QT_LOGGING_RULES="sorawen.keys.debug=true".
Q_DECLARE_LOGGING_CATEGORY(keyTrace)

// Watches the keyboard for the dictation key: keeps which other keys are held, turns changes of the
// chosen key's flag bit into presses and releases for its HotkeyStateMachine, and hands every list
// of actions the machine returns to onActions. Only observes; never swallows or injects a key.
// Main thread only.
class EventTapController
{
public:
    explicit EventTapController(KeyEventSource &source);
    ~EventTapController();
    EventTapController(const EventTapController &) = delete;
    EventTapController &operator=(const EventTapController &) = delete;

    HotkeyStateMachine machine;
    bool hotkeyPressed = false;
    quint64 lastFlags = 0;
    std::set<quint16> otherKeys;
    HotkeyChoice hotkey = HotkeyChoice::function;
    std::function<void(const std::vector<HotkeyAction> &)> onActions;

    // Stops, then observes again with all key state cleared. A source that cannot observe leaves
    // the controller stopped (isRunning() false).
    void start();
    void stop();
    bool isRunning() const { return running; }
    // False when the chosen key cannot be seen on this machine (fn on most PC keyboards).
    bool canObserveHotkey() const;

    void handle(quint32 type, quint16 keyCode, quint64 flags, quint64 timestamp);

private:
    void trackOther(quint32 type, quint16 keyCode);
    void resetKeyState();

    KeyEventSource &source;
    bool running = false;
};
