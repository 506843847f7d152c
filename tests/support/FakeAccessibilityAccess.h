#pragma once

#include "platform/AccessibilityAccess.h"

#include <atomic>

// Accessibility that is on unless a test turns it off; counts the requests to turn it on.
class FakeAccessibilityAccess final : public AccessibilityAccess
{
public:
    std::atomic<bool> enabled = true;
    std::atomic<int> requests = 0;
    bool isEnabled() const override { return enabled; }
    void requestEnable() override { ++requests; }
};
