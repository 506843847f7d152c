#include "dictation/HotkeyStateMachine.h"

std::vector<HotkeyAction> HotkeyStateMachine::keyChanged(bool isPressed, bool otherKeyIsDown, double at)
{
    return isPressed ? pressed(otherKeyIsDown, at) : released(at);
}

std::vector<HotkeyAction> HotkeyStateMachine::pressed(bool otherKeyIsDown, double at)
{
    if (std::holds_alternative<Idle>(state)) {
        if (otherKeyIsDown) {
            state = SuppressUntilRelease {};
            return {};
        }
        state = Pressed {at};
        return {HotkeyAction::startRecording};
    }
    if (const auto *waiting = std::get_if<WaitingSecond>(&state)) {
        if (otherKeyIsDown) {
            state = SuppressUntilRelease {};
            return {};
        }
        // A gap of exactly the interval still counts as a double press.
        if (at - waiting->releasedAt <= doublePressInterval) {
            state = Locked {};
            return {HotkeyAction::startLockedRecording};
        }
        state = Pressed {at};
        return {HotkeyAction::startRecording};
    }
    if (std::holds_alternative<Locked>(state)) {
        state = SuppressUntilRelease {};
        return {HotkeyAction::finishLockedRecording};
    }
    // Pressed or SuppressUntilRelease: a repeated press changes nothing.
    return {};
}

std::vector<HotkeyAction> HotkeyStateMachine::released(double at)
{
    if (const auto *down = std::get_if<Pressed>(&state)) {
        // A hold of exactly the minimum counts as a hold.
        if (at - down->startedAt < minimumHoldDuration) {
            state = WaitingSecond {at};
            return {HotkeyAction::cancelRecording};
        }
        state = Idle {};
        return {HotkeyAction::finishRecording};
    }
    if (std::holds_alternative<SuppressUntilRelease>(state))
        state = Idle {};
    return {};
}

std::vector<HotkeyAction> HotkeyStateMachine::anotherKeyPressed()
{
    if (!std::holds_alternative<Pressed>(state))
        return {};
    state = SuppressUntilRelease {};
    return {HotkeyAction::cancelRecording};
}

std::vector<HotkeyAction> HotkeyStateMachine::escapePressed()
{
    if (std::holds_alternative<Idle>(state) || std::holds_alternative<SuppressUntilRelease>(state))
        return {};
    state = SuppressUntilRelease {};
    return {HotkeyAction::cancelRecording};
}

void HotkeyStateMachine::reset()
{
    state = Idle {};
}
