#include "core/ThreadBudget.h"

#include <gtest/gtest.h>

namespace {

TEST(ThreadBudget, TheTwoEnginesNeverAskForMoreCoresThanThereAreWhileARecordingRuns)
{
    struct Case {
        int cores;
        int recognition;
        int idle;
        int recording;
    };
    const Case cases[] = {{1, 1, 1, 1}, {2, 2, 2, 1}, {4, 4, 4, 1}, {6, 4, 4, 2}, {8, 4, 4, 4}, {32, 4, 4, 4}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.cores);
        EXPECT_EQ(ThreadBudget::recognition(c.cores), c.recognition);
        EXPECT_EQ(ThreadBudget::languageModel(c.cores, false), c.idle);
        EXPECT_EQ(ThreadBudget::languageModel(c.cores, true), c.recording);
    }
}

} // namespace
