#include "ManualClock.h"

#include <QCoreApplication>
#include <QObject>
#include <QThread>

#include <gtest/gtest.h>

#include <thread>

using namespace std::chrono_literals;

namespace {

// The tests' clock must run work where the real one would, or a call that reaches into another
// thread's objects would pass here and fail in the application.
TEST(ManualClock, DueWorkRunsOnTheThreadOfItsContextInDeadlineOrder)
{
    ManualClock clock;
    QObject context;
    std::vector<int> ran;
    std::vector<QThread *> threads;
    auto record = [&](int call) {
        return [&, call] {
            ran.push_back(call);
            threads.push_back(QThread::currentThread());
        };
    };
    clock.schedule(20ms, &context, record(3));
    clock.schedule(10ms, &context, record(1));
    clock.schedule(10ms, &context, record(2));
    clock.schedule(10ms, &context, record(0)).cancel();
    clock.schedule(40ms, &context, record(4));
    std::thread([&] { clock.advance(30ms); }).join();
    EXPECT_TRUE(ran.empty());
    QCoreApplication::processEvents();
    EXPECT_EQ(ran, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(threads, std::vector<QThread *>(3, context.thread()));
    clock.advance(10ms);
    EXPECT_EQ(ran.back(), 4);
    EXPECT_EQ(clock.pendingCount(), 0);
}

} // namespace
