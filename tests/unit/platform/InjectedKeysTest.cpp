#include "platform/linux/InjectedKeys.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr quint64 ms = 1'000'000;

constexpr quint16 leftControl = 29;
constexpr quint16 leftShift = 42;
constexpr quint16 letterV = 47;

TEST(InjectedKeys, DropsEachRecordedKeyOnceAndNothingElse)
{
    struct Step {
        const char *name;
        // A recording at `at` (in milliseconds) when `recorded` is not empty, else one event stamped `at`.
        std::vector<InjectedKeys::Key> recorded;
        InjectedKeys::Key event;
        quint64 at;
        bool isDropped;
    };
    const std::vector<InjectedKeys::Key> paste{
        {leftControl, true}, {letterV, true}, {letterV, false}, {leftControl, false}};
    const std::vector<InjectedKeys::Key> terminalPaste{{leftControl, true}, {leftShift, true}, {letterV, true},
        {letterV, false}, {leftShift, false}, {leftControl, false}};
    const Step steps[] = {
        {"paste recorded", paste, {}, 1000, false},
        {"its Control press", {}, {leftControl, true}, 1002, true},
        {"its V press", {}, {letterV, true}, 1002, true},
        {"a second V press is the user's", {}, {letterV, true}, 1003, false},
        {"its Control release", {}, {leftControl, false}, 1004, true},

        {"terminal paste recorded", terminalPaste, {}, 5000, false},
        {"its Shift press, stamped a millisecond early", {}, {leftShift, true}, 4999, true},
        // The rest of it never arrives.
        {"a Control release after the lifetime", {}, {leftControl, false}, 6001, false},
    };
    InjectedKeys injected;
    for (const Step &step : steps) {
        SCOPED_TRACE(step.name);
        if (!step.recorded.empty())
            injected.record(step.recorded, step.at * ms);
        else
            EXPECT_EQ(injected.consume(step.event, step.at * ms), step.isDropped);
    }
}

} // namespace
