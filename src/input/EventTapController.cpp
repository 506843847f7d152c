#include "input/EventTapController.h"

Q_LOGGING_CATEGORY(keyTrace, "sorawen.keys", QtWarningMsg)

EventTapController::EventTapController(KeyEventSource &source)
    : source(source)
{ }

EventTapController::~EventTapController()
{
    stop();
}

void EventTapController::start()
{
    stop();
    running = source.start(
        [this](const KeyEvent &event) { handle(event.type, event.keyCode, event.flags, event.timestamp); });
}

void EventTapController::stop()
{
    if (running)
        source.stop();
    running = false;
    resetKeyState();
}

bool EventTapController::canObserveHotkey() const
{
    return source.canObserve(hotkey.flagMask());
}

void EventTapController::resetKeyState()
{
    machine.reset();
    hotkeyPressed = false;
    lastFlags = 0;
    otherKeys.clear();
}

void EventTapController::handle(quint32 type, quint16 keyCode, quint64 flags, quint64 timestamp)
{
    qCDebug(keyTrace, "event type %u code %u flags %llx at %.3f s", type, keyCode, qulonglong(flags),
        double(timestamp) / 1e9);
    if (type == KeyEventType::tapDisabledByTimeout || type == KeyEventType::tapDisabledByUserInput) {
        // A recording that was running is not cancelled here.
        resetKeyState();
        if (running)
            source.resume();
        return;
    }
    if (type == KeyEventType::keyDown && keyCode == escapeKeyCode) {
        if (onActions)
            onActions(machine.escapePressed());
        return;
    }
    if (type != KeyEventType::flagsChanged) {
        trackOther(type, keyCode);
        return;
    }

    const quint64 mask = hotkey.flagMask();
    const bool pressed = (flags & mask) != 0;
    const quint64 oldFlags = lastFlags;
    lastFlags = flags;
    if (hotkeyPressed) {
        const quint64 changed = (oldFlags ^ flags) & ~mask;
        if ((changed & HotkeyChoice::allFlagMask) != 0 && onActions) {
            onActions(machine.anotherKeyPressed());
            if (pressed == hotkeyPressed)
                return;
        } else if (pressed) {
            return;
        }
    } else if (!pressed) {
        return;
    }
    hotkeyPressed = pressed;
    if (!onActions)
        return;
    const bool otherKeyIsDown = !otherKeys.empty() || (flags & hotkey.otherHotkeyFlagMask()) != 0;
    onActions(machine.keyChanged(pressed, otherKeyIsDown, double(timestamp) / 1e9));
}

void EventTapController::trackOther(quint32 type, quint16 keyCode)
{
    if (type == KeyEventType::systemDefined) {
        if (hotkeyPressed && onActions)
            onActions(machine.anotherKeyPressed());
        return;
    }
    if (type == KeyEventType::keyUp) {
        otherKeys.erase(keyCode);
        return;
    }
    if (type == KeyEventType::keyDown) {
        otherKeys.insert(keyCode);
        if (hotkeyPressed && onActions)
            onActions(machine.anotherKeyPressed());
    }
}
