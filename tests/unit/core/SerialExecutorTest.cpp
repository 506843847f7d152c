#include "core/SerialExecutor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>
#include <vector>

namespace {

TEST(SerialExecutor, RunsJobsOneAtATimeInOrder)
{
    std::vector<int> order;
    std::atomic<int> running {0};
    std::atomic<int> mostAtOnce {0};
    QList<QFuture<int>> futures;
    {
        std::promise<void> gate;
        std::jthread opener;
        SerialExecutor executor;
        // The first job holds the queue until the executor has begun to go, with every other job still queued.
        executor.run([opened = gate.get_future().share()] { opened.wait(); });
        // Submitted from several threads at once; each thread's jobs keep their order.
        std::vector<std::thread> submitters;
        std::mutex submitted;
        for (int thread = 0; thread < 4; ++thread) {
            submitters.emplace_back([&, thread] {
                for (int i = 0; i < 50; ++i) {
                    const int value = thread * 100 + i;
                    std::scoped_lock lock(submitted);
                    futures.append(executor.run([&, value] {
                        mostAtOnce = std::max(mostAtOnce.load(), ++running);
                        EXPECT_TRUE(executor.isCurrent());
                        order.push_back(value);
                        --running;
                        return value * 2;
                    }));
                }
            });
        }
        for (auto &submitter : submitters)
            submitter.join();
        opener = std::jthread([&gate] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            gate.set_value();
        });
    }
    // The destructor ran every submitted job before it returned.
    ASSERT_EQ(order.size(), 200u);
    EXPECT_EQ(mostAtOnce.load(), 1);
    // Grouped by thread, each thread's jobs ran in the order they were submitted.
    std::ranges::stable_sort(order, {}, [](int value) { return value / 100; });
    EXPECT_TRUE(std::ranges::is_sorted(order));
    for (const QFuture<int> &future : futures) {
        ASSERT_TRUE(future.isFinished());
        EXPECT_EQ(future.result() % 2, 0);
    }
}

} // namespace
