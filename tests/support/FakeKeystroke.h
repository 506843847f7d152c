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
    std::atomic<bool> available = true;
    std::vector<bool> sent;
    std::function<void()> effect;
    bool isAvailable() const override { return available; }
    bool sendPaste(bool forTerminal) override
    {
        {
            std::scoped_lock guard(lock);
            sent.push_back(forTerminal);
        }
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
