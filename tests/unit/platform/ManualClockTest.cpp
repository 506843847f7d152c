#include "ManualClock.h"

#include <QObject>

#include <gtest/gtest.h>

#include <thread>

using namespace std::chrono_literals;

namespace {

TEST(ManualClock, RunsDueCallsInDeadlineOrderAtTheirOwnTime)
{
    ManualClock clock;
    QObject context;
    std::vector<std::pair<int, Clock::Duration>> fired;
    auto record = [&](int id) { return [&, id] { fired.emplace_back(id, clock.now()); }; };
    clock.schedule(300ms, &context, record(3));
    clock.schedule(100ms, &context, record(1));
    clock.schedule(100ms, &context, record(2));
    const TimerHandle cancelled = clock.schedule(200ms, &context, record(99));
    cancelled.cancel();
    // A call may schedule another that falls due within the same advance.
    clock.schedule(150ms, &context, [&] { clock.schedule(10ms, &context, record(4)); });

    clock.advance(299ms);
    const std::vector<std::pair<int, Clock::Duration>> expected {{1, 100ms}, {2, 100ms}, {4, 160ms}};
    EXPECT_EQ(fired, expected);
    EXPECT_EQ(clock.now(), 299ms);
    EXPECT_EQ(clock.pendingCount(), 1);
    clock.advance(1ms);
    EXPECT_EQ(fired.back(), std::make_pair(3, Clock::Duration(300ms)));
    EXPECT_EQ(clock.pendingCount(), 0);
}

TEST(ManualClock, DestroyedContextCancelsItsCalls)
{
    ManualClock clock;
    bool fired = false;
    {
        QObject context;
        clock.schedule(1s, &context, [&] { fired = true; });
    }
    clock.advance(2s);
    EXPECT_FALSE(fired);
}

TEST(ManualClock, SleepersWakeWhenTheirTimeIsReached)
{
    ManualClock clock;
    std::atomic<bool> woke {false};
    std::thread sleeper([&] {
        clock.sleep(500ms);
        woke = true;
    });
    while (clock.sleeperCount() == 0)
        std::this_thread::yield();
    clock.advance(499ms);
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(woke);
    clock.advance(1ms);
    sleeper.join();
    EXPECT_TRUE(woke);
}

} // namespace
