#pragma once

#include "platform/LoginItem.h"
#include "platform/SleepMonitor.h"
#include "platform/SoundPlayer.h"

#include <QStringList>

// The sounds played, in order.
class FakeSoundPlayer final : public SoundPlayer
{
public:
    QStringList played;
    void play(const QString &name) override { played.append(name); }
};

// Sleep comes when the test calls sleepNow().
class FakeSleepMonitor final : public SleepMonitor
{
public:
    std::function<void()> handler;
    void setHandler(std::function<void()> willSleep) override { handler = std::move(willSleep); }
    void sleepNow()
    {
        if (handler)
            handler();
    }
};

// A login item that is refused while `refuses` is set.
class FakeLoginItem final : public LoginItem
{
public:
    bool enabled = false;
    bool refuses = false;
    bool isEnabled() const override { return enabled; }
    std::expected<void, QString> setEnabled(bool wanted) override
    {
        if (refuses)
            return std::unexpected(QStringLiteral("read-only folder"));
        enabled = wanted;
        return {};
    }
};
