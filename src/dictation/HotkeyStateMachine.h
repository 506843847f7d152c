#pragma once

#include "dictation/HotkeyAction.h"

#include <variant>
#include <vector>

// Turns presses and releases of the dictation key, plus "another key" and Escape, into recording
// actions: hold to talk, tap then press again within doublePressInterval for a hands-free recording
// that the next press ends. A press starts a recording at once; if it turns out to be a tap, the
// release cancels it. Times are seconds on one monotonic clock; only differences are used.
// A plain value driven from the main thread; every call returns no action or exactly one.
class HotkeyStateMachine
{
public:
    double minimumHoldDuration = 0.15;
    double doublePressInterval = 0.35;

    std::vector<HotkeyAction> keyChanged(bool isPressed, bool otherKeyIsDown, double at);
    std::vector<HotkeyAction> anotherKeyPressed();
    std::vector<HotkeyAction> escapePressed();
    void reset();

private:
    struct Pressed {
        double startedAt;
    };
    struct WaitingSecond {
        double releasedAt;
    };
    struct Idle {
    };
    struct Locked {
    };
    struct SuppressUntilRelease {
    };
    using State = std::variant<Pressed, WaitingSecond, Idle, Locked, SuppressUntilRelease>;

    std::vector<HotkeyAction> pressed(bool otherKeyIsDown, double at);
    std::vector<HotkeyAction> released(double at);

    State state = Idle {};
};
