#pragma once

// Whether other applications' accessibility trees can be read, and the request to allow it.
class AccessibilityAccess
{
public:
    virtual ~AccessibilityAccess() = default;

    virtual bool isEnabled() const = 0;
    // Asks the desktop to turn accessibility on; the answer shows in a later isEnabled().
    virtual void requestEnable() = 0;
};
