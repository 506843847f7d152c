#pragma once

#include "core/Clock.h"
#include "dictation/FlowState.h"

#include <QObject>

#include <functional>
#include <optional>

class FloatingPanel;

// Decides when the floating bar fades in and out: it appears for a dictation, stays through it,
// and leaves at once when the state returns to idle or a moment after a success or failure. Every
// fade and timed hide runs on the clock. Main thread only.
class FloatingPanelController : public QObject
{
    Q_OBJECT

public:
    static constexpr double fadeInSeconds = 0.15;
    static constexpr double fadeOutSeconds = 0.25;
    static constexpr double successHideSeconds = 1.0;
    static constexpr double failureHideSeconds = 2.5;

    FloatingPanelController(FloatingPanel &panel, Clock &clock, QObject *parent = nullptr);

    // The state reaction; a value equal to the previous one is dropped (two failures with
    // different messages are different values).
    void show(const FlowState::Value &state);

private:
    void fadeIn();
    void fadeOut();
    void schedule(double hideAfter);
    void place();
    void animateAlpha(double target, double seconds, std::function<void()> completion);
    void animationStep(quint64 animation);

    FloatingPanel &panel;
    Clock &clock;
    std::optional<FlowState::Value> previous;
    TimerHandle hideWork;

    struct Animation {
        double from = 0;
        double to = 0;
        Clock::Duration start {};
        Clock::Duration length {};
        std::function<void()> completion;
    };
    Animation animation;
    // A new fade takes over from the value the previous one reached; its steps then stop.
    quint64 currentAnimation = 0;
    TimerHandle animationTimer;
};
