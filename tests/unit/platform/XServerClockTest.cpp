#include "platform/linux/XServerClock.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr quint64 ms(quint64 milliseconds)
{
    return milliseconds * 1'000'000;
}

TEST(XServerClock, MapsServerTimesWithTheSmallestRecentOffset)
{
    struct Step {
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
            {{1000, ms(5003), ms(5003)}, {1100, ms(5101), ms(5101)}, {1200, ms(5500), ms(5201)},
                {1300, ms(5302), ms(5301)}}},
        {"the server's 32-bit time wraps",
            {{0xFFFFFF00, ms(9000), ms(9000)}, {0x100, ms(9512), ms(9512)}, {0x200, ms(9900), ms(9768)}}},
        {"a minimum older than a whole window is forgotten",
            {{1000, ms(5001), ms(5001)}, {36000, ms(40050), ms(40001)}, {71000, ms(75050), ms(75050)}}},
        // The read at 35001 ms, exactly one window on, starts the window whose minimum the third read keeps.
        {"a window ends at exactly its length",
            {{1000, ms(5001), ms(5001)}, {31000, ms(35001), ms(35001)}, {61000, ms(65051), ms(65001)}}},
        {"a server clock ahead of ours", {{5000, ms(1000), ms(1000)}, {5100, ms(1101), ms(1100)}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        XServerClock clock;
        for (const Step &step : c.steps) {
            SCOPED_TRACE(step.serverMillis);
            EXPECT_EQ(clock.toMonotonic(step.serverMillis, step.readAt), step.expected);
        }
    }
}

} // namespace
