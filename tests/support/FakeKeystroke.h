#pragma once

#include "platform/Keystroke.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

// Records every paste shortcut; `effect` plays the application's answer to it.
class FakeKeystroke final : public Keystroke
{
public:
    // The keys cannot be sent although the injector is there (the X connection broke).
    std::atomic<bool> fails = false;
    std::vector<bool> sent;
    std::function<void()> effect;
    // Played by the user while the paste waits for the modifiers: true while they stay held.
    std::atomic<bool> modifiersHeld = false;
    std::function<void()> duringModifierWait;
    // What the injector says it lacks; available while this is empty.
    QString missing;
    bool isAvailable() const override { return missing.isEmpty(); }
    QString unavailableReason() const override { return missing; }
    bool waitForModifierRelease() override
    {
        if (duringModifierWait)
            duringModifierWait();
        return !modifiersHeld;
    }
    bool sendPaste(bool forTerminal) override
    {
        {
            std::scoped_lock guard(lock);
            sent.push_back(forTerminal);
        }
        if (fails)
            return false;
        if (effect)
            effect();
        return true;
    }
    size_t sentCount()
    {
        std::scoped_lock guard(lock);
        return sent.size();
    }

private:
    std::mutex lock;
};
