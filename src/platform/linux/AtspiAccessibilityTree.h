#pragma once

#include "platform/AccessibilityTree.h"

#include <chrono>
#include <functional>
#include <memory>

// Other applications' accessibility trees through AT-SPI. libatspi is not thread-safe, so all of
// it runs on one thread of this object's own, with its own GLib main context; the public calls
// hand their work to that thread and wait at most five times `timeout` (a hung application costs
// that much, then the read counts as missing); a job whose caller gave up stops before its next
// call, or is never started, so the next read does not queue behind it. The focused window and
// element are read in one job. libatspi can be set up only once per process, so all
// trees share that thread, which lives until the process ends. Focus is followed from focus and
// window-activation events of other processes; when the remembered element has lost its focus the
// active window is searched.
class AtspiAccessibilityTree final : public AccessibilityTree
{
public:
    explicit AtspiAccessibilityTree(std::chrono::milliseconds timeout = std::chrono::milliseconds(500));
    ~AtspiAccessibilityTree() override;
    AtspiAccessibilityTree(const AtspiAccessibilityTree &) = delete;
    AtspiAccessibilityTree &operator=(const AtspiAccessibilityTree &) = delete;

    std::optional<Application> frontmostApplication() const override;
    std::unique_ptr<AccessibleElement> focusedWindow(const Application &application) const override;
    std::unique_ptr<AccessibleElement> focusedElement(const Application &application) const override;
    Focus focus(const Application &application) const override;

    struct Worker;

private:
    std::shared_ptr<Worker> worker;
};
