#include "ui/FloatingPanelController.h"

#include "ui/FloatingPanel.h"
#include "ui/FloatingPanelPlacement.h"

#include <algorithm>

namespace {
// The fades step at the refresh rate of a common display.
constexpr double animationStepSeconds = 1.0 / 60;
} // namespace

FloatingPanelController::FloatingPanelController(FloatingPanel &panel, Clock &clock, QObject *parent)
    : QObject(parent)
    , panel(panel)
    , clock(clock)
{
    panel.setAlpha(0);
}

void FloatingPanelController::show(const FlowState::Value &state)
{
    if (previous == state)
        return;
    previous = state;
    hideWork.cancel();
    if (std::holds_alternative<FlowState::Success>(state)) {
        fadeIn();
        schedule(successHideSeconds);
    } else if (std::holds_alternative<FlowState::Failure>(state)) {
        fadeIn();
        schedule(failureHideSeconds);
    } else if (std::holds_alternative<FlowState::Idle>(state)) {
        fadeOut();
    } else {
        fadeIn();
    }
}

void FloatingPanelController::fadeIn()
{
    // The bar re-centres only when it appears, never while it shows.
    if (!panel.isOnScreen() || panel.alpha() < 0.01)
        place();
    panel.orderFront();
    animateAlpha(1.0, fadeInSeconds, {});
}

void FloatingPanelController::fadeOut()
{
    animateAlpha(0.0, fadeOutSeconds, [this] {
        if (panel.alpha() < 0.01)
            panel.orderOut();
    });
}

void FloatingPanelController::schedule(double hideAfter)
{
    hideWork = clock.schedule(secondsToDuration(hideAfter), this, [this] { fadeOut(); });
}

void FloatingPanelController::place()
{
    if (const auto origin = FloatingPanelPlacement::origin(panel.screenLayout(), panel.size()))
        panel.moveTo(*origin);
}

void FloatingPanelController::animateAlpha(double target, double seconds, std::function<void()> completion)
{
    animationTimer.cancel();
    animation = Animation {panel.alpha(), target, clock.now(), secondsToDuration(seconds), std::move(completion)};
    animationStep(++currentAnimation);
}

void FloatingPanelController::animationStep(quint64 step)
{
    if (step != currentAnimation)
        return;
    const double elapsed = double((clock.now() - animation.start).count()) / double(animation.length.count());
    const double progress = std::clamp(elapsed, 0.0, 1.0);
    panel.setAlpha(animation.from + (animation.to - animation.from) * progress);
    if (progress < 1.0) {
        // The last step lands on the end, so the fade takes exactly its length.
        const auto remaining = animation.start + animation.length - clock.now();
        const auto delay = std::min(secondsToDuration(animationStepSeconds), remaining);
        animationTimer = clock.schedule(delay, this, [this, step] {
            animationStep(step);
        });
        return;
    }
    if (auto completion = std::exchange(animation.completion, {}))
        completion();
}
