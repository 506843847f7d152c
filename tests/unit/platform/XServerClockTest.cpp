#include "platform/linux/XServerClock.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr quint64 ms = 1'000'000;

TEST(XServerClock, MapsServerTimesWithTheSmallestRecentOffset)
{
    struct Step {
        // All in milliseconds.
        quint32 serverMillis;
        quint64 readAt;
        quint64 expected;
    };
    struct Case {
        const char *name;
        std::vector<Step> steps;
    };
    // Server time + 4000 ms is the monotonic time in most cases; the read comes some milliseconds later.
    const Case cases[] = {
        {"a late read keeps the offset of the quickest one",
            {{1000, 5003, 5003}, {1100, 5101, 5101}, {1200, 5500, 5201}, {1300, 5302, 5301}}},
        {"the server's 32-bit time wraps", {{0xFFFFFF00, 9000, 9000}, {0x100, 9512, 9512}, {0x200, 9900, 9768}}},
        {"a minimum older than a whole window is forgotten",
            {{1000, 5001, 5001}, {36000, 40050, 40001}, {71000, 75050, 75050}}},
        // The read at 35001 ms, exactly one window on, starts the window whose minimum the third read keeps.
        {"a window ends at exactly its length", {{1000, 5001, 5001}, {31000, 35001, 35001}, {61000, 65051, 65001}}},
        {"a server clock ahead of ours", {{5000, 1000, 1000}, {5100, 1101, 1100}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        XServerClock clock;
        for (const Step &step : c.steps) {
            SCOPED_TRACE(step.serverMillis);
            EXPECT_EQ(clock.toMonotonic(step.serverMillis, step.readAt * ms), step.expected * ms);
        }
    }
}

} // namespace
