#pragma once

#include "platform/AccessibilityAccess.h"

// Whether the desktop's accessibility bus is on (org.a11y.Status.IsEnabled on the session bus), and
// the request to turn it on. Callable from any thread.
class AtspiAccess final : public AccessibilityAccess
{
public:
    bool isEnabled() const override;
    void requestEnable() override;
};
