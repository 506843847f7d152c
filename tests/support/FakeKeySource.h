#pragma once

#include "platform/KeyEventSource.h"

// A key source that hands the test its handler; fn (0x800000) is the one key it cannot see.
class FakeKeySource final : public KeyEventSource
{
public:
    int stops = 0;
    int resumes = 0;
    Handler handler;

    bool start(Handler given) override
    {
        handler = std::move(given);
        return true;
    }
    void stop() override
    {
        ++stops;
        handler = nullptr;
    }
    void resume() override { ++resumes; }
    bool canObserve(quint64 flagMask) const override { return flagMask != 0x800000; }
    QString errorMessage() const override { return {}; }
};
